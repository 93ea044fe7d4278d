#include "ftp/XdcamText.h"

#include "ftp/ReplyText.h"

namespace vxcio {

namespace {

constexpr std::size_t kSpaceMost = 30; // with the terminating zero

struct CodecEnd {
    std::wstring_view end;
    XdcamCodec codec;
};
// The first match counts.
constexpr CodecEnd kCodecs[] = {
    {L"IMX50", {3, 16}},
    {L"IMX40", {3, 16}},
    {L"IMX30", {3, 16}},
    {L"  DV25", {6, 16}},
    {L"  MPEG2HD50CBR_1920_1080_422P@HL", {2, 24}},
    {L"  Undefined CODEC type.", {2, 24}},
};
constexpr XdcamCodec kOtherCodec = {2, 16};

struct RateEnd {
    std::wstring_view end;
    XdcamRate rate;
};
constexpr RateEnd kRates[] = {
    {L"50i", {25, 1}},
    {L"59.94i", {30000, 1001}},
    {L"24p", {24, 1}},
};
constexpr XdcamRate kOtherRate = {25, 1};

} // namespace

XdcamCodec CodecIn(std::wstring_view line) noexcept {
    for (const CodecEnd& known : kCodecs) {
        if (line.ends_with(known.end)) {
            return known.codec;
        }
    }
    return kOtherCodec;
}

XdcamRate RateIn(std::wstring_view line) noexcept {
    for (const RateEnd& known : kRates) {
        if (line.ends_with(known.end)) {
            return known.rate;
        }
    }
    return kOtherRate;
}

bool SpaceIn(std::string_view report, uint64* space) noexcept {
    constexpr std::string_view kWord = "others";
    const std::size_t word = report.find(kWord);
    if (word == std::string_view::npos) {
        return false;
    }
    const std::size_t first = report.find_first_not_of(' ', word + kWord.size());
    const std::size_t end = first == std::string_view::npos ? first : report.find(' ', first);
    if (end == std::string_view::npos || end - first >= kSpaceMost) {
        return false;
    }
    *space = static_cast<uint64>(LongNumberIn(report.substr(first, end - first)));
    return true;
}

} // namespace vxcio
