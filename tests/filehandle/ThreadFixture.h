// ThreadFixture.h - file handles in thread mode: over a file, and over a host's functions that hang.
#pragma once

#include "filehandle/HandleFixture.h"

#include "filehandle/DiskFaultTable.h"
#include "frame/ModuleValues.h"
#include "support/HostTable.h"
#include "support/LeakChecks.h"
#include "support/TestClock.h"

#include <array>
#include <atomic>
#include <thread>
#include <utility>

namespace vxcio::test {

// The time-outs of the module for one test.
class TimeOuts {
public:
    TimeOuts(uint32 read, uint32 write) : m_read(ReadHandleTimeOut()), m_write(WriteHandleTimeOut()) {
        Module().ReadHandleTimeOut = read;
        Module().WriteHandleTimeOut = write;
    }
    ~TimeOuts() {
        Module().ReadHandleTimeOut = m_read;
        Module().WriteHandleTimeOut = m_write;
    }
    TimeOuts(const TimeOuts&) = delete;
    TimeOuts& operator=(const TimeOuts&) = delete;

private:
    uint32 m_read;
    uint32 m_write;
};

inline uint32 OpenThreaded(CQLSoftFileHandle& handle, const std::wstring& name,
                           uint32 access = VXC_GENERIC_READ, uint32 flags = 0) {
    return handle.CreateFile(name.c_str(), access, 3, nullptr, VXC_OPEN_EXISTING, flags, nullptr, 1);
}

inline constexpr uint32 kLimit = 5000; // milliseconds

// A handle in thread mode on a file of 10000 patterned bytes; all waits have the limit kLimit.
class ThreadTest : public HandleTransferTest {
protected:
    uint32 Open(uint32 access = VXC_GENERIC_READ, uint32 flags = 0) {
        return OpenThreaded(threaded, Clip(), access, flags);
    }
    uint32 Read(uint32 bytes, uint32* count = nullptr) {
        uint32 ignored = 0;
        return threaded.ReadFile(buffer.data(), bytes, count == nullptr ? &ignored : count, nullptr);
    }
    const SCreateFile& Record() const { return *SoftFileHandleInspector::Record(threaded); }

    TimeOuts limits{kLimit, VXC_INFINITE};
    CQLSoftFileHandle threaded;
};

} // namespace vxcio::test
