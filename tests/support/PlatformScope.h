// PlatformScope.h - replaced platform calls for the length of a test.
#pragma once

#include "platform/DiskQueries.h"
#include "platform/FileCache.h"
#include "platform/HostNames.h"
#include "platform/ModulePath.h"
#include "platform/NetworkNames.h"
#include "platform/Process.h"
#include "platform/SharedObjects.h"
#include "platform/Sockets.h"
#include "platform/SystemVersion.h"
#include "platform/UtcClock.h"

namespace vxcio::test {

// Remembers the tables of src/platform/ and puts them back at its end. In between a test changes them through
// it or directly; no other thread may use them while they change.
//
//   PlatformScope platform;
//   platform.Disks().getDriveType = [](const wchar_t*) { return VXC_DRIVE_CDROM; };
class PlatformScope {
public:
    PlatformScope() = default;
    ~PlatformScope() {
        DiskQueries() = m_disks;
        FileCache() = m_cache;
        HostNames() = m_hosts;
        ModulePath() = m_module;
        NetworkNames() = m_network;
        Process() = m_process;
        SharedObjects() = m_shared;
        Sockets() = m_sockets;
        SystemVersion() = m_version;
        UtcClock() = m_utc;
    }
    PlatformScope(const PlatformScope&) = delete;
    PlatformScope& operator=(const PlatformScope&) = delete;

    DiskQueryTable& Disks() const { return DiskQueries(); }
    FileCacheTable& Cache() const { return FileCache(); }
    HostNameTable& Hosts() const { return HostNames(); }
    ModulePathTable& Module() const { return ModulePath(); }
    NetworkNameTable& Network() const { return NetworkNames(); }
    ProcessTable& Processes() const { return Process(); }
    SharedObjectTable& Shared() const { return SharedObjects(); }
    SocketTable& SocketCalls() const { return Sockets(); }
    SystemVersionTable& Version() const { return SystemVersion(); }
    UtcClockTable& Utc() const { return UtcClock(); }

private:
    const DiskQueryTable m_disks = DiskQueries();
    const FileCacheTable m_cache = FileCache();
    const HostNameTable m_hosts = HostNames();
    const ModulePathTable m_module = ModulePath();
    const NetworkNameTable m_network = NetworkNames();
    const ProcessTable m_process = Process();
    const SharedObjectTable m_shared = SharedObjects();
    const SocketTable m_sockets = Sockets();
    const SystemVersionTable m_version = SystemVersion();
    const UtcClockTable m_utc = UtcClock();
};

} // namespace vxcio::test
