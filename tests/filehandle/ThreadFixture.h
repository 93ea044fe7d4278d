// ThreadFixture.h - file handles in thread mode: over a file, and over a host's functions that hang.
#pragma once

#include "filehandle/HandleFixture.h"

#include "filehandle/DiskFaultEntry.h"
#include "filehandle/DiskFaultTable.h"
#include "frame/ModuleValues.h"
#include "support/HostTable.h"
#include "support/LeakChecks.h"
#include "support/TestClock.h"

#include <string>
#include <thread>
#include <vector>

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

// A drive that is healthy when the test begins and again when it has ended.
class HealthyDrive {
public:
    explicit HealthyDrive(wchar_t letter) : m_letter(letter) { Heal(); }
    ~HealthyDrive() { Heal(); }
    HealthyDrive(const HealthyDrive&) = delete;
    HealthyDrive& operator=(const HealthyDrive&) = delete;
    void Heal() const { *DiskFaultEntry(m_letter) = 0; }
    bool IsMarked() const { return *DiskFaultEntry(m_letter) != 0; }

private:
    const wchar_t m_letter;
};

// A host's file on drive D and one on a share, whose functions hang at a gate; a clock that stands. All
// limits are kLimit, that of opening for write access kLimit + 1.
class HungTest : public ::testing::Test {
protected:
    static constexpr uint32 kSize = 1000;
    static constexpr const wchar_t* kName = L"D:\\clip.mxf";
    static constexpr const wchar_t* kShared = L"\\\\server\\clip.mxf";

    HungTest() { host.AddFile(kShared, Pattern(kSize, 5)); }

    uint32 Open(const wchar_t* name = kName, uint32 access = VXC_GENERIC_READ) {
        return OpenThreaded(handle, host.Tagged(name), access);
    }
    uint32 Read(uint32 bytes, uint32* count) { return handle.ReadFile(buffer.data(), bytes, count, nullptr); }
    // Runs an operation that comes to the gate, and moves the clock beyond its limit meanwhile.
    template <class Call>
    void LetTimeOut(Call call, uint32 limit = kLimit) {
        std::thread caller(call);
        EXPECT_TRUE(gate.WaitUntilReached());
        EXPECT_TRUE(clock.WaitForSleepers(1));
        EXPECT_EQ(clock.Advance(limit - 1), 0);
        EXPECT_EQ(clock.Advance(1), 1);
        caller.join();
    }
    // A read of 100 bytes that hangs and is given up.
    void LoseARead() {
        host.Hold(HostFunction::Read, gate);
        LetTimeOut([&] {
            uint32 count = 0;
            EXPECT_EQ(Read(100, &count), VXC_STATUS_TIME_OUT);
        });
    }
    uint32 Status() {
        uint32 count = 0;
        return handle.ReadFile(nullptr, 0, &count, nullptr);
    }

    const HealthyDrive drive{L'D'};
    NoLeakScope leaks;
    TimeOuts limits{kLimit, kLimit + 1};
    HostTable host{kName, Pattern(kSize, 5)};
    TestClock clock;
    std::vector<uint8> buffer = std::vector<uint8>(kSize, 0xEE);
    CQLSoftFileHandle handle;
    Gate gate; // opens first of all when a test ends
};

} // namespace vxcio::test
