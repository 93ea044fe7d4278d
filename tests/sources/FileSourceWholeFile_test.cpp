// The whole file in memory, which a negative size asks for.
#include "sources/SourceFixture.h"

#include "support/HostTable.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using Inspector = FileSourceInspector;

namespace {

constexpr uint32 kBlock = 4096;

// A size with the sign that asks for the whole file.
int Whole(uint32 size) {
    return static_cast<int>(0x80000000U | size);
}

class FileSourceWholeFileTest : public FileSourceFixture {
protected:
    FileSourceWholeFileTest() : host(L"host.mxf", content) {}

    void OpenHost() {
        ASSERT_EQ(source.OpenFile(host.Tagged().c_str(), 0, nullptr, 0), VXC_STATUS_OK);
        UseSmallBlocks();
        host.ClearLog();
    }
    void UseSmallBlocks() {
        Inspector::SetSectorSize(source, 512);
        Inspector::SetReadBlockSize(source, kBlock);
    }
    std::vector<uint32> ReadSizes() const {
        std::vector<uint32> sizes;
        for (const HostCall& call : host.Log()) {
            if (call.function == HostFunction::Read) {
                sizes.push_back(call.bytes);
            }
        }
        return sizes;
    }

    HostTable host;
};

} // namespace

TEST_F(FileSourceWholeFileTest, OneReadOfWholeSectorsTakesItAndServesEveryRead) {
    OpenHost();
    source.EnablePreRead(Whole(5000), 0);
    EXPECT_EQ(source.IsPreReadMode(), 1U);
    EXPECT_EQ(Inspector::PreReadSize(source), 2 * kBlock);
    EXPECT_EQ(Inspector::WholeFileSize(source), kSize);
    EXPECT_EQ(host.Order(), (std::vector<HostFunction>{HostFunction::GetFileSize,
                                                       HostFunction::SetFilePointer, HostFunction::Read}));
    EXPECT_EQ(ReadSizes(), std::vector<uint32>{10240});
    EXPECT_EQ(Read(6000), Bytes(0, 6000));
    source.Seek(20, 1);
    EXPECT_EQ(Read(20000), Bytes(20, kSize - 20));
    EXPECT_TRUE(Read(10).empty());
    EXPECT_EQ(host.Order().size(), 3U);
}

TEST_F(FileSourceWholeFileTest, TheLowBitsAreTheSizeOfTheRing) {
    OpenHost();
    source.EnablePreRead(Whole(5 * kBlock), 0);
    EXPECT_EQ(Inspector::PreReadSize(source), 5 * kBlock);
    source.DisablePreRead();
    source.EnablePreRead(Whole(0), 0);
    EXPECT_EQ(Inspector::PreReadSize(source), 2 * kBlock);
    source.DisablePreRead();
    source.EnablePreRead(Whole(1), 3 * kBlock);
    EXPECT_EQ(Inspector::PreReadSize(source), 6 * kBlock);
}

TEST_F(FileSourceWholeFileTest, OnceTakenNoFurtherCallChangesAnything) {
    OpenHost();
    source.EnablePreRead(Whole(5000), 0);
    const void* const ring = Inspector::Ring(source);
    host.ClearLog();
    for (const int size : {100'000, Whole(100'000), 1}) {
        source.EnablePreRead(size, 0);
        EXPECT_EQ(Inspector::Ring(source), ring);
    }
    EXPECT_TRUE(host.Order().empty());
}

TEST_F(FileSourceWholeFileTest, ItsEndDropsTheMemoryAndReadsGoToTheFile) {
    OpenHost();
    source.EnablePreRead(Whole(5000), 0);
    Read(100);
    source.DisablePreRead();
    EXPECT_FALSE(Inspector::HasWholeFile(source));
    EXPECT_EQ(Inspector::WholeFileSize(source), 0U);
    host.ClearLog();
    EXPECT_EQ(Read(100), Bytes(100, 100));
    EXPECT_EQ(ReadSizes(), std::vector<uint32>{100});
}

TEST_F(FileSourceWholeFileTest, BehindItsEndAndInFrontOfItsStartThereIsNothing) {
    OpenHost();
    source.EnablePreRead(Whole(5000), 0);
    for (const int64 position : {int64{kSize}, int64{kSize} + 1, int64{1} << 40, int64{-1}, int64{-600}}) {
        EXPECT_EQ(source.Seek(position, 1), position);
        EXPECT_TRUE(Read(10).empty()) << position;
    }
    source.Seek(kSize - 3, 1);
    EXPECT_EQ(Read(10), Bytes(kSize - 3, 3));
}

TEST_F(FileSourceWholeFileTest, WhatArrivesBehindTheToldSizeHasRoomAndCounts) {
    const uint64 told = 900;
    static const std::vector<uint8>* s_content;
    s_content = &content;
    IOCallbackSet table = host.Table();
    table.pfnOpen = [](const wchar_t*, uint32, uint32* error) -> void* {
        *error = 0;
        return &s_content;
    };
    table.pfnSetFilePointer = [](void*, uint32 low, int32*, uint32, uint32* error) {
        *error = 0;
        return low;
    };
    table.pfnRead = [](void*, void* buffer, uint32 bytes, uint32* done) -> uint64 {
        std::memcpy(buffer, s_content->data(), bytes); // the file has grown
        *done = bytes;
        return 0;
    };
    table.pfnGetFileSize = [](void*, uint32* error) {
        *error = 0;
        return told;
    };
    table.pfnCloseFile = [](void*) -> uint64 { return 0; };
    ASSERT_EQ(source.OpenFile(ADDVXCIOID(L"clip", &table), 0, nullptr, 0), VXC_STATUS_OK);
    UseSmallBlocks();
    source.EnablePreRead(Whole(1), 0);
    EXPECT_EQ(Inspector::WholeFileSize(source), 1024U);
    EXPECT_EQ(Read(2000), Bytes(0, 1024));
}

TEST_F(FileSourceWholeFileTest, AReadThatComesUpShortIsTheFile) {
    OpenHost();
    host.ShortenReads(700);
    source.EnablePreRead(Whole(1), 0);
    EXPECT_EQ(Inspector::WholeFileSize(source), 700U);
    EXPECT_EQ(Read(2000), Bytes(0, 700));
}

TEST_F(FileSourceWholeFileTest, WhatOneReadCannotTakeIsTakenInPieces) {
    OpenHost();
    std::vector<uint8> memory(10240);
    uint64 got = 0;
    ASSERT_TRUE(Inspector::ReadFromStart(source, memory.data(), memory.size(), 1024, got));
    EXPECT_EQ(got, kSize);
    memory.resize(kSize);
    EXPECT_EQ(memory, content);
    EXPECT_EQ(ReadSizes(), std::vector<uint32>(10, 1024));
    host.ClearLog();
    host.ShortenReads(600); // ends with the first short piece
    ASSERT_TRUE(Inspector::ReadFromStart(source, memory.data(), memory.size(), 1024, got));
    EXPECT_EQ(got, 600U);
    EXPECT_EQ(ReadSizes(), std::vector<uint32>{1024});
}

TEST_F(FileSourceWholeFileTest, WithoutMemoryOrAStartThePlainRingServes) {
    {
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        UseSmallBlocks();
        FaultPlan plan;
        plan.Add(Fail(Op::VXC_SetFilePointer));
        source.EnablePreRead(Whole(1), 0);
        EXPECT_EQ(plan.Fired(), 1);
        EXPECT_FALSE(Inspector::HasWholeFile(source));
        EXPECT_EQ(source.IsPreReadMode(), 1U);
        EXPECT_EQ(Read(5000), Bytes(0, 5000));
    }
    IOCallbackSet table = host.Table();
    table.pfnGetFileSize = [](void*, uint32* error) {
        *error = 0;
        return ~uint64{0} - 5;
    };
    ASSERT_EQ(source.OpenFile(ADDVXCIOID(L"host.mxf", &table), 0, nullptr, 0), VXC_STATUS_OK);
    source.EnablePreRead(Whole(1), 0);
    EXPECT_FALSE(Inspector::HasWholeFile(source));
    EXPECT_EQ(source.IsPreReadMode(), 1U);
    EXPECT_EQ(Read(5000), Bytes(0, 5000));
}

TEST_F(FileSourceWholeFileTest, ARingThatCannotStartDropsIt) {
    OpenHost();
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_CreateThread));
    source.EnablePreRead(Whole(1), 0);
    EXPECT_EQ(source.IsPreReadMode(), 0U);
    EXPECT_FALSE(Inspector::HasWholeFile(source));
    EXPECT_EQ(Read(100), Bytes(0, 100));
    source.EnablePreRead(Whole(1), 0); // another attempt takes it again
    EXPECT_TRUE(Inspector::HasWholeFile(source));
}

TEST_F(FileSourceWholeFileTest, AnEmptyFileIsAnEmptyMemory) {
    folder.Write("empty", "");
    ASSERT_EQ(source.OpenFile(folder.Wide("empty").c_str(), 0, nullptr, 0), VXC_STATUS_OK);
    source.EnablePreRead(Whole(1), 0);
    EXPECT_EQ(source.IsPreReadMode(), 1U);
    EXPECT_TRUE(Read(10).empty());
}

TEST_F(FileSourceWholeFileTest, ARunningRingStandsStillWhileItIsTakenAndGoesOnFromMemory) {
    for (int round = 0; round < 50; ++round) {
        OpenHost();
        source.EnablePreRead(2 * kBlock, 0);
        EXPECT_EQ(Read(3000), Bytes(0, 3000));
        const void* const ring = Inspector::Ring(source);
        source.EnablePreRead(Whole(2 * kBlock), 0); // the thread may be at the second block
        EXPECT_EQ(Inspector::Ring(source), ring);
        EXPECT_EQ(Inspector::WholeFileSize(source), kSize);
        // Nobody came between the move to the start and the one read of all.
        const auto calls = host.Log();
        const auto all = std::find_if(calls.begin(), calls.end(),
                                      [](const HostCall& call) { return call.bytes == 10240; });
        ASSERT_NE(all, calls.end());
        EXPECT_EQ(all->position, 0U);
        EXPECT_EQ(all->thread, std::this_thread::get_id());
        EXPECT_EQ((all - 1)->function, HostFunction::SetFilePointer);
        EXPECT_EQ((all - 2)->function, HostFunction::GetFileSize);
        host.ClearLog();
        EXPECT_EQ(Read(7000), Bytes(3000, 7000));
        EXPECT_TRUE(host.Log().empty());
        source.CloseFile();
    }
}

TEST_F(FileSourceWholeFileTest, TheRingsThreadIsStoppedBeforeTheFileIsAskedAnything) {
    ASSERT_EQ(Open(), VXC_STATUS_OK);
    UseSmallBlocks();
    source.EnablePreRead(2 * kBlock, 0);
    EXPECT_EQ(Read(3000), Bytes(0, 3000));
    EXPECT_EQ(Read(2000), Bytes(3000, 2000)); // the thread has filled its first block
    Gate gate;
    FaultPlan plan;
    plan.Add(Hold(Op::VXC_GetFileSize, gate));
    std::thread caller([this] { source.EnablePreRead(Whole(2 * kBlock), 0); });
    ASSERT_TRUE(gate.WaitUntilReached());
    EXPECT_GE(plan.Calls(Op::VXC_SetEvent), 2); // the request to stop and its answer
    gate.Open();
    caller.join();
    EXPECT_EQ(Read(5000), Bytes(5000, 5000));
}

// The restart that another size brings ends the memory with the ring, as every end does.
TEST_F(FileSourceWholeFileTest, AnotherSizeOfARunningRingDropsItAgain) {
    OpenHost();
    source.EnablePreRead(2 * kBlock, 0);
    Read(100);
    source.EnablePreRead(Whole(4 * kBlock), 0);
    EXPECT_EQ(Inspector::PreReadSize(source), 4 * kBlock);
    EXPECT_FALSE(Inspector::HasWholeFile(source));
    EXPECT_EQ(source.Seek(0, 3), 100);
    EXPECT_EQ(Read(100), Bytes(100, 100));
}

TEST_F(FileSourceWholeFileTest, TheDigestIsThatOfTheFile) {
    OpenHost();
    source.EnableMD5_Check(0);
    source.BeginMD5_Check(0);
    source.EnablePreRead(Whole(1), 0);
    Read(5000);
    EXPECT_EQ(DigestOf(source), DigestOf(content));
}
