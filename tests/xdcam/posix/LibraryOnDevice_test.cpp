// The library against a device, over real connections and with real clips.
#include "frame/Status.h"
#include "ftp/MxfHeader.h"
#include "ftp/StretchHead.h"
#include "real/posix/FtpMatrix.h"
#include "support/LogCapture.h"
#include "text/Utf8.h"
#include "xdcam/Clips.h"
#include "xdcam/device/MxfStretch.h"
#include "xdcam/device/XdcamDevice.h"

#include <gmock/gmock.h>

#include <chrono>
#include <future>
#include <optional>

using namespace std::chrono_literals;
using namespace vxcio;
using namespace vxcio::test;
using xdcam::MxfClip;
using xdcam::XdcamDevice;

namespace {

struct Info {
    int result;
    int type;
    uint32 length;
    uint32 audio;
    uint32 rate;
    uint32 scale;

    bool operator==(const Info&) const = default;
};
void PrintTo(const Info& info, std::ostream* out) {
    *out << info.result << ": " << info.type << ' ' << info.length << ' ' << info.audio << ' ' << info.rate
         << '/' << info.scale;
}

constexpr uint32 kUntouched = 77;

// What opening took off the stream.
std::string HeadOf(const CSoftDataSource& source) {
    std::string head;
    std::vector<uint8> block(1000);
    while (const int got =
               StretchHead(source, head.size(), block.data(), static_cast<uint32>(block.size()))) {
        head.append(block.begin(), block.begin() + got);
    }
    return head;
}

} // namespace

class LibraryOnDeviceTest : public testing::Test {
protected:
    const TestClip m_clip = LongClip();
    std::optional<XdcamDevice> m_device;
    FtpSource m_source;

    void Serve(const TestClip& clip, xdcam::Troubles troubles = {}) {
        m_source.reset();
        m_device.reset();
        m_device.emplace(xdcam::DeviceOptions{.folder = clip.folder,
                                              .listen = AddressForActive(),
                                              .user = "Ö",
                                              .password = "p",
                                              .troubles = troubles});
        m_source = Session();
    }
    FtpSource Session() {
        FtpSource source(CSoftDataSource::Construct(IOWORKMODE_FTP));
        EXPECT_EQ(source->Connect(FTPMODE_XDCAM, FromUtf8(AddressForActive()).c_str(), L"Ö", L"p",
                                  m_device->Port(), 0),
                  0);
        return source;
    }
    Info Ask(const wchar_t* clip = L"/clip.mxf") {
        Info info{0, static_cast<int>(kUntouched), kUntouched, kUntouched, kUntouched, kUntouched};
        auto type = static_cast<PLUG_VIDEO_TYPE_>(info.type);
        info.result = m_source->GetXDCAMMXFInfo(clip, type, info.length, info.audio, info.rate, info.scale);
        info.type = static_cast<int>(type);
        return info;
    }
    int Open(uint32& start, uint32 end, const wchar_t* clip = L"/clip.mxf") {
        return m_source->OpenXDCAMFtpMXF(clip, start, end, nullptr);
    }
    std::string Cut(uint32 first, uint32 count) {
        const std::vector<uint8> bytes = MxfClip(m_clip.file).Cut(first, count).bytes;
        return {bytes.begin(), bytes.end()};
    }
    std::size_t Asked(const std::string& line) const {
        const std::vector<std::string> lines = m_device->Lines();
        return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), line));
    }
};

#define VXC_NEEDS_DEVICE(clip)                                                                               \
    VXC_NEEDS_ACTIVE_FTP();                                                                                  \
    VXC_NEEDS_CLIP(clip)

TEST_F(LibraryOnDeviceTest, AClipTellsWhatItIs) {
    const TestClip clip = HdClip();
    VXC_NEEDS_DEVICE(clip);
    Serve(clip);
    const ShortWaits waits;
    EXPECT_EQ(Ask(), (Info{1, 2, 60, 0x00010018, 25, 1}));
    EXPECT_EQ(Ask(), (Info{1, 2, 60, 0x00010018, 25, 1})); // nothing of the first reply is left
    EXPECT_EQ(Asked("STAT /clip.mxf"), 2u);
    EXPECT_EQ(waits.Slept(), 0u);
}

TEST_F(LibraryOnDeviceTest, AClipThatIsNotThereTellsNothing) {
    VXC_NEEDS_DEVICE(m_clip);
    Serve(m_clip);
    EXPECT_EQ(Ask(L"/none.mxf"), (Info{1, 77, 77, 77, 77, 77}));
    m_device->Set("STAT", {.refusal = "213-one\r\ntwo\r\nthree\r\nIMX40\r\n59.94i\r\n213 end"});
    EXPECT_EQ(Ask(), (Info{1, 3, 77, 213u << 16 | 16u, 30000, 1001})); // its last line is one of them
}

TEST_F(LibraryOnDeviceTest, AReplyThatComesLateIsWaitedFor) {
    VXC_NEEDS_DEVICE(m_clip);
    Serve(m_clip, {{"STAT", {.delay = 700ms}}, {"SITE-REPF", {.delay = 700ms}}});
    EXPECT_EQ(Ask(), (Info{1, 2, 600, 0x00050018, 25, 1}));
    uint32 start = 30;
    EXPECT_EQ(Open(start, 32), 0);
    EXPECT_EQ(start, 24u);
    EXPECT_TRUE(HeadOf(*m_source) + ReadOn(*m_source) == Cut(30, 2));
}

TEST_F(LibraryOnDeviceTest, TheSpaceIsTold) {
    VXC_NEEDS_DEVICE(m_clip);
    Serve(m_clip);
    EXPECT_GT(m_source->GetXDCAMFreeSpace(), 0u);
    m_source.reset();
    m_device.emplace(xdcam::DeviceOptions{
        .folder = m_clip.folder, .listen = AddressForActive(), .space = 9'876'543'210'987});
    m_source = Session();
    EXPECT_EQ(m_source->GetXDCAMFreeSpace(), 9'876'543'210'987u);
}

// The report must come in one piece.
TEST_F(LibraryOnDeviceTest, AReportInTwoPacketsIsNotPutTogether) {
    VXC_NEEDS_DEVICE(m_clip);
    Serve(m_clip, {{"SITE-DF", {.splitAfter = 12, .splitPause = 1h}}});
    EXPECT_EQ(m_source->GetXDCAMFreeSpace(), 0u);
}

TEST_F(LibraryOnDeviceTest, ARefusedReportIsNoSpace) {
    VXC_NEEDS_DEVICE(m_clip);
    Serve(m_clip, {{"SITE-DF", {.refusal = "550 no disc"}}});
    EXPECT_EQ(m_source->GetXDCAMFreeSpace(), 0u);
    m_device->Set("SITE-DF", {.cutAfter = 0});
    const ShortWaits waits;
    EXPECT_EQ(m_source->GetXDCAMFreeSpace(), 0u);
}

TEST_F(LibraryOnDeviceTest, AStretchBeginsWhereADecoderCanBegin) {
    VXC_NEEDS_DEVICE(m_clip);
    Serve(m_clip);
    LogCapture log;
    const struct {
        uint32 first;
        uint32 end;
        uint32 start;
    } rows[] = {{0, 1, 0}, {24, 30, 24}, {25, 26, 24}, {35, 60, 24}, {22, 23, 12}, {598, 600, 588}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.first);
        m_source = Session(); // else its next transfer waits for a reply that was read already
        uint32 start = row.first;
        ASSERT_EQ(Open(start, row.end), 0);
        EXPECT_EQ(start, row.start);
        EXPECT_EQ(log.Contains(L"Find Xdcam ibp TrackPosition " + std::to_wstring(row.first - row.start)),
                  row.first != row.start);
        const std::string stretch = Cut(row.first, row.end - row.first);
        const std::string head = HeadOf(*m_source);
        EXPECT_GT(head.size(), 5000u);
        EXPECT_TRUE(head + ReadOn(*m_source, 70'000) == stretch);
        EXPECT_EQ(m_source->CloseFile(), VXC_STATUS_OK);
        EXPECT_EQ(HeadOf(*m_source), "");
        log.Clear();
    }
    EXPECT_EQ(Asked("SITE REPF /clip.mxf 35 25"), 1u);
}

TEST_F(LibraryOnDeviceTest, AStretchOfALargeClipComesWhole) {
    const TestClip clip = HdClip();
    VXC_NEEDS_DEVICE(clip);
    Serve(clip);
    uint32 start = 15;
    ASSERT_EQ(Open(start, 55), 0);
    EXPECT_EQ(start, 12u);
    const std::vector<uint8> bytes = MxfClip(clip.file).Cut(15, 40).bytes;
    EXPECT_TRUE(HeadOf(*m_source) + ReadOn(*m_source) == std::string(bytes.begin(), bytes.end()));
}

TEST_F(LibraryOnDeviceTest, ARefusedStretchIsNotOpened) {
    VXC_NEEDS_DEVICE(m_clip);
    Serve(m_clip);
    const ShortWaits waits(300);
    uint32 start = 590;
    EXPECT_EQ(static_cast<uint32>(Open(start, 601)), VXC_STATUS_FTP_RETR);
    EXPECT_EQ(static_cast<uint32>(Open(start, 580)), VXC_STATUS_FTP_RETR); // the count is below 0
    EXPECT_EQ(static_cast<uint32>(Open(start, 595, L"/none.mxf")), VXC_STATUS_FTP_RETR);
    m_device->Set("SITE-REPF", {.refusal = "421 too hot"});
    EXPECT_EQ(static_cast<uint32>(Open(start, 595)), VXC_STATUS_FTP_RETR);
    EXPECT_EQ(start, 590u);
    EXPECT_EQ(HeadOf(*m_source), "");
}

TEST_F(LibraryOnDeviceTest, AStretchThatEndsInItsHeaderIsOpenAllTheSame) {
    VXC_NEEDS_DEVICE(m_clip);
    Serve(m_clip);
    const std::string stretch = Cut(30, 5);
    for (const std::size_t bytes : {0u, 10u, 511u, 512u, 700u, 3000u}) {
        SCOPED_TRACE(bytes);
        m_device->Set("SITE-REPF", {.cutAfter = bytes});
        m_source = Session();
        uint32 start = 30;
        EXPECT_EQ(Open(start, 35), 0);
        EXPECT_EQ(start, 30u); // no track has been met so far
        EXPECT_TRUE(HeadOf(*m_source) == stretch.substr(0, bytes));
        EXPECT_EQ(ReadOn(*m_source), "");
    }
    // Behind the tracks, in the last byte of the header: what is looked for was there.
    m_device->Set("SITE-REPF",
                  {.cutAfter = 511 + HeaderByteCount(reinterpret_cast<const uint8*>(stretch.data()))});
    m_source = Session();
    uint32 start = 30;
    EXPECT_EQ(Open(start, 35), 0);
    EXPECT_EQ(start, 24u);
}

TEST_F(LibraryOnDeviceTest, ADeviceThatStandsStillInTheHeaderCostsTheTimeOutOnce) {
    VXC_NEEDS_DEVICE(m_clip);
    const SettingsScope settings{{L"FtpTimeOut", L"1000"}};
    Serve(m_clip, {{"SITE-REPF", {.stallAfter = 700}}});
    ASSERT_EQ(m_source->OpenFile(L"/clip.mxf", 0, nullptr, 0), VXC_STATUS_OK); // reads the setting
    LogCapture log;
    const auto begin = std::chrono::steady_clock::now();
    uint32 start = 30;
    EXPECT_EQ(Open(start, 35), 0);
    EXPECT_EQ(start, 30u);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 1s);
    EXPECT_EQ(log.Count(L"Can't get data from ftp sever(wait 1000 ms), Time Out!!!"), 1u);
    EXPECT_EQ(ReadOn(*m_source), "");
    EXPECT_EQ(log.Count(L"Time Out!!!"), 1u);
    // Another session is served meanwhile.
    m_device->Set("SITE-REPF", {});
    const FtpSource other = Session();
    uint32 end = 35;
    EXPECT_EQ(other->OpenXDCAMFtpMXF(L"/clip.mxf", start, end, nullptr), 0);
    EXPECT_EQ(start, 24u);
}

TEST_F(LibraryOnDeviceTest, AStretchThatIsCutOrResetEndsThere) {
    VXC_NEEDS_DEVICE(m_clip);
    const std::string stretch = Cut(30, 200);
    ASSERT_GT(stretch.size(), 1'000'000u);
    for (const bool isReset : {false, true}) {
        Serve(m_clip);
        if (isReset) {
            m_device->Set("SITE-REPF", {.resetAfter = 500'000});
        } else {
            m_device->Set("SITE-REPF", {.cutAfter = 500'000});
        }
        uint32 start = 30;
        ASSERT_EQ(Open(start, 230), 0);
        EXPECT_EQ(start, 24u);
        const std::string got = HeadOf(*m_source) + ReadOn(*m_source, 70'000);
        // What comes together with the reset is lost.
        EXPECT_GE(got.size(), isReset ? 5000u : 500'000u);
        EXPECT_LE(got.size(), 500'000u);
        EXPECT_TRUE(stretch.starts_with(got));
        EXPECT_EQ(ReadOn(*m_source), "");
    }
}
