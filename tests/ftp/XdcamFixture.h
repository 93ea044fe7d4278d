// XdcamFixture.h - an FTP source that opens stretches of the clip "/clip" on an XDCAM device.
#pragma once

#include "FtpSourceFixture.h"
#include "MxfBytes.h"
#include "ftp/StretchHead.h"

#include <string>
#include <thread>

namespace vxcio::test {

class XdcamFixture : public FtpSourceFixture {
protected:
    // Adds the frames 100 to 149; what the device sends follows.
    FtpScript& Device(const std::string& question = "SITE REPF /clip 100 50") {
        return ftp.Active().Expect(question).Say("150 here").Dial();
    }
    uint32 OpenStretch(uint32 from = 100, uint32 to = 150) {
        start = from;
        end = to;
        return static_cast<uint32>(source->OpenXDCAMFtpMXF(L"/clip", start, end, nullptr));
    }
    // Opens what this script sends.
    void OpenOk() {
        Connect(FTPMODE_XDCAM);
        ASSERT_EQ(OpenStretch(), VXC_STATUS_OK);
    }
    // What StretchHead gives for a request of so many bytes.
    std::string Head(uint64 position, uint32 bytes) const {
        std::string head(bytes, '~');
        const int got = StretchHead(*source, position, reinterpret_cast<uint8*>(head.data()), bytes);
        EXPECT_GE(got, 0);
        head.resize(static_cast<std::size_t>(got));
        return head;
    }
    // An open on a thread of its own; comes back when that waits for bytes which are not there.
    std::thread OpenUntilItStands() {
        std::thread opener([this] { status = OpenStretch(); });
        EXPECT_TRUE(ftp.WaitUntilReceiverWaits());
        return opener;
    }

    uint32 start = 0;
    uint32 end = 0;
    uint32 status = 1; // of OpenUntilItStands
};

} // namespace vxcio::test
