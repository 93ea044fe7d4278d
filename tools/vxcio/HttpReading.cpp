#include "HttpReading.h"

#include "Console.h"
#include "Sizes.h"
#include "Terminal.h"
#include "Text.h"

#include "frame/Status.h"
#include "frame/SystemLayer.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace vxcio::tool {

namespace {

constexpr uint32 kFromStart = 1;
constexpr uint32 kUsualSilence = 60000; // milliseconds, as the module waits
constexpr uint32 kLeastSilence = 1000;
constexpr uint32 kNoLimit = 0xFFFFFFFF;
constexpr std::chrono::milliseconds kForEver = std::chrono::hours(24 * 365);
// The module gives a line of 10 bytes in a millisecond its time, and makes pauses between attempts.
constexpr uint64 kSlowestRate = 10;
constexpr std::chrono::milliseconds kOfItsOwn{5000};
constexpr std::chrono::milliseconds kFarewell{500};

// What was left behind is not torn down by whoever leaves: that would wait for the network.
void Keep(std::shared_ptr<CSoftDataSource> source) {
    static std::mutex mutex;
    static auto* const kept = new std::vector<std::shared_ptr<CSoftDataSource>>; // for good
    const std::lock_guard lock(mutex);
    kept->push_back(std::move(source));
}

// How long the server may be silent in this run.
std::chrono::milliseconds SilenceOf(const Options& options) {
    uint32 value = options.ftpTimeOut.value_or(0);
    if (value == 0 && (VXC_GetGlobalIntW(L"Software\\Norvex", L"SoftCodec", L"HttpTimeOut", &value, 1) == 0 ||
                       value < kLeastSilence)) {
        value = kUsualSilence;
    }
    return value == kNoLimit ? kForEver : std::chrono::milliseconds(value);
}

struct Opened {
    uint32 status = 0;
    uint64 size = 0;
};

} // namespace

HttpReading::HttpReading(const HttpName& name, const Options& options, LogView& log)
    : m_Name(name), m_Log(log), m_Silence(SilenceOf(options)),
      m_pBlock(std::make_shared<std::vector<uint8>>()) {}

std::unique_ptr<HttpReading> HttpReading::Open(const HttpName& name, const Options& options, LogView& log,
                                               std::string& reason) {
    std::unique_ptr<HttpReading> reading(new HttpReading(name, options, log));
    reason = reading->Begin();
    return reason.empty() ? std::move(reading) : nullptr;
}

std::string HttpReading::Begin() {
    // The library's own lines hold the whole name.
    for (const std::string* const secret : {&m_Name.password, &m_Name.decoded}) {
        if (!secret->empty()) {
            m_Log.Hide(*secret);
        }
    }
    m_pSource.reset(CSoftDataSource::Construct(IOWORKMODE_FILE));
    if (!m_pSource) {
        return "memory lacks";
    }
    const auto opened = std::make_shared<Opened>();
    const std::chrono::milliseconds limit = LimitFor(0);
    if (!m_Thread.Do(limit, [source = m_pSource, url = Widen(m_Name.url), opened] {
            opened->status = source->OpenFile(url.c_str(), 0, nullptr, 0);
            opened->size = source->GetFileSize();
        })) {
        return NoAnswer(limit);
    }
    // Without its module the source opens, and reads nothing.
    if (m_Log.IsRemoteMissing()) {
        return "the companion module that reads URLs is missing: " + Shown(m_Log.RemoteFailure());
    }
    if (opened->status != VXC_STATUS_OK) {
        std::array<char, 32> number{};
        std::snprintf(number.data(), number.size(), " (status 0x%08X)", opened->status);
        return Words("the companion module that reads URLs is none, or memory lacks") + number.data();
    }
    m_qwSize = opened->size;
    return {};
}

HttpReading::~HttpReading() {
    try {
        if (!m_pSource || m_Thread.IsLost() ||
            !m_Thread.Do(kFarewell, [source = m_pSource] { source->CloseFile(); })) {
            Keep(std::move(m_pSource));
        }
    } catch (...) {
        // There is nobody left to tell.
    }
}

std::chrono::milliseconds HttpReading::LimitFor(uint64 bytes) const {
    // A server without ranges has to be read from the start again.
    const uint64 most = bytes + m_qwPosition;
    return m_Silence + kOfItsOwn + std::chrono::milliseconds(most / kSlowestRate);
}

std::string HttpReading::NoAnswer(std::chrono::milliseconds limit) const {
    return InterruptWanted() ? "it was interrupted"
                             : "the server does not answer within " + std::to_string(limit.count()) + " ms";
}

std::string HttpReading::Words(const std::string& otherwise) const {
    const std::string line = m_Log.RemoteFailure();
    const std::size_t place = line.find(m_Name.place + ": ");
    const std::string words =
        place == std::string::npos ? line : line.substr(place + m_Name.place.size() + 2);
    return words.empty() ? otherwise : Shown(words);
}

int HttpReading::Read(uint8* buffer, uint32 bytes) {
    if (!m_strFailure.empty() || m_qwPosition >= m_qwSize || bytes == 0) {
        return 0;
    }
    const auto wanted = static_cast<uint32>(std::min<uint64>(bytes, m_qwSize - m_qwPosition));
    const auto got = std::make_shared<int>(0);
    const std::chrono::milliseconds limit = LimitFor(wanted);
    const bool isDone =
        m_Thread.Do(limit, [source = m_pSource, block = m_pBlock, position = m_qwPosition, wanted, got] {
            if (block->size() < wanted) {
                block->resize(wanted);
            }
            source->Seek(static_cast<int64>(position), kFromStart);
            *got = source->Read(block->data(), wanted);
        });
    if (!isDone) {
        m_strFailure = NoAnswer(limit);
        return 0;
    }
    const auto count = static_cast<uint32>(std::clamp<int64>(*got, 0, wanted));
    std::memcpy(buffer, m_pBlock->data(), count);
    m_qwPosition += count;
    // The module has tried again by itself.
    if (count < wanted) {
        m_strFailure = Words("the server gives nothing beyond byte " + WithCommas(m_qwPosition) + " of " +
                             WithCommas(m_qwSize));
    }
    return static_cast<int>(count);
}

void HttpReading::Restart(uint64 position) {
    m_strFailure.clear();
    m_qwPosition = position;
}

} // namespace vxcio::tool
