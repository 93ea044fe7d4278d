// XdcamDevice.h - vxcio xdcam with a device of a test's own, which is a server that does odd things.
#pragma once

#include "real/posix/LocalPorts.h"
#include "support/TempFolder.h"
#include "tool/OddFtpServer.h"
#include "tool/ToolProcess.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace vxcio::test {

// Devices connect back to the address a session comes from, so both ends have the machine's own.
class ToolXdcamTest : public testing::Test {
protected:
    void SetUp() override {
        if (m_strAddress.empty()) {
            GTEST_SKIP() << "this machine has only the loopback interface";
        }
    }
    OddFtpServer::Ways Ways(OddFtpServer::Ways ways) const {
        ways.address = m_strAddress;
        return ways;
    }
    std::vector<std::string> Words(const std::string& verb, const std::vector<std::string>& words) const {
        std::vector<std::string> all = {"xdcam", verb};
        all.insert(all.end(), words.begin(), words.end());
        return all;
    }
    Outcome Run(const std::string& verb, const std::vector<std::string>& words) const {
        return RunTool(Words(verb, words), {.folder = m_Folder.Path().string()});
    }

    const std::string m_strAddress = AddressForActive();
    TempFolder m_Folder;
};

} // namespace vxcio::test
