#include "FtpListing.h"

#include "FtpReading.h"
#include "FtpSession.h"
#include "FtpTalk.h"
#include "Terminal.h"
#include "Text.h"

#include "frame/FindData.h"

#include <algorithm>
#include <atomic>
#include <iterator>

namespace vxcio::tool {

namespace {

constexpr int kAtOnce = 1000; // entries that are asked for with one limit

struct Batch {
    std::vector<FtpEntry> entries;
    uint64 strangeLines = 0;
    bool ended = false;
    bool isCut = false;
};

struct Opening {
    bool isOpen = false;
    std::string entering; // the reply to the wish to enter the folder; empty where none came
    std::string words;    // why it is not open

    bool IsNoFolder() const { return entering.starts_with('5'); }
};

FtpEntry EntryOf(const WIN32_FIND_DATAW& record) {
    FtpEntry entry;
    entry.name = Narrow(record.cFileName);
    entry.isFolder = (record.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    entry.sizeLow = record.nFileSizeLow;
    entry.time = (uint64{record.ftLastWriteTime.dwHighDateTime} << 32) | record.ftLastWriteTime.dwLowDateTime;
    return entry;
}

// A line that cannot be read gives 0 as the end does. At the end each call asks for more and hears of it, so
// that two calls in a row which hear it are the end.
Batch TakeBatch(CSoftDataIO& io, const std::atomic<unsigned>& listingEnds) {
    Batch batch;
    FtpTalk talk;
    const FtpTalk::Hearing hearing(talk);
    bool heardBefore = false;
    for (int i = 0; i < kAtOnce; ++i) {
        WIN32_FIND_DATAW record;
        const unsigned ends = listingEnds;
        const bool isEntry = io.FindNextFile1(&record) != 0;
        const bool heard = listingEnds != ends;
        if (!isEntry && heard && heardBefore) {
            batch.ended = true;
            break;
        }
        // The call that asked for the last bytes heard of the end, too, and then met a line.
        batch.strangeLines += (heardBefore ? 1 : 0) + (!isEntry && !heard ? 1 : 0);
        heardBefore = !isEntry && heard;
        if (isEntry) {
            FtpEntry entry = EntryOf(record);
            if (!entry.name.empty() && entry.name != "." && entry.name != "..") {
                batch.entries.push_back(std::move(entry));
            }
        }
    }
    batch.isCut = talk.IsCut();
    return batch;
}

std::string FolderOrDot(const std::string& path) {
    const std::size_t last = path.find_last_not_of('/');
    return path.empty() ? "." : last == std::string::npos ? "/" : path.substr(0, last + 1);
}

std::optional<Opening> BeginListing(FtpSession& session, const std::string& path) {
    return session.Ask<Opening>([path = Widen(FolderOrDot(path))](CSoftDataIO& io) {
        FtpTalk talk;
        const FtpTalk::Hearing hearing(talk);
        Opening opening;
        opening.isOpen = io.SetFindPath(path.c_str()) != 0;
        opening.entering = talk.ReplyTo("CWD");
        opening.words = talk.Words();
        return opening;
    });
}

} // namespace

const FtpEntry* FtpFolder::Find(const std::string& name) const {
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [&name](const FtpEntry& entry) { return entry.name == name; });
    return found == entries.end() ? nullptr : &*found;
}

std::optional<FtpFolder> ListFtp(const FtpName& folder, const Options& options, LogView& log,
                                 std::string& reason, bool* isNoFolder) {
    const std::unique_ptr<FtpSession> session =
        FtpSession::Open<CSoftDataSource>(folder, options, log, reason);
    if (!session) {
        return std::nullopt;
    }
    const std::optional<Opening> opening = BeginListing(*session, folder.path);
    if (!opening || !opening->isOpen) {
        reason = opening ? opening->words : session->NoAnswer();
        if (isNoFolder != nullptr) {
            *isNoFolder = opening && opening->IsNoFolder();
        }
        return std::nullopt;
    }
    FtpFolder found;
    for (bool ended = false; !ended;) {
        if (InterruptWanted()) {
            session->GiveUp();
            reason = "it was interrupted";
            return std::nullopt;
        }
        std::optional<Batch> batch =
            session->Ask<Batch>([ends = log.ListingEnds()](CSoftDataIO& io) { return TakeBatch(io, *ends); });
        if (!batch) {
            reason = session->NoAnswer();
            return std::nullopt;
        }
        if (batch->isCut) {
            reason = "the listing broke off";
            return std::nullopt;
        }
        found.entries.insert(found.entries.end(), std::make_move_iterator(batch->entries.begin()),
                             std::make_move_iterator(batch->entries.end()));
        found.strangeLines += batch->strangeLines;
        ended = batch->ended;
    }
    session->Ask<int>([](CSoftDataIO& io) { return io.FindFileClose(); });
    return found;
}

std::optional<FtpEntry> ListedEntry(const FtpName& name, const Options& options, LogView& log,
                                    std::string& reason) {
    const std::optional<FtpFolder> folder = ListFtp(name.At(name.FolderPath()), options, log, reason);
    const FtpEntry* const entry = folder ? folder->Find(name.OwnName()) : nullptr;
    return entry != nullptr ? std::optional<FtpEntry>(*entry) : std::nullopt;
}

FtpFacts LookAtFtp(const FtpName& name, const Options& options, LogView& log) {
    FtpFacts facts;
    const std::size_t last = name.path.find_last_not_of('/');
    const FtpName plain = name.At(last == std::string::npos ? "" : name.path.substr(0, last + 1));
    std::string reason;
    if (!plain.path.empty()) {
        const std::optional<FtpFolder> folder = ListFtp(plain.At(plain.FolderPath()), options, log, reason);
        if (const FtpEntry* const entry = folder ? folder->Find(plain.OwnName()) : nullptr) {
            facts.kind = entry->isFolder ? FtpKind::Folder : FtpKind::File;
            facts.entry = *entry;
            return facts;
        }
        if (!folder && log.LastReply().empty()) {
            facts.reason = reason;
            return facts;
        }
    }
    // It may be a link, or lie in a folder that shows nothing.
    const std::unique_ptr<FtpSession> session =
        FtpSession::Open<CSoftDataSource>(name, options, log, facts.reason);
    if (!session) {
        return facts;
    }
    const std::string path = name.path.starts_with('/') && plain.path.empty() ? "/" : plain.path;
    const std::optional<Opening> opening = BeginListing(*session, path);
    if (opening && opening->entering.starts_with('2')) {
        facts.kind = FtpKind::Folder;
        return facts;
    }
    if (!opening || opening->entering.empty()) {
        facts.reason = opening ? opening->words : session->NoAnswer();
        return facts;
    }
    facts.reason = opening->words;
    bool isMissing = true;
    if (!plain.path.empty() && !name.path.ends_with('/')) {
        if (FtpSizeOf(plain, options, log, reason, &isMissing)) {
            facts.kind = FtpKind::File;
        } else if (!isMissing) {
            facts.reason = reason;
        }
    }
    if (facts.kind == FtpKind::Unknown && isMissing && opening->IsNoFolder()) {
        facts.kind = FtpKind::Missing;
    }
    return facts;
}

} // namespace vxcio::tool
