#include "HttpReading.h"

#include "HttpWords.h"
#include "Sizes.h"
#include "Terminal.h"
#include "Text.h"

#include "frame/Status.h"

#include <algorithm>
#include <cstring>

namespace vxcio::tool {

namespace {

constexpr uint32 kFromStart = 1;
constexpr std::chrono::milliseconds kFarewell{500};

struct Opened {
    uint32 status = 0;
    uint64 size = 0;
};

} // namespace

HttpReading::HttpReading(const HttpName& name, const Options& options, LogView& log)
    : m_Name(name), m_Log(log), m_Silence(HttpSilence(options)),
      m_pBlock(std::make_shared<std::vector<uint8>>()) {}

std::unique_ptr<HttpReading> HttpReading::Open(const HttpName& name, const Options& options, LogView& log,
                                               std::string& reason) {
    std::unique_ptr<HttpReading> reading(new HttpReading(name, options, log));
    reason = reading->Begin();
    return reason.empty() ? std::move(reading) : nullptr;
}

std::string HttpReading::Begin() {
    HidePassword(m_Name, m_Log);
    m_pSource.reset(CSoftDataSource::Construct(IOWORKMODE_FILE));
    if (!m_pSource) {
        return "memory lacks";
    }
    const auto opened = std::make_shared<Opened>();
    const std::chrono::milliseconds limit = LimitFor(0);
    if (!m_Thread.Do(
            limit,
            [source = m_pSource, url = Widen(m_Name.url), opened] {
                opened->status = source->OpenFile(url.c_str(), 0, nullptr, 0);
                opened->size = source->GetFileSize();
            },
            TimedThread::Stop::OnAnyWish)) {
        return NoAnswer(limit);
    }
    // Without its module the source opens, and reads nothing.
    if (m_Log.IsRemoteMissing()) {
        return NoModuleWords(m_Log);
    }
    if (opened->status != VXC_STATUS_OK) {
        return OpenWords(m_Name, m_Log, opened->status);
    }
    m_qwSize = opened->size;
    return {};
}

HttpReading::~HttpReading() {
    try {
        if (!m_pSource || m_Thread.IsLost() ||
            !m_Thread.Do(kFarewell, [source = m_pSource] { source->CloseFile(); })) {
            KeepForGood(std::move(m_pSource));
        }
    } catch (...) {
        // There is nobody left to tell.
    }
}

std::chrono::milliseconds HttpReading::LimitFor(uint64 bytes) const {
    // A server without ranges has to be read from the start again.
    return HttpLimit(m_Silence, bytes + m_qwPosition);
}

std::string HttpReading::NoAnswer(std::chrono::milliseconds limit) const {
    return InterruptWanted() ? "it was interrupted"
                             : "the server does not answer within " + std::to_string(limit.count()) + " ms";
}

int HttpReading::Read(uint8* buffer, uint32 bytes) {
    if (!m_strFailure.empty() || m_qwPosition >= m_qwSize || bytes == 0) {
        return 0;
    }
    const auto wanted = static_cast<uint32>(std::min<uint64>(bytes, m_qwSize - m_qwPosition));
    const auto got = std::make_shared<int>(0);
    const std::chrono::milliseconds limit = LimitFor(wanted);
    const bool isDone = m_Thread.Do(
        limit,
        [source = m_pSource, block = m_pBlock, position = m_qwPosition, wanted, got] {
            if (block->size() < wanted) {
                block->resize(wanted);
            }
            source->Seek(static_cast<int64>(position), kFromStart);
            *got = source->Read(block->data(), wanted);
        },
        TimedThread::Stop::OnAnyWish);
    if (!isDone) {
        m_strFailure = NoAnswer(limit);
        return 0;
    }
    const auto count = static_cast<uint32>(std::clamp<int64>(*got, 0, wanted));
    std::memcpy(buffer, m_pBlock->data(), count);
    m_qwPosition += count;
    // The module has tried again by itself.
    if (count < wanted) {
        m_strFailure = ModuleWords(m_Name, m_Log);
        if (m_strFailure.empty()) {
            m_strFailure = "the server gives nothing beyond byte " + WithCommas(m_qwPosition) + " of " +
                           WithCommas(m_qwSize);
        }
    }
    return static_cast<int>(count);
}

void HttpReading::Restart(uint64 position) {
    m_strFailure.clear();
    m_qwPosition = position;
}

} // namespace vxcio::tool
