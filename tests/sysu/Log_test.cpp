#include "frame/SystemLayer.h"
#include "sysu/HostControl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using namespace vxcio;

namespace {

struct Line {
    INFOTYPE level;
    std::wstring module;
    std::wstring text;
};

// Listens for its lifetime.
class Listener {
public:
    explicit Listener(INFOTYPE highest = INFOTYPE_TRACE) {
        SetLogReceiver(&Listener::Receive, this, highest);
    }
    ~Listener() { SetLogReceiver(nullptr, nullptr, INFOTYPE_ERROR); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    std::vector<Line> Lines() {
        const std::lock_guard lock(m_mutex);
        return m_lines;
    }

private:
    static void Receive(void* context, INFOTYPE level, const wchar_t* module, const wchar_t* text) {
        auto* const self = static_cast<Listener*>(context);
        const std::lock_guard lock(self->m_mutex);
        self->m_lines.push_back({level, module, text});
    }
    std::mutex m_mutex;
    std::vector<Line> m_lines;
};

} // namespace

TEST(LogTest, NobodyListensAtFirstAndAfterTheLastReceiver) {
    EXPECT_EQ(IsLogRead(INFOTYPE_ERROR), 0);
    EXPECT_EQ(IsLogRead(static_cast<INFOTYPE>(INT32_MIN)), 0);
    {
        Listener listener;
        EXPECT_NE(IsLogRead(INFOTYPE_ERROR), 0);
    }
    EXPECT_EQ(IsLogRead(INFOTYPE_ERROR), 0);
    VXC_OutputW(L"m", INFOTYPE_ERROR, L"unheard");
}

TEST(LogTest, AnUnreadLineIsNotFormatted) {
    Listener listener(INFOTYPE_ERROR);
    // To format this would be to read memory that is not there.
    VXC_OutputW(L"m", INFOTYPE_TRACE, L"%s", reinterpret_cast<const wchar_t*>(8));
    VXC_Output_FromW(L"m", "f", 1, INFOTYPE_TRACE, L"%s", reinterpret_cast<const wchar_t*>(8));
    EXPECT_TRUE(listener.Lines().empty());
}

TEST(LogTest, AFormattedLineArrivesWithLevelAndModule) {
    Listener listener;
    VXC_OutputW(L"VXCSoftCodecIO", INFOTYPE_PATH, L"%s has %d bytes in %S", L"clip", 5, "/mnt");
    const auto lines = listener.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, INFOTYPE_PATH);
    EXPECT_EQ(lines[0].module, L"VXCSoftCodecIO");
    EXPECT_EQ(lines[0].text, L"clip has 5 bytes in /mnt");
}

TEST(LogTest, OnlyLevelsUpToTheHighestAreHeard) {
    Listener listener(INFOTYPE_PATH);
    EXPECT_NE(IsLogRead(INFOTYPE_ERROR), 0);
    EXPECT_NE(IsLogRead(INFOTYPE_PATH), 0);
    EXPECT_EQ(IsLogRead(INFOTYPE_TRACE), 0);
    VXCERRORW(L"m", L"error");
    VXC_OutputW(L"m", INFOTYPE_PATH, L"path");
    VXCMSGW(L"m", L"trace");
    const auto lines = listener.Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text, L"error");
    EXPECT_EQ(lines[1].text, L"path");
}

TEST(LogTest, PlainLinesHaveTheLevelOfTheirFunctionAndAreNoFormats) {
    Listener listener;
    VXCMSGW(L"m", L"100%s done\n");
    VXCERRORW(L"m", L"%d");
    const auto lines = listener.Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].level, INFOTYPE_TRACE);
    EXPECT_EQ(lines[0].text, L"100%s done\n") << "a line end of the text stays, none is added";
    EXPECT_EQ(lines[1].level, INFOTYPE_ERROR);
    EXPECT_EQ(lines[1].text, L"%d");
}

TEST(LogTest, APlaceStandsInFrontOfTheText) {
    Listener listener;
    VXC_Output_FromW(L"m", "Source.cpp", 42, INFOTYPE_ERROR, L"failed %d", 7);
    VXC_Output_FromW(L"m", nullptr, 1, INFOTYPE_ERROR, L"x");
    const auto lines = listener.Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text, L"Source.cpp(42): failed 7");
    EXPECT_EQ(lines[1].text, L"?(1): x");
}

TEST(LogTest, AnEndlessPlaceLeavesRoomForItsLineAndTheText) {
    Listener listener;
    VXC_Output_FromW(L"m", std::string(600, 'f').c_str(), INT32_MIN, INFOTYPE_ERROR, L"x");
    const auto lines = listener.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, std::wstring(440, L'f') + L"(-2147483648): x");
}

TEST(LogTest, LinesAreCutAt8191Characters) {
    Listener listener;
    const std::wstring longText(10000, L'y');
    VXC_OutputW(L"m", INFOTYPE_ERROR, L"%s", longText.c_str());
    VXCERRORW(L"m", longText.c_str());
    VXC_Output_FromW(L"m", "f", 1, INFOTYPE_ERROR, L"%s", longText.c_str());
    const auto lines = listener.Lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].text, std::wstring(8191, L'y'));
    EXPECT_EQ(lines[1].text, std::wstring(8191, L'y'));
    EXPECT_EQ(lines[2].text, L"f(1): " + std::wstring(8191 - 6, L'y'));
}

TEST(LogTest, LinesOfEveryLengthAroundTheSmallBufferAreWhole) {
    Listener listener;
    for (int length = 505; length < 520; ++length) {
        VXC_OutputW(L"m", INFOTYPE_ERROR, L"%s%d",
                    std::wstring(static_cast<std::size_t>(length), L'z').c_str(), 7);
    }
    int length = 505;
    for (const Line& line : listener.Lines()) {
        EXPECT_EQ(line.text, std::wstring(static_cast<std::size_t>(length), L'z') + L"7");
        ++length;
    }
    EXPECT_EQ(length, 520);
}

TEST(LogTest, NullTextsCountAsEmpty) {
    Listener listener;
    VXC_OutputW(nullptr, INFOTYPE_ERROR, nullptr);
    VXC_Output_FromW(nullptr, nullptr, 0, INFOTYPE_ERROR, nullptr);
    VXCMSGW(nullptr, nullptr);
    VXCERRORW(nullptr, nullptr);
    const auto lines = listener.Lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].module, L"");
    EXPECT_EQ(lines[0].text, L"");
    EXPECT_EQ(lines[3].text, L"");
}

TEST(LogTest, AReceiverThatLogsDoesNotCallItself) {
    int calls = 0;
    SetLogReceiver(
        [](void* context, INFOTYPE, const wchar_t* module, const wchar_t*) {
            ++*static_cast<int*>(context);
            VXC_OutputW(module, INFOTYPE_ERROR, L"again");
        },
        &calls, INFOTYPE_TRACE);
    VXCERRORW(L"m", L"one");
    VXCERRORW(L"m", L"two");
    SetLogReceiver(nullptr, nullptr, INFOTYPE_ERROR);
    EXPECT_EQ(calls, 2);
}

TEST(LogTest, AReceiverMayEndListeningFromWithin) {
    int calls = 0;
    SetLogReceiver(
        [](void* context, INFOTYPE, const wchar_t*, const wchar_t*) {
            ++*static_cast<int*>(context);
            SetLogReceiver(nullptr, nullptr, INFOTYPE_ERROR);
        },
        &calls, INFOTYPE_TRACE);
    VXCERRORW(L"m", L"one");
    VXCERRORW(L"m", L"two");
    EXPECT_EQ(calls, 1);
}

TEST(LogTest, AReceiverThatThrowsLosesOnlyItsLine) {
    int calls = 0;
    SetLogReceiver(
        [](void* context, INFOTYPE, const wchar_t*, const wchar_t*) {
            if (++*static_cast<int*>(context) == 1) {
                throw 1;
            }
        },
        &calls, INFOTYPE_TRACE);
    VXCERRORW(L"m", L"one");
    VXCERRORW(L"m", L"two");
    SetLogReceiver(nullptr, nullptr, INFOTYPE_ERROR);
    EXPECT_EQ(calls, 2);
}

TEST(LogTest, ChangingTheReceiverWaitsUntilTheFormerOneIsOut) {
    struct Held {
        std::promise<void> entered;
        std::promise<void> mayLeave;
        std::atomic<bool> left{false};
    } held;
    SetLogReceiver(
        [](void* context, INFOTYPE, const wchar_t*, const wchar_t*) {
            auto* const state = static_cast<Held*>(context);
            state->entered.set_value();
            state->mayLeave.get_future().wait();
            state->left = true;
        },
        &held, INFOTYPE_TRACE);
    std::thread writer([] { VXCERRORW(L"m", L"held"); });
    held.entered.get_future().wait();
    std::atomic<bool> leftWhenChanged{false};
    std::thread changer([&] {
        SetLogReceiver(nullptr, nullptr, INFOTYPE_ERROR);
        leftWhenChanged = held.left.load();
    });
    // From here on the changer waits, or is about to; it is released only by the receiver's end.
    while (IsLogRead(INFOTYPE_ERROR) != 0) {
        std::this_thread::yield();
    }
    held.mayLeave.set_value();
    changer.join();
    writer.join();
    EXPECT_TRUE(leftWhenChanged);
}

TEST(LogTest, ANewReceiverHearsWhileTheFormerOneStillRuns) {
    struct Held {
        std::promise<void> entered;
        std::promise<void> mayLeave;
    } held;
    SetLogReceiver(
        [](void* context, INFOTYPE, const wchar_t*, const wchar_t*) {
            auto* const state = static_cast<Held*>(context);
            state->entered.set_value();
            state->mayLeave.get_future().wait();
        },
        &held, INFOTYPE_PATH);
    std::thread writer([] { VXCERRORW(L"m", L"held"); });
    held.entered.get_future().wait();
    std::atomic<int> calls{0};
    std::thread changer([&] {
        SetLogReceiver([](void* context, INFOTYPE, const wchar_t*,
                          const wchar_t*) { ++*static_cast<std::atomic<int>*>(context); },
                       &calls, INFOTYPE_TRACE);
    });
    while (IsLogRead(INFOTYPE_TRACE) == 0) {
        std::this_thread::yield();
    }
    VXCMSGW(L"m", L"heard");
    EXPECT_EQ(calls, 1);
    held.mayLeave.set_value();
    changer.join();
    writer.join();
    SetLogReceiver(nullptr, nullptr, INFOTYPE_ERROR);
}

TEST(LogTest, ManyWritersAndReceiverChangesNeverMeetADeadReceiver) {
    struct Receiver {
        std::atomic<bool> alive{true};
        std::atomic<int> lines{0};
        std::atomic<int> bad{0};
    };
    const auto receive = [](void* context, INFOTYPE, const wchar_t*, const wchar_t* text) {
        auto* const receiver = static_cast<Receiver*>(context);
        ++receiver->lines;
        if (!receiver->alive || std::wstring(text).compare(0, 7, L"writer ") != 0) {
            ++receiver->bad;
        }
    };
    std::atomic<bool> stop{false};
    std::vector<std::thread> writers;
    for (int writer = 0; writer < 3; ++writer) {
        writers.emplace_back([&stop, writer] {
            for (int i = 0; !stop; ++i) {
                VXC_OutputW(L"m", INFOTYPE_ERROR, L"writer %d line %d %s", writer, i, L"text");
                std::this_thread::yield(); // so that a round takes no slice of each writer
            }
        });
    }
    int heard = 0;
    for (int round = 0; round < 60 || heard == 0; ++round) {
        Receiver receiver;
        SetLogReceiver(receive, &receiver, INFOTYPE_TRACE);
        for (int i = 0; i < 50 && receiver.lines == 0; ++i) {
            std::this_thread::yield();
        }
        SetLogReceiver(nullptr, nullptr, INFOTYPE_ERROR);
        receiver.alive = false;
        heard += receiver.lines;
        ASSERT_EQ(receiver.bad, 0);
    }
    stop = true;
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_GT(heard, 0);
}
