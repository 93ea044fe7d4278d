// Random lives of an FTP source against a model: whatever is read and sought, with read-ahead and without,
// the bytes, counts, positions and transfers are the model's, and nothing waits.
//
// VXC_RANDOM_SEQUENCES lives from VXC_RANDOM_SEED on; what fails prints its seed and its last operations.
#include "FtpSourceFixture.h"
#include "FtpSourceModel.h"

#include "stress/program/Random.h"
#include "support/NumberFrom.h"

#include <deque>
#include <sstream>

using namespace vxcio;
using namespace vxcio::test;
using stress::Random;

namespace {

constexpr uint32 kSize = 12'000'000;
constexpr std::size_t kStory = 12; // operations that a failure tells

class FtpSourceRandomTest : public FtpSourceFixture {
protected:
    void Live(uint64 seed, int steps) {
        Random random(seed);
        AddTransfer(0);
        Connect();
        ASSERT_EQ(Open(), VXC_STATUS_OK);
        FtpSourceModel model(m_file);
        for (int i = 0; i < steps && !HasFailure(); ++i) {
            Step(random, model);
        }
        EXPECT_EQ(ftp.Spent(), 0);
        EXPECT_EQ(ftp.TakeFailure(), "");
        ftp.End(); // the rest of the last transfer stays with the server
        if (HasFailure()) {
            std::ostringstream story;
            for (const std::string& line : m_story) {
                story << line << '\n';
            }
            ADD_FAILURE() << "seed " << seed << ", last of all:\n" << story.str();
        }
    }

private:
    void AddTransfer(uint64 position) {
        const std::string size = std::to_string(kSize);
        Transfer(size, position == 0 ? std::string() : std::to_string(static_cast<int64>(position)));
        ftp.DSendPattern(position < kSize ? kSize - position : 0, 0, position).DFin();
    }
    void Note(const std::string& operation) {
        m_story.push_back(operation);
        if (m_story.size() > kStory) {
            m_story.pop_front();
        }
    }

    static uint32 Length(Random& random) {
        switch (random.Below(12)) {
        case 0:
            return random.Below(4);
        case 1:
            return random.Below(200'000);
        case 2:
            return random.Below(4) == 0 ? 1'000'000 + random.Below(400'000) : 512;
        default:
            return random.Below(5000);
        }
    }

    void Step(Random& random, FtpSourceModel& model) {
        const uint32 what = random.Below(100);
        if (what < 55) {
            Read(model, Length(random), random);
        } else if (what < 85) {
            Seek(model, random);
        } else if (what < 88) {
            const int block =
                static_cast<int>(random.Below(3) == 0 ? random.Below(300'000) : random.Below(3000)) + 1;
            const int least = static_cast<int>(random.Below(static_cast<uint32>(3 * block)));
            Note("EnablePreRead " + std::to_string(block) + " " + std::to_string(least));
            source->EnablePreRead(block, least);
            model.EnablePreRead(block, least);
        } else if (what < 90) {
            Note("DisablePreRead");
            source->DisablePreRead();
            model.DisablePreRead();
        } else if (model.IsAhead()) {
            ReadAt(model, random);
        }
        EXPECT_EQ(Inspector::BackValid(*source), model.BackValid());
        EXPECT_EQ(Inspector::Position(*source), model.Position());
    }

    void Read(FtpSourceModel& model, uint32 bytes, Random& random) {
        Note("Read " + std::to_string(bytes));
        const char fill = static_cast<char>(random.Below(256));
        std::string buffer(bytes + 16, fill);
        std::string expected(bytes, fill);
        const int got = source->Read(reinterpret_cast<uint8*>(buffer.data()), bytes);
        EXPECT_EQ(got, model.Read(expected));
        EXPECT_TRUE(buffer == expected + std::string(16, fill)) << "other bytes";
    }

    void Seek(FtpSourceModel& model, Random& random) {
        uint32 origin = kFromCurrent;
        int64 offset = 0;
        switch (random.Below(20)) {
        case 0:
            offset = random.Below(4'194'306);
            break;
        case 1:
            origin = kFromStart;
            offset = random.Below(kSize + 1000);
            break;
        case 2:
            origin = kFromEnd;
            offset = -static_cast<int64>(random.Below(30'000));
            break;
        case 3:
            offset = -static_cast<int64>(random.Below(static_cast<uint32>(2 * model.BackValid() + 10)));
            break;
        case 4:
        case 5:
        case 6:
        case 7:
        case 8:
        case 9:
            offset = -static_cast<int64>(random.Below(static_cast<uint32>(model.BackValid() + 1)));
            break;
        default:
            offset = random.Below(6000);
            break;
        }
        Note("Seek " + std::to_string(offset) + " from " + std::to_string(origin) + " at " +
             std::to_string(model.Position()));
        if (const auto position = model.TransferOf(offset, origin)) {
            ftp.DExpectClosed().Say("226 over");
            AddTransfer(*position);
        }
        EXPECT_EQ(source->Seek(offset, origin), model.Seek(offset, origin));
    }

    void ReadAt(FtpSourceModel& model, Random& random) {
        const auto span = static_cast<uint32>(3 * model.Block());
        const uint64 back = random.Below(span);
        const uint64 position = model.Position() + random.Below(2 * span) - std::min(back, model.Position());
        const auto bytes = static_cast<int>(random.Below(span));
        Note("ReadAt " + std::to_string(position) + " " + std::to_string(bytes));
        EXPECT_TRUE(FtpSourceFixture::ReadAt(position, bytes) == model.ReadAt(position, bytes))
            << "other bytes";
    }

    const std::string m_file = FtpScript::Pattern(kSize);
    std::deque<std::string> m_story;
};

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int kSteps = 300;
#else
constexpr int kSteps = 1000;
#endif

class FtpSourceRandomLifeTest : public FtpSourceRandomTest, public ::testing::WithParamInterface<int> {};

} // namespace

TEST_P(FtpSourceRandomLifeTest, AllThatIsReadAndSoughtIsTheModels) {
    Live(NumberFrom("VXC_RANDOM_SEED", 1) + static_cast<uint64>(GetParam()), kSteps);
}

INSTANTIATE_TEST_SUITE_P(Lives, FtpSourceRandomLifeTest,
                         ::testing::Range(0, static_cast<int>(NumberFrom("VXC_RANDOM_SEQUENCES", 4))));
