#include "HttpListReading.h"

#include "Console.h"
#include "HttpWords.h"
#include "Probe.h"
#include "Terminal.h"

#include "frame/Status.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vxcio::tool {

namespace {

constexpr uint32 kFromStart = 1;
constexpr std::chrono::milliseconds kFarewell{500};

struct Opened {
    uint32 status = 0;
    std::string systemError;
    uint64 size = 0;
};

} // namespace

HttpListReading::HttpListReading(std::size_t urls, const Options& options, LogView& log)
    : m_Log(log), m_nUrls(urls), m_Silence(HttpSilence(options)),
      m_pBlock(std::make_shared<std::vector<uint8>>()) {}

std::unique_ptr<HttpListReading> HttpListReading::Open(const ListWish& wish, const Options& options,
                                                       LogView& log, ListFailure& failure) {
    std::unique_ptr<HttpListReading> reading(new HttpListReading(wish.urls, options, log));
    reading->Begin(wish, failure);
    return failure.status == VXC_STATUS_OK && failure.reason.empty() ? std::move(reading) : nullptr;
}

void HttpListReading::Begin(const ListWish& wish, ListFailure& failure) {
    failure = {};
    m_pArray = ArrayPointer(ConstructDataSourceArray());
    if (!m_pArray) {
        failure.reason = "memory lacks";
        return;
    }
    const auto opened = std::make_shared<Opened>();
    const std::chrono::milliseconds limit = LimitFor(0);
    if (!m_Thread.Do(
            limit,
            [array = m_pArray, names = wish.names, flags = wish.flags, opened] {
                opened->status = array->OpenFiles(*names, flags);
                opened->systemError = LastErrorWords();
                opened->size = static_cast<uint64>(array->GetFileSize());
            },
            TimedThread::Stop::OnAnyWish)) {
        failure.reason = NoAnswer(limit);
        return;
    }
    // Without its module a URL opens, and has no bytes.
    if (m_Log.IsRemoteMissing()) {
        failure.reason = NoModuleWords(m_Log);
        return;
    }
    failure.status = opened->status;
    failure.systemError = opened->systemError;
    m_qwSize = opened->size;
}

HttpListReading::~HttpListReading() {
    try {
        if (m_pArray &&
            (m_Thread.IsLost() || !m_Thread.Do(kFarewell, [array = m_pArray] { array->CloseFiles(); }))) {
            KeepForGood(std::move(m_pArray));
        }
    } catch (...) {
        // There is nobody left to tell.
    }
}

// Each of the servers may be slow.
std::chrono::milliseconds HttpListReading::LimitFor(uint64 bytes) const {
    return HttpLimit(m_Silence * m_nUrls, bytes + m_qwPosition);
}

std::string HttpListReading::NoAnswer(std::chrono::milliseconds limit) const {
    return InterruptWanted() ? "it was interrupted"
                             : "there is no answer within " + std::to_string(limit.count()) + " ms";
}

void HttpListReading::Seek(uint64 position) {
    m_qwPosition = position;
    m_bSeek = true;
}

int HttpListReading::Read(uint8* buffer, uint32 bytes) {
    if (!m_strFailure.empty() || bytes == 0) {
        return 0;
    }
    const auto got = std::make_shared<int>(0);
    const std::chrono::milliseconds limit = LimitFor(bytes);
    const bool isDone = m_Thread.Do(
        limit,
        [array = m_pArray, block = m_pBlock, position = m_qwPosition, isSeek = std::exchange(m_bSeek, false),
         bytes, got] {
            if (block->size() < bytes) {
                block->resize(bytes);
            }
            if (isSeek) {
                array->Seek(position, kFromStart);
            }
            *got = static_cast<int>(array->Read(block->data(), bytes));
        },
        TimedThread::Stop::OnAnyWish);
    if (!isDone) {
        m_strFailure = NoAnswer(limit);
        return 0;
    }
    // What the next element gave in place of the bytes that are missing is not to be taken for them.
    m_strFailure = Shown(m_Log.RemoteFailure());
    if (!m_strFailure.empty()) {
        return 0;
    }
    const auto count = static_cast<uint32>(std::clamp<int64>(*got, 0, bytes));
    std::memcpy(buffer, m_pBlock->data(), count);
    m_qwPosition += count;
    return static_cast<int>(count);
}

} // namespace vxcio::tool
