// HttpListReading.h - a list that holds URLs, read through the array of the library.
#pragma once

#include "LogView.h"
#include "Options.h"
#include "Reading.h"
#include "TimedThread.h"

#include "sources/GrowingArrays.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace vxcio::tool {

struct ListWish {
    std::shared_ptr<const CVXCStringArray> names;
    std::size_t urls = 0; // of them
    uint32 flags = 0;
};

// Why a list cannot be opened.
struct ListFailure {
    uint32 status = 0;       // of the element that cannot
    std::string systemError; // the words for the last error
    std::string reason;      // not empty: it is not for an element
};

// One thread. Each call of the library runs on a thread of its own and has a limit, as those of a single URL.
// Nothing is read ahead: the sources of URLs know no such reads, and would be left out.
//
// The array goes on with its next element where one gives less than there should be. Of files that is made
// good by reading again (Stream.h); of URLs the companion module has tried that by itself, and its log tells.
class HttpListReading final : public Reading {
public:
    // Null with a failure.
    static std::unique_ptr<HttpListReading> Open(const ListWish& wish, const Options& options, LogView& log,
                                                 ListFailure& failure);
    ~HttpListReading() override;
    HttpListReading(const HttpListReading&) = delete;
    HttpListReading& operator=(const HttpListReading&) = delete;

    uint64 Size() override { return m_qwSize; }
    void Seek(uint64 position) override;
    int Read(uint8* buffer, uint32 bytes) override;
    // Set by the read that a URL has failed; that one and all later ones give 0.
    std::string Failure() override { return m_strFailure; }
    bool IsPreRead() override { return false; }
    void Restart(uint64 position) override { Seek(position); }

private:
    HttpListReading(std::size_t urls, const Options& options, LogView& log);

    void Begin(const ListWish& wish, ListFailure& failure);
    std::string NoAnswer(std::chrono::milliseconds limit) const;
    std::chrono::milliseconds LimitFor(uint64 bytes) const;

    LogView& m_Log;
    const std::size_t m_nUrls;
    const std::chrono::milliseconds m_Silence;
    std::shared_ptr<CQLSoftDataSourceArray> m_pArray;
    std::shared_ptr<std::vector<uint8>> m_pBlock; // of the thread while it reads
    TimedThread m_Thread;
    uint64 m_qwSize = 0;
    uint64 m_qwPosition = 0;
    bool m_bSeek = false; // ahead of the next read
    std::string m_strFailure;
};

} // namespace vxcio::tool
