#include "sources/TwoHandleReading.h"

#include "frame/Log.h"
#include "frame/TransferDefaults.h"

#include <algorithm>
#include <new>

namespace vxcio {

namespace {

constexpr uint32 kFirstWait = 1000;  // milliseconds, while no speed is known
constexpr uint32 kOtherWait = 10000; // milliseconds, for the copy that takes over

bool MakeLargeEnough(AlignedBuffer& block, std::size_t bytes) noexcept {
    if (block.Size() >= bytes) {
        return true;
    }
    block.Reset(); // first, so that both are never there at once
    block = AlignedBuffer(bytes, kTransferAlignment);
    return static_cast<bool>(block);
}

uint64 CounterNow() noexcept {
    _VXC_LARGE_INTEGER counter = {};
    VXC_QueryPerformanceCounter(&counter);
    return static_cast<uint64>(counter.QuadPart);
}

} // namespace

TwoHandleReading::TwoHandleReading(const TwoCopies& copies, SReadRate& rate) noexcept
    : m_copies(copies), m_ReadRate(rate) {}

std::unique_ptr<TwoHandleReading> TwoHandleReading::Start(const TwoCopies& copies, SReadRate& rate) noexcept {
    std::unique_ptr<TwoHandleReading> reading(new (std::nothrow) TwoHandleReading(copies, rate));
    if (!reading || !reading->MakeEventsAndThreads()) {
        return nullptr;
    }
    return reading;
}

bool TwoHandleReading::MakeEventsAndThreads() noexcept {
    if (!m_reader[0].MakeDoneEvent() || !m_reader[1].MakeDoneEvent()) {
        return false;
    }
    m_hReaderQuit = VXC_CreateEventW(nullptr, 1, 0, nullptr);
    if (m_hReaderQuit == nullptr || !m_reader[0].MakeRequestEvent() || !m_reader[1].MakeRequestEvent()) {
        return false;
    }
    for (int i = 0; i < 2; ++i) {
        const CopyReaderSetup setup = {i,
                                       m_copies.files[i],
                                       m_copies.names[i].c_str(),
                                       m_copies.flagsAndAttributes,
                                       m_hReaderQuit,
                                       m_copies.owner};
        if (!m_reader[i].StartThread(setup)) {
            return false;
        }
    }
    return true;
}

TwoHandleReading::~TwoHandleReading() {
    if (m_hReaderQuit == nullptr) {
        return;
    }
    SignalSurely(m_hReaderQuit);
    for (CopyReader& reader : m_reader) {
        reader.Stop();
    }
    VXC_CloseHandle(m_hReaderQuit);
}

bool TwoHandleReading::WaitForIdle(int copy, uint32 milliseconds) const noexcept {
    return m_reader[copy].WaitForIdle(milliseconds);
}

template <class... Arguments>
void TwoHandleReading::Message(const wchar_t* format, Arguments... arguments) const noexcept {
    LogMessage(format, Low32(m_copies.owner), arguments...);
}

// How long the chosen copy may take: twice what the speed of File1 lets expect, but never less than the
// threshold, so that a slow disk is not taken for a dead one. `alone`: no other copy could take over.
uint32 TwoHandleReading::WaitFor(uint32 bytes, bool alone) const noexcept {
    if (alone) {
        return VXC_INFINITE;
    }
    uint32 wait = kFirstWait;
    if (const uint64 rate = m_ReadRate.Rate(); rate != 0) {
        // The product wraps above 4 GiB on purpose, as does the doubling: the limits that users measured on
        // large reads are those of this arithmetic.
        const uint32 product = bytes * 1000;
        wait = static_cast<uint32>(product / rate) * 2;
    }
    return std::max(wait, m_copies.threshold);
}

bool TwoHandleReading::Read(uint64 position, uint32 want, uint32 bytes, AlignedBuffer& block,
                            uint32* count) noexcept {
    *count = 0;
    const bool idle[2] = {WaitForIdle(0, 0), WaitForIdle(1, 0)};
    if (!idle[0] && !idle[1]) {
        return false;
    }
    int c = idle[0] ? 0 : 1;
    const bool alone = idle[0] != idle[1];
    if (c != m_nLastFile) {
        Message(L"this->%x:ReadFileWithTwoHandle--Change to File%d Read\n", c + 1);
    }
    if (!MakeLargeEnough(block, want)) {
        return false;
    }
    const uint32 wait = WaitFor(bytes, alone);
    const uint64 started = CounterNow();
    if (!m_reader[c].Begin(position, want, block)) {
        return false;
    }
    if (!m_reader[c].Wait(wait, block, count) && !alone) {
        Message(L"this->%x:ReadFileWithTwoHandle()--Read File%d(%s) time out(wait %dms)\n", c + 1,
                m_copies.names[c].c_str(), wait);
        c = 1 - c;
        const wchar_t* const name = m_copies.names[c].c_str();
        Message(L"this->%x:ReadFileWithTwoHandle()--Begin Change to File%d(%s) Read\n", c + 1, name);
        const bool asked = MakeLargeEnough(block, want) && m_reader[c].Begin(position, want, block);
        if (asked && !m_reader[c].Wait(kOtherWait, block, count)) {
            Message(L"this->%x:ReadFileWithTwoHandle()--Change to File%d(%s) Time out!!!\n", c + 1, name);
        }
        Message(L"this->%x:ReadFileWithTwoHandle()--End Change to File%d(%s) Read\n", c + 1, name);
        if (!asked) {
            return false;
        }
    }
    if (c == 0) {
        m_ReadRate.Add(*count, CounterNow() - started);
    }
    m_nLastFile = c;
    return true;
}

} // namespace vxcio
