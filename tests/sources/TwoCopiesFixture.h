// TwoCopiesFixture.h - a file source over two copies of a patterned file, whose disks a test can hold.
#pragma once

#include "frame/ModuleValues.h"
#include "sources/DroppedList.h"
#include "sources/SourceFixture.h"
#include "support/Bounded.h"
#include "support/Gate.h"
#include "support/LeakChecks.h"
#include "support/SettingsScope.h"
#include "support/TestClock.h"

#include <gmock/gmock.h>

#include <chrono>
#include <future>
#include <thread>
#include <utility>

namespace vxcio {

struct TwoHandleReadingInspector {
    static int LastFile(const TwoHandleReading& reading) { return reading.m_nLastFile; }
    static CopyReader& Reader(TwoHandleReading& reading, int copy) { return reading.m_reader[copy]; }
};

struct CopyReaderInspector {
    static void* DoneEvent(const CopyReader& reader) { return reader.m_hFileDone; }
    static void* RequestEvent(const CopyReader& reader) { return reader.m_hFileRequest; }
};

struct FileSourceTwoInspector {
    static uint32 TwoHandle(const CFileSource& source) { return source.m_bTwoHandle; }
    static uint32 Threshold(const CFileSource& source) { return source.m_dwDoubleRdThreshold; }
    static const CQLSoftFileHandle* File(const CFileSource& source, int which) {
        return source.m_pFile[which].get();
    }
    static std::wstring File2(const CFileSource& source) { return source.m_strFile[1].c_str(); }
    static TwoHandleReading* Reading(CFileSource& source) { return source.m_pTwoHandle.get(); }
    static uint32 ReadInto(CFileSource& source, AlignedBuffer& block, uint32 bytes) {
        return source.ReadTwoFilesInto(block, bytes);
    }
    static uint8* TravellingMemory(const CFileSource& source) { return source.m_pAlignBuffer.Data(); }
    static std::mutex& FileMutex(CFileSource& source) { return source.m_FileMutex; }
};

namespace test {

// The time-out of all handles that are made while it lives.
class HandleTimeOutScope {
public:
    explicit HandleTimeOutScope(uint32 milliseconds)
        : m_before(Module().ReadHandleTimeOut.exchange(milliseconds)) {}
    ~HandleTimeOutScope() { Module().ReadHandleTimeOut = m_before; }
    HandleTimeOutScope(const HandleTimeOutScope&) = delete;
    HandleTimeOutScope& operator=(const HandleTimeOutScope&) = delete;

private:
    const uint32 m_before;
};

// Frees the handles that opens have left behind, once nothing holds their workers any more. How many.
inline int FreeDroppedHandles() {
    int freed = 0;
    DroppedHandle* entry = DroppedList().exchange(nullptr);
    while (entry != nullptr) {
        delete entry->handle;
        delete std::exchange(entry, entry->next);
        ++freed;
    }
    return freed;
}

class TwoCopiesFixture : public ::testing::Test {
protected:
    using Two = FileSourceTwoInspector;

    static constexpr uint32 kSize = 10000;
    static constexpr uint32 kSeed = 3;
    static constexpr uint32 kThreshold = 2000;

    TwoCopiesFixture() : content(Pattern(kSize, kSeed)) {
        KnowMediumPathSetting();
        folder.WritePattern("copy1", kSize, kSeed);
        folder.WritePattern("copy2", kSize, kSeed);
    }

    std::wstring Copy1() const { return folder.Wide("copy1"); }
    std::wstring Copy2() const { return folder.Wide("copy2"); }
    uint32 Open(uint32 flags = 0) { return Open(Copy1(), Copy2(), flags); }
    uint32 Open(const std::wstring& first, const std::wstring& second, uint32 flags = 0) {
        return source.OpenFile(first.c_str(), flags, second.c_str(), 0);
    }
    // What a read delivers.
    std::vector<uint8> Read(uint32 bytes) {
        std::vector<uint8> buffer(bytes, kUntouched);
        const int got = source.Read(buffer.data(), bytes);
        EXPECT_GE(got, 0);
        EXPECT_LE(got, static_cast<int>(bytes));
        buffer.resize(static_cast<std::size_t>(got));
        return buffer;
    }
    // The same on a thread of its own.
    std::future<std::vector<uint8>> ReadLater(uint32 bytes) {
        return std::async(std::launch::async, [this, bytes] { return Read(bytes); });
    }
    std::vector<uint8> Bytes(std::size_t position, std::size_t count) const {
        const auto from = content.begin() + static_cast<std::ptrdiff_t>(position);
        return {from, from + static_cast<std::ptrdiff_t>(count)};
    }

    TwoHandleReading& Reading() { return *Two::Reading(source); }
    int LastFile() { return TwoHandleReadingInspector::LastFile(Reading()); }
    CopyReader& Reader(int copy) { return TwoHandleReadingInspector::Reader(Reading(), copy); }
    // Waits without the test's clock; the reader comes back by itself.
    bool BecomesIdle(int copy) { return Reader(copy).WaitForIdle(VXC_INFINITE); }

    // "this->1234abcd" + rest.
    std::wstring Line(const wchar_t* rest, bool with0x = false) const {
        wchar_t address[32];
        std::swprintf(address, 32, with0x ? L"this->0x%x" : L"this->%x",
                      static_cast<uint32>(reinterpret_cast<std::uintptr_t>(&source)));
        return std::wstring(address) + rest;
    }
    std::wstring Line(const std::wstring& rest, bool with0x = false) const {
        return Line(rest.c_str(), with0x);
    }
    // The lines of two-copy reading alone, each of which is one of the trace.
    std::vector<std::wstring> OwnLines(const LogCapture& log) const {
        std::vector<std::wstring> own;
        for (const LogLine& line : log.Lines()) {
            if (line.text.starts_with(Line(L":")) || line.text.starts_with(Line(L":", true))) {
                EXPECT_EQ(line.level, INFOTYPE_TRACE) << line;
                own.push_back(line.text);
            }
        }
        return own;
    }

    static constexpr uint8 kUntouched = 0xEE;

    TempFolder folder{TempFolder::Kind::Memory};
    const std::vector<uint8> content;
    CFileSource source;
};

// Reads that a test holds, on the moved clock.
class TwoCopiesClockFixture : public TwoCopiesFixture {
protected:
    // Lets the caller's wait of so many milliseconds end, once it stands.
    ::testing::AssertionResult PassWait(uint32 milliseconds) {
        if (!clock.WaitForSleepers(1)) {
            return ::testing::AssertionFailure() << "nobody waits";
        }
        const auto deadline = clock.NextDeadline();
        if (!deadline || *deadline - clock.Now() != milliseconds) {
            return ::testing::AssertionFailure() << "waits for " << (deadline ? *deadline - clock.Now() : 0);
        }
        clock.Advance(milliseconds);
        return ::testing::AssertionSuccess();
    }
    FaultPlan::RuleId HoldReads(const Gate& gate, const wchar_t* name) {
        return plan.Add(Hold(Op::VXC_ReadFile, gate).OnFile(name));
    }
    // Keeps the first copy busy until the gate opens. What the read delivers that it loses to the second.
    std::vector<uint8> MakeFirstBusy(Gate& gate, uint32 bytes = 100) {
        HoldReads(gate, L"copy1");
        std::future<std::vector<uint8>> read = ReadLater(bytes);
        const bool isLost = gate.WaitUntilReached() && PassWait(kThreshold);
        EXPECT_TRUE(isLost);
        if (!isLost) {
            gate.Open(); // or the read would never end
        }
        return read.get();
    }

    TestClock clock;
    FaultPlan plan;
};

inline bool IsReady(const std::future<std::vector<uint8>>& read) {
    return read.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

} // namespace test
} // namespace vxcio
