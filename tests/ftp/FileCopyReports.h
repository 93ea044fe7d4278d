// FileCopyReports.h - a copy between a local file and an FTP server, and what it reports.
#pragma once

#include "ftp/FileCopy.h"

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace vxcio::test {

struct CopyReport {
    int code;
    std::wstring text;
    int64 total = 0;
    int64 done = 0;

    bool operator==(const CopyReport&) const = default;
};
inline std::ostream& operator<<(std::ostream& out, const CopyReport& report) {
    return out << report.code << " \"" << std::string(report.text.begin(), report.text.end()) << "\" "
               << report.done << " of " << report.total;
}

inline constexpr const wchar_t* kCopied = L"Data transfer sucess!";
inline constexpr const wchar_t* kCancelled = L"Data transfer cancled!";
inline constexpr const wchar_t* kNotSent =
    L"Can't send data to sever, please check the connection of Internet!";

// What each copy that begins to transfer reports first, then `rest`.
inline std::vector<CopyReport> Begun(const std::wstring& target, const std::vector<CopyReport>& rest) {
    std::vector<CopyReport> all = {{VXC_COPY_STATUS, L"Open dest file " + target + L" sucess!"},
                                   {VXC_COPY_STATUS, L"Begin transfer, please wait..."},
                                   {VXC_COPY_BEGINS, L""}};
    all.insert(all.end(), rest.begin(), rest.end());
    return all;
}

// One copy: its arguments, which a test changes, and its reports. The test fails where one comes with another
// context or on another thread.
class CopyCall {
public:
    uint32 Run() {
        m_reports.clear();
        m_thread = std::this_thread::get_id();
        const wchar_t* const localName = hasNames ? local.c_str() : nullptr;
        const wchar_t* const remoteName = hasNames ? remote.c_str() : nullptr;
        return static_cast<uint32>(QLFileCopy(upload, localName, remoteName, mode, host.c_str(), L"u", L"p",
                                              port, hasCancel ? &cancel : nullptr,
                                              hasCallback ? Receive : nullptr, this, resume, passive));
    }
    const std::vector<CopyReport>& Reports() const { return m_reports; }

    int upload = 0;
    std::wstring local;
    std::wstring remote = L"/f";
    bool hasNames = true;
    FTPMODE mode = FTPMODE_NORMAL;
    std::wstring host;
    int port = 0;
    bool hasCancel = false;
    int cancel = 0;
    bool hasCallback = true;
    int resume = 0;
    int passive = 1;
    std::function<void(const CopyReport&)> onReport; // called within each; what it throws goes to the copy

private:
    static int Receive(int code, const wchar_t* text, int64 total, int64 done, void* context) {
        CopyCall& self = *static_cast<CopyCall*>(context);
        EXPECT_EQ(std::this_thread::get_id(), self.m_thread);
        self.m_reports.push_back({code, text, total, done});
        if (self.onReport) {
            self.onReport(self.m_reports.back());
        }
        return -1; // nobody looks at it
    }

    std::vector<CopyReport> m_reports;
    std::thread::id m_thread;
};

} // namespace vxcio::test
