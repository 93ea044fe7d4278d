#include "ComparePart.h"

#include "Console.h"
#include "FtpReading.h"
#include "Reader.h"
#include "Terminal.h"

#include <algorithm>

namespace vxcio::tool {

namespace {

constexpr uint64 kEdge = 1u << 20;
constexpr uint64 kWindow = 256u << 10;
constexpr uint64 kWindows = 14;
constexpr uint32 kBlock = 1u << 20;

// Fewer bytes where it ends or fails.
uint32 ReadWhole(Readable& from, uint8* buffer, uint32 bytes) {
    uint32 done = 0;
    while (done < bytes && !InterruptWanted()) {
        const int got = from.Read(buffer + done, bytes - done);
        if (got <= 0) {
            break;
        }
        done += static_cast<uint32>(got);
    }
    return done;
}

std::string WhyShort(Readable& from, const char* which) {
    const std::string failure = from.Failure();
    return std::string(which) +
           " could not be read: " + (failure.empty() ? "it ended early" : Shown(failure));
}

} // namespace

std::vector<Range> WindowsOf(uint64 bytes) {
    if (bytes <= 2 * (2 * kEdge + kWindows * kWindow)) {
        return {{0, bytes}};
    }
    std::vector<Range> ranges = {{0, kEdge}};
    const uint64 between = bytes - 2 * kEdge;
    for (uint64 i = 0; i < kWindows; ++i) {
        // The middles of as many equal pieces.
        const uint64 piece = between / kWindows;
        ranges.push_back({kEdge + i * piece + (piece - kWindow) / 2, kWindow});
    }
    ranges.push_back({bytes - kEdge, kEdge});
    return ranges;
}

Likeness Compare(Readable& source, Readable& part, const std::vector<Range>& ranges, CopyReport& report,
                 uint64& at, std::string& reason) {
    const BlockPointer one = AllocateBlock(kBlock);
    const BlockPointer other = AllocateBlock(kBlock);
    if (!one || !other) {
        reason = "memory lacks";
        return Likeness::Unread;
    }
    uint64 compared = 0;
    for (const Range& range : ranges) {
        source.Seek(range.from);
        part.Seek(range.from);
        for (uint64 done = 0; done < range.bytes;) {
            const auto want = static_cast<uint32>(std::min<uint64>(kBlock, range.bytes - done));
            const uint32 left = ReadWhole(source, one.get(), want);
            const uint32 right = ReadWhole(part, other.get(), want);
            if (InterruptWanted()) {
                return Likeness::Interrupted;
            }
            if (left < want || right < want) {
                reason = left < want ? WhyShort(source, "the source") : WhyShort(part, "the part");
                return Likeness::Unread;
            }
            const auto [first, second] = std::mismatch(one.get(), one.get() + want, other.get());
            if (first != one.get() + want) {
                at = range.from + done + static_cast<uint64>(first - one.get());
                return Likeness::Differs;
            }
            done += want;
            report.Reach(compared += want);
        }
    }
    return Likeness::Same;
}

bool IsProvenEmpty(const FtpName& name, const Options& options, LogView& log) {
    std::string reason;
    Options plain = options;
    plain.preRead.reset();
    const std::unique_ptr<FtpReading> reading = FtpReading::Open(name, plain, log, reason);
    uint8 byte = 0;
    return reading && reading->Size() == 0 && reading->Read(&byte, 1) <= 0 && reading->Failure().empty();
}

} // namespace vxcio::tool
