#include "bridge/InteractorID.h"

#include "bridge/SystemSender.h"
#include "platform/Process.h"
#include "support/LogCapture.h"
#include "support/MemoryLack.h"
#include "support/PlatformScope.h"
#include "support/TestClock.h"

#include <cstdlib>
#include <cwchar>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr auto kUnknown = static_cast<ENUM_PLUG_TYPE>(0);
constexpr const wchar_t* kTooSmall = L"CreateVXCInteractorID Failed! bufsize to small!";

// The process, the thread, chance and the time are the test's.
class InteractorIDTest : public ::testing::Test {
protected:
    InteractorIDTest() {
        platform.Processes().processId = [] { return uint32{1234}; };
        platform.Processes().threadId = [] { return uint32{77}; };
        platform.Processes().random = [] { return 5; };
        ClearProcessIdText();
        clock.AutoAdvance(true);
    }
    ~InteractorIDTest() override { ClearProcessIdText(); }

    static std::wstring Create(ENUM_PLUG_TYPE type, unsigned int index) {
        wchar_t buffer[100] = {};
        EXPECT_EQ(CreateVXCInteractorID(type, index, buffer, sizeof buffer), 0);
        return buffer;
    }
    struct Parsed {
        int result;
        int type;
        unsigned int index;
        bool operator==(const Parsed&) const = default;
    };
    static Parsed Parse(const std::wstring& id) {
        auto type = static_cast<ENUM_PLUG_TYPE>(99);
        unsigned int index = 99;
        const int result = ParseVXCInteractorID(id.c_str(), &type, &index);
        return {result, type, index};
    }
    // An id with this text in the place of the number.
    static Parsed ParseNumber(const std::wstring& number) {
        return Parse(L"00001234_VE_" + number + L"_12345678_00001_00001");
    }

    int (*const systemRandom)() = Process().random;
    PlatformScope platform;
    TestClock clock{1'023'456'689}; // 23456789 behind the pause
    LogCapture log;
};

} // namespace

TEST_F(InteractorIDTest, HasSixPartsInOrder) {
    EXPECT_EQ(Create(PLUG_TYPE_VIDEO_ENCODER, 7), L"00001234_VE_007_23456789_00005_00077");
}

TEST_F(InteractorIDTest, EveryTypeHasItsTagAndComesBack) {
    const std::pair<int, const wchar_t*> tags[] = {{1, L"VE"},  {2, L"VD"},  {4, L"MU"},  {8, L"SP"},
                                                   {16, L"AE"}, {32, L"AD"}, {64, L"SE"}, {128, L"SD"}};
    for (const auto& [type, tag] : tags) {
        const std::wstring id = Create(static_cast<ENUM_PLUG_TYPE>(type), 12);
        EXPECT_EQ(id.substr(9, 2), tag);
        EXPECT_EQ(Parse(id), (Parsed{0, type, 12}));
    }
}

TEST_F(InteractorIDTest, OtherTypesAreUnknownAndComeBackAsNone) {
    for (const int type : {0, 3, 256, -1}) {
        const std::wstring id = Create(static_cast<ENUM_PLUG_TYPE>(type), 0);
        EXPECT_EQ(id.substr(8, 4), L"_UN_") << type;
        EXPECT_EQ(Parse(id), (Parsed{0, 0, 0})) << type;
    }
}

TEST_F(InteractorIDTest, AnIndexOfFourDigitsWidensTheIdAndComesBackCut) {
    const std::wstring id = Create(PLUG_TYPE_MUXER, 1234);
    EXPECT_EQ(id, L"00001234_MU_1234_23456789_00005_00077");
    EXPECT_EQ(Parse(id), (Parsed{0, 4, 123}));
}

TEST_F(InteractorIDTest, AnIndexFromTwoToThe31OnIsNegative) {
    EXPECT_EQ(Create(PLUG_TYPE_MUXER, 0x80000000u), L"00001234_MU_-2147483648_23456789_00005_00077");
    const std::wstring id = Create(PLUG_TYPE_MUXER, 0xFFFFFFFFu);
    EXPECT_EQ(id.substr(0, 16), L"00001234_MU_-01_");
    EXPECT_EQ(Parse(id), (Parsed{0, 4, 0xFFFFFFFFu}));
}

TEST_F(InteractorIDTest, TheTimeIsThatBehindAPauseOfATenthOfASecond) {
    const uint64 before = clock.Now();
    const std::wstring id = Create(PLUG_TYPE_MUXER, 0);
    EXPECT_THAT(clock.Sleeps(), ElementsAre(100u));
    EXPECT_EQ(clock.Now(), before + 100);
    EXPECT_EQ(id.substr(16, 8), std::to_wstring((before + 100) % 100000000));
}

TEST_F(InteractorIDTest, TheTimeStartsAgainWhenItsDigitsAreUsedUp) {
    clock.Advance(100'000'000 - 23'456'789);
    EXPECT_EQ(Create(PLUG_TYPE_MUXER, 0).substr(16, 8), L"00000000");
}

TEST_F(InteractorIDTest, ChanceIsTheNextOfTheRuntimeLibrarysNumbers) {
    platform.Processes().random = systemRandom;
    std::srand(4711);
    const int first = std::rand();
    const int second = std::rand();
    std::srand(4711);
    const auto partOf = [](const std::wstring& id) { return id.substr(25, id.rfind(L'_') - 25); };
    wchar_t expected[20] = {};
    std::swprintf(expected, 20, L"%05d", first);
    EXPECT_EQ(partOf(Create(PLUG_TYPE_MUXER, 0)), expected);
    std::swprintf(expected, 20, L"%05d", second);
    EXPECT_EQ(partOf(Create(PLUG_TYPE_MUXER, 0)), expected);
}

TEST_F(InteractorIDTest, TheProcessIsWrittenOnce) {
    EXPECT_EQ(Create(PLUG_TYPE_MUXER, 0).substr(0, 9), L"00001234_");
    platform.Processes().processId = [] { return uint32{999}; };
    EXPECT_EQ(Create(PLUG_TYPE_MUXER, 0).substr(0, 9), L"00001234_");
}

TEST_F(InteractorIDTest, LongNumbersOfProcessAndThreadAreWrittenWhole) {
    platform.Processes().processId = [] { return uint32{123456789}; };
    platform.Processes().threadId = [] { return uint32{4194304}; };
    EXPECT_EQ(Create(PLUG_TYPE_VIDEO_DECODER, 1), L"123456789_VD_001_23456789_00005_4194304");
}

TEST_F(InteractorIDTest, ABufferOfTheVerySizeIsEnough) {
    constexpr unsigned int kCharacters = 36;
    std::vector<wchar_t> buffer(kCharacters + 2, L'#');
    EXPECT_EQ(CreateVXCInteractorID(PLUG_TYPE_SPLITTER, 1, buffer.data(),
                                    static_cast<unsigned int>((kCharacters + 1) * sizeof(wchar_t))),
              0);
    EXPECT_STREQ(buffer.data(), L"00001234_SP_001_23456789_00005_00077");
    EXPECT_EQ(buffer[kCharacters + 1], L'#');
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(InteractorIDTest, ABufferOneElementSmallerIsRefusedAndLeftAlone) {
    std::vector<wchar_t> buffer(40, L'#');
    const std::vector<wchar_t> before = buffer;
    for (const auto bytes : {36 * sizeof(wchar_t), 36 * sizeof(wchar_t) + 2, 37 * sizeof(wchar_t) - 1}) {
        EXPECT_EQ(
            CreateVXCInteractorID(PLUG_TYPE_SPLITTER, 1, buffer.data(), static_cast<unsigned int>(bytes)),
            -1);
    }
    EXPECT_EQ(buffer, before);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), ElementsAre(kTooSmall, kTooSmall, kTooSmall));
}

TEST_F(InteractorIDTest, ANullBufferIsRefused) {
    EXPECT_EQ(CreateVXCInteractorID(PLUG_TYPE_SPLITTER, 1, nullptr, 1000), -1);
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), ElementsAre(kTooSmall));
}

TEST_F(InteractorIDTest, WithoutMemoryThereIsNoIdInsteadOfAnEmptyOne) {
    int n = 1;
    for (bool came = true; came; ++n) {
        ClearProcessIdText();
        wchar_t buffer[100] = L"#";
        const MemoryLack lack(n);
        const int result = CreateVXCInteractorID(PLUG_TYPE_SPLITTER, 1, buffer, sizeof buffer);
        came = lack.Came();
        EXPECT_EQ(result, came ? -1 : 0) << n;
        EXPECT_EQ(std::wstring(buffer).size(), came ? 1u : 36u) << n;
    }
    EXPECT_GT(n, 3);
}

TEST_F(InteractorIDTest, NullArgumentsAreRefusedAndNothingIsStored) {
    auto type = static_cast<ENUM_PLUG_TYPE>(99);
    unsigned int index = 99;
    const wchar_t* const id = L"00001234_VE_007_12345678_00041_01240";
    EXPECT_EQ(ParseVXCInteractorID(nullptr, &type, &index), -1);
    EXPECT_EQ(ParseVXCInteractorID(id, nullptr, &index), -1);
    EXPECT_EQ(ParseVXCInteractorID(id, &type, nullptr), -1);
    EXPECT_EQ(type, 99);
    EXPECT_EQ(index, 99u);
    const wchar_t* const text = L"ParseVXCInteractorID Failed! Parameters is NULL";
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR), ElementsAre(text, text, text));
}

TEST_F(InteractorIDTest, TwentyNineCharactersAreTooFew) {
    EXPECT_EQ(Parse(L"00001234_VE_007_12345678_0004"), (Parsed{-1, 99, 99}));
    EXPECT_THAT(log.Texts(INFOTYPE_ERROR),
                ElementsAre(L"ParseVXCInteractorID Failed! Parameters is VALID < 30"));
}

TEST_F(InteractorIDTest, ThirtyCharactersAreEnough) {
    EXPECT_EQ(Parse(L"00001234_SD_007_12345678_00041"), (Parsed{0, 128, 7}));
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(InteractorIDTest, TagsAreComparedExactly) {
    for (const wchar_t* const tag : {L"ve", L"UN", L"XX", L"V_", L"EV"}) {
        EXPECT_EQ(Parse(std::wstring(L"00001234_") + tag + L"_007_12345678_00041"), (Parsed{0, kUnknown, 7}));
    }
}

TEST_F(InteractorIDTest, OddNumbersAreReadAsTheCLibraryDoes) {
    EXPECT_EQ(ParseNumber(L"  7").index, 7u);
    EXPECT_EQ(ParseNumber(L"\t+5").index, 5u);
    EXPECT_EQ(ParseNumber(L"-12").index, 0u - 12u);
    EXPECT_EQ(ParseNumber(L"+99").index, 99u);
    EXPECT_EQ(ParseNumber(L"1a2").index, 1u);
    EXPECT_EQ(ParseNumber(L"abc").index, 0u);
    EXPECT_EQ(ParseNumber(L"--1").index, 0u);
    EXPECT_EQ(ParseNumber(L"- 1").index, 0u);
    EXPECT_EQ(ParseNumber(L"   ").index, 0u);
    EXPECT_EQ(ParseNumber(L"9 9").index, 9u);
    EXPECT_EQ(ParseNumber(L"0x1").index, 0u);
    EXPECT_EQ(ParseNumber(L"999").index, 999u);
}
