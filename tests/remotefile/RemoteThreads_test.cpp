// Several objects at once, and memory that lacks.
#include "HttpFile.h"
#include "remotefile/RemoteFixture.h"
#include "support/LeakChecks.h"
#include "support/MemoryLack.h"
#include "support/throwing/ThrowingLack.h"

#include <thread>

using namespace vxcio::test;

namespace {

class RemoteThreadsTest : public RemoteFixture {};

} // namespace

TEST_F(RemoteThreadsTest, ObjectsOfSeveralThreadsDoNotKnowEachOther) {
    Serve();
    const std::wstring url = server->Url();
    std::vector<std::thread> threads;
    for (uint64 number = 0; number < 6; ++number) {
        threads.emplace_back([&, number] {
            for (int round = 0; round < 5; ++round) {
                const RemoteFile file = MakeRemoteFile();
                ASSERT_NE(file->Open(url.c_str()), 0);
                for (uint64 i = 0; i < 10; ++i) {
                    const uint64 position = (number * 777'777 + i * 1'234'567) % (kSize - 50'000);
                    ASSERT_EQ(file->Seek(position), static_cast<int64>(position));
                    ASSERT_EQ(ReadFrom(*file, 50'000), Part(position, 50'000));
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(server->Connections(), 30);
    EXPECT_TRUE(log.Texts(INFOTYPE_ERROR).empty());
}

TEST_F(RemoteThreadsTest, AnObjectLeavesNoThreadAndNoConnection) {
    Serve();
    ASSERT_TRUE(Open()); // what is made once is there
    remote.reset();
    ASSERT_TRUE(server->WaitForClosed(1));
    const NoLeakScope leaks;
    for (int i = 0; i < 5; ++i) {
        const RemoteFile file = MakeRemoteFile();
        ASSERT_NE(file->Open(server->Url().c_str()), 0);
        EXPECT_EQ(ReadFrom(*file, 100'000), Part(0, 100'000));
    }
    EXPECT_TRUE(server->WaitForClosed(6));
}

TEST_F(RemoteThreadsTest, WithoutMemoryThereIsNoObject) {
    const MemoryLack lack(1);
    EXPECT_EQ(vxcio::MakeHttpFile(), nullptr);
    EXPECT_TRUE(lack.Came());
}

TEST_F(RemoteThreadsTest, WithoutMemoryForATransferTheOpenFails) {
    Serve();
    const std::wstring url = server->Url();
    for (int nth = 1; nth <= 2; ++nth) {
        const std::unique_ptr<CQLRHttpFile> file(vxcio::MakeHttpFile());
        const MemoryLack lack(nth);
        EXPECT_EQ(file->Open(url.c_str()), 0);
        EXPECT_TRUE(lack.Came());
    }
    EXPECT_EQ(log.Count(L"not enough memory"), 2u);
}

TEST_F(RemoteThreadsTest, WhereverMemoryLacksTheRestOfTheWorkGoesOn) {
    Serve();
    const std::wstring url = server->Url();
    std::string buffer(300'000, '~');
    bool came = true;
    for (int nth = 1; came; ++nth) {
        const std::unique_ptr<CQLRHttpFile> file(vxcio::MakeHttpFile());
        uint32 got = 0;
        int result = 0;
        {
            const ThrowingLack lack(nth);
            if (file->Open(url.c_str()) != 0) {
                file->Seek(50'000);
                result = file->Read(reinterpret_cast<uint8*>(buffer.data()), 300'000, &got);
            }
            came = lack.Came();
        }
        ASSERT_LE(got, 300'000u);
        EXPECT_EQ(buffer.substr(0, got), Part(50'000, got)) << nth;
        EXPECT_TRUE(result == 0 || got == 300'000u);
        // And then it works.
        if (nth % 7 == 0) {
            ASSERT_NE(file->Open(url.c_str()), 0);
            EXPECT_EQ(ReadFrom(*file, 1000), Part(0, 1000));
        }
        ASSERT_LT(nth, 1000);
    }
}
