// The operations of CInnerSoftDataIO on folders and files: listings of the FTP server; to look for, delete,
// rename and make them there or, without a session, on this system.
#include "frame/InnerSoftDataIO.h"

#include "filehandle/DiskFaultTable.h"
#include "filehandle/FileRecord.h"
#include "filehandle/HandOver.h"
#include "frame/FindData.h"
#include "frame/Log.h"
#include "frame/ModuleValues.h"
#include "ftp/FtpSocket.h"
#include "ftp/ListParser.h"
#include "ftp/LostPath.h"
#include "ftp/ReplyTimes.h"

#include <new>

using namespace vxcio;

namespace {

constexpr uint32 kDeleteTimeOut = 10000; // milliseconds

// ---- Local files, on a thread that a dead disk may keep ------------------------------------------------

// What the thread works on: its own, as it may outlive the caller.
struct PathCall : Counted<PathCall> {
    explicit PathCall(const wchar_t* name) noexcept : path(name) {}
    const CVXCString path;
};

uint32 ExistsThread(void* context) noexcept {
    const auto call = Ref<PathCall>::Adopt(static_cast<PathCall*>(context));
    return GetDiskStatus(call->path.GetAt(0)) != 0 && VXC_DoesFileExistsW(call->path) != 0 ? 1 : 0;
}

uint32 DeleteThread(void* context) noexcept {
    const auto call = Ref<PathCall>::Adopt(static_cast<PathCall*>(context));
    if (GetDiskStatus(call->path.GetAt(0)) == 0) {
        return 0;
    }
    if (VXC_DeleteFileW(call->path) == 0) {
        const ErrorText error = LastErrorText();
        VXCMSGW(kModuleName, error.text);
        return 0;
    }
    return 1;
}

enum class Guarded { Yes, No, TimedOut };

// What the thread says of the path within the limit. One that takes longer is left behind.
Guarded RunGuarded(uint32 (*entry)(void*), const wchar_t* path, uint32 milliseconds) noexcept {
    auto call = path == nullptr ? Ref<PathCall>() : Ref<PathCall>::Adopt(new (std::nothrow) PathCall(path));
    if (!call || IsLost(call->path, path)) {
        return Guarded::No;
    }
    call->AddReference(); // the thread's own
    void* const thread = VXC_CreateThread(nullptr, 0, entry, call.Get(), 0, nullptr);
    if (thread == nullptr) {
        call->Release();
        return Guarded::No;
    }
    Guarded result = Guarded::TimedOut;
    if (WaitFor(thread, milliseconds)) {
        unsigned long code = 0;
        VXC_GetExitCodeThread(thread, &code);
        result = code != 0 ? Guarded::Yes : Guarded::No;
    } else {
        StayForStuckThreads();
    }
    VXC_CloseHandle(thread);
    return result;
}

} // namespace

// A command that succeeds with a reply of this class.
int CInnerSoftDataIO::Ask(const wchar_t* command, const wchar_t* argument, int wantedClass) noexcept {
    return SendCommand(command, argument) != 0 && ReadStr(m_retmsg, kReplyTimeOut) != 0 &&
                   m_nReplyClass == wantedClass
               ? 1
               : 0;
}

// ---- Listings -----------------------------------------------------------------------------------------

int CInnerSoftDataIO::SetFindPath(const wchar_t* path) {
    SendCommand(L"NOOP");
    if (ReadStr(m_retmsg, kReplyTimeOut) == 0) {
        // The session is lost: it is the only place where one is begun again.
        m_strFindPath = L"";
        if (Logon() != 0) {
            return 0;
        }
    }
    m_strFindPath = path;
    if (IsLost(m_strFindPath, path)) {
        return 0;
    }
    // The closing reply of an earlier listing is still to come, and is taken for that to NOOP. Each reply is
    // then read by the command behind its own, so that a refused CWD is not seen here.
    if (Ask(L"CWD ", m_strFindPath, 2) == 0) {
        return 0;
    }
    m_nListFilled = 0;
    if (CreateDataChannel() != 0) {
        return 0;
    }
    // Some servers hold back their reply until the data connection stands, so it is made first.
    if (m_bPASV != 0 && ConnectDataChannel() == 0) {
        return 0;
    }
    const bool isPassive = m_bPASV != 0;
    if (Ask(L"LIST ", L"", 1) == 0) {
        return 0;
    }
    return isPassive || AcceptDataChannel() != 0 ? 1 : 0;
}

int CInnerSoftDataIO::ReadListData(uint8* buffer, int size) noexcept {
    if (buffer == nullptr || size == 0 || m_DataChannel == nullptr) {
        return 0;
    }
    int count = 0;
    int got = 0;
    try {
        while (count < size) {
            got = m_DataChannel->Receive(buffer + count, static_cast<unsigned>(size - count), 0);
            count += got;
            if (got <= 0) {
                m_strInfo = L" Can't get data from ftp sever , dada transfer end !\n";
                VXCMSGW(kModuleName, L" Can't get data from ftp sever , dada transfer end !\n");
                break;
            }
        }
    } catch (...) {
        m_strInfo = L"File error!";
        return got;
    }
    return count;
}

bool CInnerSoftDataIO::TakeListLine(char* line, int& length) noexcept {
    for (length = 0; length < static_cast<int>(kListLineMost);) {
        if (m_nListPos >= m_nListFilled) {
            m_nListPos = 0;
            m_nListFilled = ReadListData(m_pScratch.get(), m_nScratchSize);
            // Below 0 after a failure at the very start: there is no byte either.
            if (m_nListFilled <= 0) {
                return false;
            }
        }
        const char next = static_cast<char>(m_pScratch[static_cast<std::size_t>(m_nListPos++)]);
        line[length++] = next;
        if (next == '\n') {
            break;
        }
    }
    return true;
}

int CInnerSoftDataIO::FindNextFile1(void* findData) {
    if (findData == nullptr) {
        return 0;
    }
    auto& record = *static_cast<WIN32_FIND_DATAW*>(findData);
    record = {};
    char line[kListLineMost];
    int length = 0;
    while (TakeListLine(line, length)) {
        const std::string_view text(line, static_cast<std::size_t>(length));
        const ListShape shape = ShapeOfLine(text);
        if (shape != ListShape::None) {
            return ParseListLine(text, shape, record) ? 1 : 0;
        }
    }
    return 0;
}

// ---- Files and folders --------------------------------------------------------------------------------

int CInnerSoftDataIO::IsFileExist(const wchar_t* path) {
    if (m_bFtp != 0) {
        return RenameFile(path, path);
    }
    const Guarded answer = RunGuarded(ExistsThread, path, ReadHandleTimeOut());
    if (answer == Guarded::TimedOut) {
        VXCMSGW(kModuleName, L"CQLSoftDataIO::IsFileExistThread() Time Out!!!\n");
        SetDiskError(path[0]);
    }
    return answer == Guarded::Yes ? 1 : 0;
}

int CInnerSoftDataIO::DeleteFile1(const wchar_t* path) {
    if (m_bFtp != 0) {
        const CVXCString remote = RemotePath(path);
        return IsLost(remote, path) ? 0 : Ask(L"DELE ", remote, 2);
    }
    const Guarded answer = RunGuarded(DeleteThread, path, kDeleteTimeOut);
    if (answer == Guarded::TimedOut) {
        VXCMSGW(kModuleName, L"CQLSoftDataIO::DeleteFile() Time Out!!!\n");
    }
    return answer == Guarded::Yes ? 1 : 0;
}

int CInnerSoftDataIO::RenameFile(const wchar_t* oldPath, const wchar_t* newPath) {
    if (m_bFtp != 0) {
        return Ask(L"RNFR ", oldPath, 3) != 0 ? Ask(L"RNTO ", newPath, 2) : 0;
    }
    VXC_DeleteFileW(newPath);
    VXC_RenameFileW(oldPath, newPath);
    return 1;
}

int CInnerSoftDataIO::CreateFolder(const wchar_t* path) noexcept {
    if (VXC_CreateDirectoryW(path, nullptr) != 0) {
        return 1;
    }
    const ErrorText error = LastErrorText();
    m_strInfo = error.text;
    VXCMSGW(kModuleName, error.text);
    return 0;
}

int CInnerSoftDataIO::AskFolder(const wchar_t* command, const wchar_t* path) noexcept {
    if (SendCommand(command, path) == 0) {
        return 0;
    }
    if (ReadStr(m_retmsg, kReplyTimeOut) != 0 && m_nReplyClass == 2) {
        return 1;
    }
    VXCMSGW(kModuleName, m_strInfo.Text());
    return 0;
}

int CInnerSoftDataIO::MakeFolder(const wchar_t* path) {
    return m_bFtp != 0 ? AskFolder(L"MKD ", path) : CreateFolder(path);
}

// Of local folders none is ever removed: callers rely on getting one.
int CInnerSoftDataIO::DeleteFolder(const wchar_t* path) {
    return m_bFtp != 0 ? AskFolder(L"RMD ", path) : CreateFolder(path);
}
