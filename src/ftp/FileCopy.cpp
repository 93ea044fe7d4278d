#include "ftp/FileCopy.h"

#include "frame/PlatformTypes.h"
#include "frame/SoftDataIO.h"
#include "frame/Status.h"
#include "frame/TransferDefaults.h"
#include "frame/VXCString.h"
#include "ftp/FileCopyEnds.h"
#include "ftp/LostPath.h"
#include "sysu/HostControl.h"

#include <atomic>
#include <memory>
#include <new>

using namespace vxcio;

namespace {

constexpr uint32 kBlock = 1048576;
constexpr uint32 kReadFlags = VXC_FILE_FLAG_SEQUENTIAL_SCAN | VXC_FILE_ATTRIBUTE_NORMAL;
constexpr uint32 kWriteFlags = VXC_FILE_FLAG_NO_BUFFERING;
constexpr uint32 kYesNo = 4;
constexpr int kDeclined = 1;
constexpr const wchar_t* kTemporaryEnd = L".qlqlql";

// Ends its session before it goes, whatever ended the copy.
struct CloseFirst {
    void operator()(CSoftDataIO* io) const noexcept {
        io->Close();
        delete io;
    }
};

class FileCopy {
public:
    struct Server {
        FTPMODE mode;
        const wchar_t* host;
        const wchar_t* user;
        const wchar_t* password;
        int port;
        int passive;
    };
    struct Reports {
        PFN_INFO_CALLBACK callback;
        void* context;
    };

    FileCopy(const Server& server, const Reports& reports, bool isUpload, bool isResumed, int* cancel)
        : m_server(server), m_reports(reports), m_isUpload(isUpload), m_isResumed(isResumed),
          m_pCancel(cancel) {}

    uint32 Run(const wchar_t* from, const wchar_t* to) {
        m_target = to;
        m_temporary = m_target + kTemporaryEnd;
        m_pBuffer.reset(new (std::nothrow) uint8[kBlock]);
        if (!m_pBuffer || !IsJoined(m_target, to, nullptr) || !IsJoined(m_temporary, to, kTemporaryEnd)) {
            return VXC_STATUS_OPEN_READ;
        }
        if (const uint32 status = OpenSource(from); status != VXC_STATUS_OK) {
            return status;
        }
        if (const uint32 status = MakeSink(); status != VXC_STATUS_OK) {
            return status;
        }
        if (const uint32 status = AskToOverwrite(); status != VXC_STATUS_OK) {
            return status;
        }
        if (const uint32 status = OpenSink(); status != VXC_STATUS_OK) {
            ReportName(VXC_COPY_REFUSED, L"Open dest file %s error!", m_target);
            return status;
        }
        return Transfer();
    }

private:
    void Report(int code, const wchar_t* text, int64 total = 0, int64 done = 0) {
        if (m_reports.callback != nullptr) {
            m_reports.callback(code, text, total, done, m_reports.context);
        }
    }
    void ReportName(int code, const wchar_t* format, const wchar_t* name) {
        CVXCString text;
        text.Format(format, name);
        Report(code, text);
    }
    // False where memory lacks for the question.
    static bool Ask(const wchar_t* format, const wchar_t* name, bool* isDeclined) {
        CVXCString text;
        text.Format(format, name);
        *isDeclined = !text.IsEmpty() && AskUser(text, L"Prunikupige", kYesNo) == kPromptNo;
        return !text.IsEmpty();
    }

    uint32 Connect(CSoftDataIO& io) const {
        const int status =
            io.Connect(m_server.mode, m_server.host, m_server.user, m_server.password, m_server.port, 0);
        if (status == 0) {
            io.SetPASVMode(m_server.passive);
        }
        return static_cast<uint32>(status);
    }

    uint32 OpenSource(const wchar_t* name) {
        m_pSource.reset(EndsOfFileCopy().source(m_isUpload ? IOWORKMODE_FILE : IOWORKMODE_FTP));
        if (!m_pSource) {
            return VXC_STATUS_OPEN_READ;
        }
        m_pSource->SetInfoCallBack(m_reports.callback, m_reports.context);
        if (!m_isUpload) {
            if (const uint32 status = Connect(*m_pSource); status != VXC_STATUS_OK) {
                return status;
            }
        }
        const uint32 status = m_pSource->OpenFile(name, kReadFlags, nullptr, 0);
        if (status != VXC_STATUS_OK) {
            ReportName(VXC_COPY_REFUSED, L"Open source file %s error!", name);
        }
        return status;
    }

    uint32 MakeSink() {
        m_pSink.reset(EndsOfFileCopy().sink(m_isUpload ? IOWORKMODE_FTP : IOWORKMODE_FILE));
        if (!m_pSink) {
            return VXC_STATUS_OPEN_READ;
        }
        m_pSink->SetInfoCallBack(m_reports.callback, m_reports.context);
        return m_isUpload ? Connect(*m_pSink) : VXC_STATUS_OK;
    }

    uint32 AskToOverwrite() {
        if (m_pSink->IsFileExist(m_target) == 0) {
            return VXC_STATUS_OK;
        }
        bool isDeclined = false;
        if (!Ask(L"Do you want to overwrite '%s' ?", m_target, &isDeclined)) {
            return VXC_STATUS_OPEN_READ;
        }
        return isDeclined ? kDeclined : VXC_STATUS_OK;
    }

    uint32 OpenSink() {
        m_pSink->DeleteFile1(m_target);
        if (!m_isResumed) {
            m_pSink->DeleteFile1(m_temporary);
            return OpenNew(m_target);
        }
        bool isDeclined = false;
        if (m_pSink->IsFileExist(m_temporary) != 0 &&
            Ask(L"Do you want to resume '%s' ?", m_target, &isDeclined) && isDeclined) {
            m_pSink->DeleteFile1(m_temporary);
        }
        // The open mode is that for a new file here as well: what stands there is emptied.
        if (m_pSink->OpenFile(m_temporary, 1, 0, kWriteFlags, nullptr) != VXC_STATUS_OK) {
            return OpenNew(m_temporary);
        }
        m_total = Size(*m_pSource);
        m_done = Size(*m_pSink);
        if (m_pSource->Seek(m_done, kFromStart) != m_done) {
            Report(VXC_COPY_STATUS, L"Ftp sever not support resume mode");
            m_pSink->Seek(0, kFromStart);
            m_done = 0;
        }
        return VXC_STATUS_OK;
    }

    uint32 OpenNew(const wchar_t* name) {
        const uint32 status = m_pSink->OpenFile(name, 0, 0, kWriteFlags, nullptr);
        if (status == VXC_STATUS_OK) {
            m_total = Size(*m_pSource);
            m_done = 0;
        }
        return status;
    }

    uint32 Transfer() {
        ReportName(VXC_COPY_STATUS, L"Open dest file %s sucess!", m_target);
        Report(VXC_COPY_STATUS, L"Begin transfer, please wait...");
        Report(VXC_COPY_BEGINS, L"");
        const wchar_t* text = L"";
        const int got = CopyBlocks(&text);
        m_pSource->CloseFile();
        if (const uint32 status = m_pSink->CloseFile(); status != VXC_STATUS_OK) {
            return status;
        }
        if (got < 0) {
            return VXC_STATUS_READ;
        }
        if (m_isResumed && m_done == m_total) {
            m_pSink->RenameFile(m_temporary, m_target);
        }
        if (m_done == m_total) {
            text = L"Data transfer sucess!";
        }
        Report(VXC_COPY_ENDED, text, m_total, m_done);
        return VXC_STATUS_OK;
    }

    // The result of the last read; why there is no further one, in words where there are any.
    int CopyBlocks(const wchar_t** text) {
        int got = 0;
        for (;;) {
            if (m_pCancel != nullptr && std::atomic_ref<int>(*m_pCancel).load() != 0) {
                *text = L"Data transfer cancled!";
                return got;
            }
            got = m_pSource->Read(m_pBuffer.get(), kBlock);
            if (got < 1) {
                return got;
            }
            if (m_pSink->Write(m_pBuffer.get(), static_cast<uint32>(got), nullptr) != got) {
                *text = L"Can't send data to sever, please check the connection of Internet!";
                return got;
            }
            m_done += got;
            Report(VXC_COPY_PROGRESS, L"", m_total, m_done);
        }
    }

    template <class Io>
    static int64 Size(Io& io) {
        return static_cast<int64>(io.GetFileSize());
    }

    const Server m_server;
    const Reports m_reports;
    const bool m_isUpload;
    const bool m_isResumed;
    int* const m_pCancel;
    CVXCString m_target;
    CVXCString m_temporary;
    std::unique_ptr<uint8[]> m_pBuffer;
    // The source goes first.
    std::unique_ptr<CQLSoftDataSink, CloseFirst> m_pSink;
    std::unique_ptr<CSoftDataSource, CloseFirst> m_pSource;
    int64 m_total = 0;
    int64 m_done = 0;
};

} // namespace

FileCopyEnds& vxcio::EndsOfFileCopy() noexcept {
    static constinit FileCopyEnds ends = {CSoftDataSource::Construct, CQLSoftDataSink::Construct};
    return ends;
}

int QLFileCopy(int upload, const wchar_t* localPath, const wchar_t* remotePath, FTPMODE mode,
               const wchar_t* host, const wchar_t* user, const wchar_t* password, int port, int* cancel,
               PFN_INFO_CALLBACK callback, void* context, int resume, int passive) {
    const bool isUpload = upload != 0;
    FileCopy copy({mode, host, user, password, port, passive}, {callback, context}, isUpload,
                  resume != 0 && mode == FTPMODE_NORMAL, cancel);
    return static_cast<int>(isUpload ? copy.Run(localPath, remotePath) : copy.Run(remotePath, localPath));
}
