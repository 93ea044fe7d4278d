// What becomes of names before files are opened.
#include "paths/MediumPathRules.h"

#include "paths/MediumPathState.h"
#include "paths/NetPathFixture.h"
#include "paths/NetPaths.h"
#include "support/FaultPlan.h"
#include "support/LogCapture.h"
#include "support/MemoryLack.h"
#include "support/SettingsScope.h"

#include <gmock/gmock.h>

#include <atomic>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr const wchar_t* kNotSet = L"Not set registry for ConvertUNC2LocalPathName()";
constexpr const wchar_t* kUNCName = L"\\\\HOST\\clips\\a";

std::wstring SetTo(const wchar_t* value) {
    return std::wstring(L"ConvertUNC2LocalPathName(), registry for NotCall_UNC2LOCAL = ") + value;
}

std::wstring Apply(const wchar_t* path) {
    return ApplyMediumPathRules(path).c_str();
}

// The table of the process over a fake machine, and settings of the test's own, none of them read yet.
class MediumPathRulesTest : public ::testing::Test {
protected:
    MediumPathRulesTest() {
        Forget();
        network.AddShare(L"clips", L"D:\\clips");
    }
    ~MediumPathRulesTest() override { Forget(); }

    static void Forget() {
        ForgetMediumPathSetting();
        ForgetSpecialDrives();
        NetPathInspector::Forget(NetPathExchange());
    }
    // The setting that is read next.
    void Use(const wchar_t* value) {
        ForgetMediumPathSetting();
        settings.Set(L"NotCall_UNC2LOCAL", value);
    }
    bool IsTableBuilt() const { return NetPathInspector::IsBuilt(NetPathExchange()); }

    FakeNetwork network;
    SettingsScope settings;
};

} // namespace

TEST_F(MediumPathRulesTest, NamesOfMediaStayAsTheyAreAndTheSettingIsNotRead) {
    Use(L"0");
    LogCapture log;
    FaultPlan plan;
    for (const wchar_t* const path :
         {L"DVD*", L"DVD*\\\\HOST\\clips\\a", L"dvd*x", L"Dvd*", L"P2CLIPINFO*",
          L"P2CLIPINFO*\\\\HOST\\clips\\a", L"p2clipinfo*x", L"P2*", L"P2*\\\\HOST\\clips\\a", L"p2*LOCAL\\x",
          L"XDCAM*", L"xdCAM*\\\\HOST\\clips\\a", L"XDCAM*LOCAL\\"}) {
        EXPECT_EQ(Apply(path), path);
    }
    EXPECT_EQ(plan.Calls(Op::VXC_GetGlobalIntW), 0);
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_FALSE(IsTableBuilt());
}

TEST_F(MediumPathRulesTest, WhatOnlyLooksLikeAMediumIsConverted) {
    Use(L"0");
    for (const wchar_t* const begin : {L"P2ABC", L"P2", L"P", L"P2CLIPINFO", L"DVD", L"DVDx", L"xDVD*",
                                       L"XDCAM", L"XDCAM1*", L" P2*", L"DV*", L"P2 *"}) {
        EXPECT_EQ(Apply((begin + std::wstring(kUNCName)).c_str()), L"D:\\clips\\a") << begin;
    }
}

TEST_F(MediumPathRulesTest, NamesShorterThanAPrefixStay) {
    Use(L"0");
    for (const wchar_t* const path : {L"", L"D", L"DVD", L"P2", L"P2CLIPINFO", L"XDCAM", L"LOCAL", L"LOCA"}) {
        EXPECT_EQ(Apply(path), path);
    }
    EXPECT_EQ(Apply(nullptr), L"");
}

TEST_F(MediumPathRulesTest, TheMarkOfALocalNameIsTakenAwayAndTheRestStays) {
    Use(L"0");
    LogCapture log;
    FaultPlan plan;
    EXPECT_EQ(Apply(L"LOCAL\\\\\\srv\\share\\f"), L"\\\\srv\\share\\f");
    EXPECT_EQ(Apply(L"LOCAL\\\\\\HOST\\clips\\a"), L"\\\\HOST\\clips\\a");
    EXPECT_EQ(Apply(L"local\\D:\\a"), L"D:\\a");
    EXPECT_EQ(Apply(L"LoCaL\\"), L"");
    EXPECT_EQ(Apply(L"LOCAL\\LOCAL\\x"), L"LOCAL\\x"); // once
    EXPECT_EQ(Apply(L"LOCAL\\P2*x"), L"P2*x");
    EXPECT_EQ(plan.Calls(Op::VXC_GetGlobalIntW), 0);
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_FALSE(IsTableBuilt());
}

TEST_F(MediumPathRulesTest, WithoutTheSettingNamesOfSharesStay) {
    LogCapture log;
    EXPECT_EQ(Apply(kUNCName), kUNCName);
    EXPECT_EQ(Apply(L"LOCAL\\D:\\a"), L"D:\\a");
    EXPECT_EQ(Apply(L"D:\\a"), L"D:\\a");
    ASSERT_EQ(log.Lines().size(), 1U);
    EXPECT_EQ(log.Lines()[0], (LogLine{static_cast<INFOTYPE>(8), L"VXCSoftCodecIO", kNotSet}));
    EXPECT_FALSE(IsTableBuilt());
}

TEST_F(MediumPathRulesTest, TheSettingIsReadOnceAndKept) {
    FaultPlan plan;
    LogCapture log;
    Apply(L"a");
    settings.Set(L"NotCall_UNC2LOCAL", L"0");
    EXPECT_EQ(Apply(kUNCName), kUNCName);
    EXPECT_EQ(plan.Calls(Op::VXC_GetGlobalIntW), 1);
    EXPECT_THAT(log.Texts(), ElementsAre(kNotSet));
    ForgetMediumPathSetting();
    EXPECT_EQ(Apply(kUNCName), L"D:\\clips\\a");
    settings.Set(L"NotCall_UNC2LOCAL", L"1");
    EXPECT_EQ(Apply(kUNCName), L"D:\\clips\\a");
    EXPECT_EQ(plan.Calls(Op::VXC_GetGlobalIntW), 2);
}

TEST_F(MediumPathRulesTest, AnySettingAboveZeroTurnsTheConversionOff) {
    for (const auto& [value, text] :
         {std::pair{L"1", L"1"}, std::pair{L"5", L"5"}, std::pair{L"0x7FFFFFFF", L"2147483647"}}) {
        Use(value);
        LogCapture log;
        EXPECT_EQ(Apply(kUNCName), kUNCName);
        EXPECT_EQ(Apply(kUNCName), kUNCName);
        ASSERT_EQ(log.Lines().size(), 1U);
        EXPECT_EQ(log.Lines()[0], (LogLine{static_cast<INFOTYPE>(8), L"VXCSoftCodecIO", SetTo(text)}));
    }
    EXPECT_FALSE(IsTableBuilt());
}

TEST_F(MediumPathRulesTest, ASettingOfZeroOrLessTurnsItOn) {
    for (const auto& [value, text] :
         {std::pair{L"0", L"0"}, std::pair{L"-7", L"-7"}, std::pair{L"0x80000000", L"-2147483648"}}) {
        Use(value);
        LogCapture log;
        EXPECT_EQ(Apply(kUNCName), L"D:\\clips\\a");
        EXPECT_EQ(Apply(kUNCName), L"D:\\clips\\a");
        EXPECT_EQ(log.Count(SetTo(text)), 1U) << text;
        EXPECT_EQ(log.Lines()[0], (LogLine{static_cast<INFOTYPE>(8), L"VXCSoftCodecIO", SetTo(text)}));
    }
}

TEST_F(MediumPathRulesTest, ASettingOfMinusOneTurnsItOnAndIsReadAgainEachTime) {
    Use(L"-1");
    FaultPlan plan;
    LogCapture log;
    EXPECT_EQ(Apply(kUNCName), L"D:\\clips\\a");
    EXPECT_EQ(Apply(kUNCName), L"D:\\clips\\a");
    EXPECT_EQ(log.Count(SetTo(L"-1")), 2U);
    EXPECT_EQ(plan.Calls(Op::VXC_GetGlobalIntW), 2);
    settings.Set(L"NotCall_UNC2LOCAL", L"1");
    EXPECT_EQ(Apply(kUNCName), kUNCName);
    settings.Set(L"NotCall_UNC2LOCAL", L"-1");
    EXPECT_EQ(Apply(kUNCName), kUNCName); // that one is kept
    EXPECT_EQ(plan.Calls(Op::VXC_GetGlobalIntW), 3);
}

TEST_F(MediumPathRulesTest, ASettingThatIsNoNumberIsNone) {
    Use(L"off");
    LogCapture log;
    EXPECT_EQ(Apply(kUNCName), kUNCName);
    EXPECT_THAT(log.Texts(), ElementsAre(kNotSet));
}

TEST_F(MediumPathRulesTest, ASettingThatCannotBeReadIsNone) {
    Use(L"0");
    FaultPlan plan;
    plan.Add(Fail(Op::VXC_GetGlobalIntW));
    LogCapture log;
    EXPECT_EQ(Apply(kUNCName), kUNCName);
    EXPECT_EQ(Apply(kUNCName), kUNCName);
    EXPECT_THAT(log.Texts(), ElementsAre(kNotSet));
}

TEST_F(MediumPathRulesTest, TheSettingStandsInTheSectionOfTheLibrary) {
    settings.Set(L"Software\\Norvex\\Other", L"NotCall_UNC2LOCAL", L"0");
    EXPECT_EQ(Apply(kUNCName), kUNCName);
    ForgetMediumPathSetting();
    settings.Set(L"Software\\Norvex\\SoftCodec", L"NotCall_UNC2LOCAL", L"0");
    EXPECT_EQ(Apply(kUNCName), L"D:\\clips\\a");
}

TEST_F(MediumPathRulesTest, NamesOfNoShareStayAndNothingIsLookedFor) {
    Use(L"0");
    EXPECT_EQ(Apply(L"D:\\clips\\a"), L"D:\\clips\\a");
    EXPECT_EQ(Apply(L"/srv/clips/a"), L"/srv/clips/a");
    EXPECT_EQ(Apply(L"//HOST/clips/a"), L"//HOST/clips/a");
    EXPECT_EQ(Apply(L"\\HOST\\clips\\a"), L"\\HOST\\clips\\a");
    EXPECT_FALSE(IsTableBuilt());
}

TEST_F(MediumPathRulesTest, ANameOfAShareThatIsNotKnownStays) {
    Use(L"0");
    EXPECT_EQ(Apply(L"\\\\other\\clips\\a"), L"\\\\other\\clips\\a");
}

TEST_F(MediumPathRulesTest, AnEmptyAnswerIsNone) {
    Use(L"0");
    network.AddShare(L"all", L"\\");
    EXPECT_EQ(Apply(L"\\\\HOST\\all\\"), L"\\\\HOST\\all\\");
    EXPECT_EQ(Apply(L"\\\\HOST\\all\\a"), L"\\a");
}

TEST_F(MediumPathRulesTest, TheTextsOfTheConversionAreNotWritten) {
    Use(L"0");
    Apply(kUNCName);
    LogCapture log;
    Apply(kUNCName);
    Apply(L"\\\\other\\clips\\a");
    Apply(L"D:\\a");
    EXPECT_THAT(log.Texts(), ElementsAre(L"U2L:(UNCPath:\\\\HOST\\clips\\a,LocalPath:D:\\clips\\a"));
}

TEST_F(MediumPathRulesTest, WhereMemoryLacksTheNameIsEmptyOrOneThatItMayBe) {
    Use(L"0");
    Apply(kUNCName);
    for (int nth = 1; nth <= 30; ++nth) {
        std::wstring given;
        {
            const MemoryLack lack(nth);
            given = Apply(kUNCName);
        }
        EXPECT_TRUE(given.empty() || given == kUNCName || given == L"D:\\clips\\a") << nth;
    }
}

// ---- the exported form ------------------------------------------------------------------------------

TEST_F(MediumPathRulesTest, TheAnswerIsCopiedWithItsEndAndNothingBehindIt) {
    Use(L"0");
    for (const auto& [path, expected] :
         {std::pair{kUNCName, L"D:\\clips\\a"}, std::pair{L"LOCAL\\x", L"x"}, std::pair{L"LOCAL\\", L""},
          std::pair{L"P2*x", L"P2*x"}, std::pair{L"", L""},
          std::pair{static_cast<const wchar_t*>(nullptr), L""}}) {
        wchar_t out[64];
        std::fill(std::begin(out), std::end(out), L'#');
        EXPECT_EQ(ConvertUNC2LocalPathName(path, out), 1);
        EXPECT_STREQ(out, expected);
        for (std::size_t i = std::wcslen(expected) + 1; i < std::size(out); ++i) {
            EXPECT_EQ(out[i], L'#') << i;
        }
    }
}

TEST_F(MediumPathRulesTest, WithoutRoomForTheAnswerNothingIsCopied) {
    Use(L"0");
    EXPECT_EQ(ConvertUNC2LocalPathName(kUNCName, nullptr), 1);
    EXPECT_EQ(ConvertUNC2LocalPathName(nullptr, nullptr), 1);
}

TEST_F(MediumPathRulesTest, ANameMayBeConvertedInPlace) {
    Use(L"0");
    wchar_t name[64] = L"\\\\HOST\\clips\\a";
    EXPECT_EQ(ConvertUNC2LocalPathName(name, name), 1);
    EXPECT_STREQ(name, L"D:\\clips\\a");
}

TEST_F(MediumPathRulesTest, AnAnswerMayBeLongerThanTheName) {
    Use(L"0");
    const std::wstring folder = L"D:\\" + std::wstring(700, L'f');
    network.AddShare(L"s", folder);
    wchar_t out[1024];
    EXPECT_EQ(ConvertUNC2LocalPathName(L"\\\\HOST\\s\\a", out), 1);
    EXPECT_EQ(out, folder + L"\\a");
}

TEST_F(MediumPathRulesTest, ThreadsThatAskAtOnceSeeOneSetting) {
    Use(L"0");
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < 200; ++n) {
                wrong += Apply(kUNCName) == L"D:\\clips\\a" ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}
