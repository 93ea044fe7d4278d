// What the tool hears of the module for URLs, which alone knows why a file could not be had.
#include "LogView.h"

#include "frame/SystemLayer.h"

#include <gtest/gtest.h>

using vxcio::tool::LogView;

namespace {

constexpr const wchar_t* kRemote = L"QLRRemoteFileU";
constexpr const wchar_t* kLibrary = L"VXCSoftCodecIO";

} // namespace

TEST(ToolLogRemoteTest, TheLastErrorOfTheModuleIsKeptWhateverTheLibrarySaysBehindIt) {
    LogView log(false, std::nullopt, INFOTYPE_ERROR);
    EXPECT_EQ(log.RemoteFailure(), "");
    VXC_OutputW(kRemote, INFOTYPE_ERROR, L"%s", L"http://h/x: the first");
    VXC_OutputW(kRemote, INFOTYPE_ERROR, L"%s", L"http://h/x: the second");
    VXC_OutputW(kLibrary, INFOTYPE_ERROR, L"%s", L"CRemoteSource::OpenFile(http://h/x) error!");
    EXPECT_EQ(log.RemoteFailure(), "http://h/x: the second");
    EXPECT_EQ(log.LastFailure(), "CRemoteSource::OpenFile(http://h/x) error!");
    EXPECT_FALSE(log.IsRemoteMissing());
    log.Clear();
    EXPECT_EQ(log.RemoteFailure(), "");
}

TEST(ToolLogRemoteTest, ItsTraceIsNoFailure) {
    LogView log(false, std::nullopt, INFOTYPE_TRACE);
    VXC_OutputW(kRemote, INFOTYPE_TRACE, L"%s", L"http://h/x: the server gives no ranges");
    EXPECT_EQ(log.RemoteFailure(), "");
}

TEST(ToolLogRemoteTest, AModuleThatIsMissingIsThatOfUrlsAlone) {
    LogView log(false, std::nullopt, INFOTYPE_ERROR);
    VXC_OutputW(kLibrary, INFOTYPE_ERROR, L"%s", L"Can't laod dll[/x\\VXCDeEncrypt.dll]");
    EXPECT_FALSE(log.IsRemoteMissing());
    VXC_OutputW(kLibrary, INFOTYPE_ERROR, L"%s", L"Can't laod dll[/x\\QLRRemoteFileU.dll]");
    EXPECT_TRUE(log.IsRemoteMissing());
    EXPECT_EQ(log.RemoteFailure(), "Can't laod dll[/x\\QLRRemoteFileU.dll]");
    log.Clear();
    EXPECT_FALSE(log.IsRemoteMissing());
}

TEST(ToolLogRemoteTest, NoSecretStandsInIt) {
    LogView log(false, std::nullopt, INFOTYPE_ERROR);
    log.Hide("Kappe-77");
    VXC_OutputW(kRemote, INFOTYPE_ERROR, L"%s", L"http://u:Kappe-77@h/x: no");
    EXPECT_EQ(log.RemoteFailure(), "http://u:*****@h/x: no");
}
