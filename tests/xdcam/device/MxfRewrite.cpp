#include "xdcam/device/MxfRewrite.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <set>
#include <stdexcept>
#include <string>

namespace xdcam {

namespace {

using Bytes = std::vector<std::uint8_t>;
using Key = std::array<std::uint8_t, 16>;

constexpr Key kFiller = {0x06, 0x0E, 0x2B, 0x34, 0x01, 0x01, 0x01, 0x02,
                         0x03, 0x01, 0x02, 0x10, 0x01, 0x00, 0x00, 0x00};
constexpr Key kPartition = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x01, 0x0D, 0x01, 0x02, 0x01, 0x01};
constexpr Key kIndexPack = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x01,
                            0x0D, 0x01, 0x02, 0x01, 0x01, 0x11, 0x01, 0x00};
constexpr Key kSet = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x53, 0x01, 0x01, 0x0D, 0x01, 0x01, 0x01, 0x01};
constexpr std::size_t kKey = 16;
constexpr std::size_t kLongHead = kKey + 4; // key and a length of four bytes
constexpr std::size_t kLargestGrid = 1 << 20;
constexpr std::size_t kVersionByte = 7; // of a key; differs between writers

// Places in a partition pack whose length has four bytes.
constexpr std::size_t kKagAt = 24;
constexpr std::size_t kThisAt = 28;
constexpr std::size_t kPreviousAt = 36;
constexpr std::size_t kFooterAt = 44;
constexpr std::size_t kHeaderCountAt = 52;
constexpr std::size_t kPackFields = 100;

// The last bytes but two of the keys of sets.
constexpr std::uint8_t kTimelineTrack = 0x3B;
constexpr std::uint8_t kFilePackage = 0x37;
constexpr std::uint8_t kSequence = 0x0F;
constexpr std::uint8_t kSourceClip = 0x11;
constexpr std::uint8_t kTimecode = 0x14;

constexpr std::uint32_t kInstance = 0x3C0A;
constexpr std::uint32_t kTracks = 0x4403;
constexpr std::uint32_t kOrigin = 0x4B02;
constexpr std::uint32_t kDuration = 0x0202;

[[noreturn]] void Refuse(const char* what) {
    throw std::runtime_error(std::string("MXF file: ") + what);
}

std::uint64_t Number(const Bytes& data, std::size_t at, std::size_t bytes) {
    if (at > data.size() || bytes > data.size() - at) {
        Refuse("it ends too early");
    }
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
        number = number << 8 | data[at + i];
    }
    return number;
}

void Put(Bytes& data, std::size_t at, std::uint64_t number, std::size_t bytes) {
    Number(data, at, bytes); // it is all there
    for (std::size_t i = bytes; i-- > 0; number >>= 8) {
        data[at + i] = static_cast<std::uint8_t>(number);
    }
}

// One key, length and value.
struct Item {
    std::size_t at;
    std::size_t value;
    std::size_t length;

    std::size_t End() const { return value + length; }
};

Item ItemAt(const Bytes& data, std::size_t at) {
    const auto first = static_cast<std::uint8_t>(Number(data, at + kKey, 1));
    std::size_t lengthBytes = 0;
    std::uint64_t length = first;
    if ((first & 0x80) != 0) {
        lengthBytes = first & 0x7F;
        if (lengthBytes == 0 || lengthBytes > 8) {
            Refuse("a length has an unknown form");
        }
        length = Number(data, at + kKey + 1, lengthBytes);
    }
    const std::size_t value = at + kKey + 1 + lengthBytes;
    if (length > data.size() - value) {
        Refuse("an item reaches behind its end");
    }
    return {at, value, static_cast<std::size_t>(length)};
}

bool HasKey(const Bytes& data, std::size_t at, const Key& key, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i) {
        if (i != kVersionByte && Number(data, at + i, 1) != key[i]) {
            return false;
        }
    }
    return true;
}

bool IsSet(const Bytes& data, const Item& item, std::uint8_t kind) {
    return HasKey(data, item.at, kSet, 13) && data[item.at + 14] == kind;
}

// Where the value of a tag of a set begins; 0 where it has none.
std::size_t ValueOf(const Bytes& data, const Item& set, std::uint32_t tag) {
    for (std::size_t at = set.value; at + 4 <= set.End(); at += 4 + Number(data, at + 2, 2)) {
        if (Number(data, at, 2) == tag) {
            return at + 4;
        }
    }
    return 0;
}

Bytes UidAt(const Bytes& data, std::size_t at) {
    Number(data, at, 8);
    Number(data, at + 8, 8);
    const auto first = data.begin() + static_cast<std::ptrdiff_t>(at);
    return {first, first + 16};
}

// The tracks of all file packages.
std::set<Bytes> FileTracks(const Bytes& data, const std::vector<Item>& items) {
    std::set<Bytes> tracks;
    for (const Item& item : items) {
        const std::size_t list = IsSet(data, item, kFilePackage) ? ValueOf(data, item, kTracks) : 0;
        if (list == 0) {
            continue;
        }
        const std::uint64_t count = Number(data, list, 4);
        for (std::uint64_t i = 0; i < count; ++i) {
            tracks.insert(UidAt(data, list + 8 + static_cast<std::size_t>(i) * 16));
        }
    }
    return tracks;
}

void SetTimes(Bytes& data, const std::vector<Item>& items, const StretchTimes& times) {
    const std::set<Bytes> tracks = FileTracks(data, items);
    std::size_t changed = 0;
    for (const Item& item : items) {
        if (IsSet(data, item, kTimelineTrack)) {
            const std::size_t instance = ValueOf(data, item, kInstance);
            const std::size_t origin = ValueOf(data, item, kOrigin);
            if (instance != 0 && origin != 0 && tracks.contains(UidAt(data, instance))) {
                Put(data, origin, times.origin, 8);
                ++changed;
            }
        }
        if (IsSet(data, item, kSequence) || IsSet(data, item, kSourceClip) || IsSet(data, item, kTimecode)) {
            if (const std::size_t duration = ValueOf(data, item, kDuration); duration != 0) {
                Put(data, duration, times.duration, 8);
            }
        }
    }
    if (changed == 0) {
        Refuse("no track of a file package has an Origin");
    }
}

// Fills up to the next place of the grid, as far as an item can be that short.
void AddFiller(Bytes& out, std::size_t grid) {
    std::size_t space = (grid - out.size() % grid) % grid;
    if (space == 0) {
        return;
    }
    while (space < kLongHead) {
        space += grid;
    }
    const std::size_t at = out.size();
    out.insert(out.end(), kFiller.begin(), kFiller.end());
    out.resize(at + space, 0);
    Put(out, at + kKey, 0x83000000u | (space - kLongHead), 4);
}

void AddItem(Bytes& out, const Bytes& data, const Item& item) {
    if (item.length > 0xFFFFFF) {
        Refuse("an item of the header metadata is too long");
    }
    const std::size_t at = out.size();
    out.resize(at + kLongHead);
    std::copy_n(data.begin() + static_cast<std::ptrdiff_t>(item.at), kKey,
                out.begin() + static_cast<std::ptrdiff_t>(at));
    Put(out, at + kKey, 0x83000000u | item.length, 4);
    const auto value = data.begin() + static_cast<std::ptrdiff_t>(item.value);
    out.insert(out.end(), value, value + static_cast<std::ptrdiff_t>(item.length));
}

// Moves a place in the file that lies behind the header metadata.
void Move(Bytes& file, std::size_t at, std::uint64_t from, std::uint64_t distance) {
    if (const std::uint64_t place = Number(file, at, 8); place >= from) {
        Put(file, at, place + distance, 8);
    }
}

// The index pack at the end names all partitions; they and it tell their places.
void MovePlaces(Bytes& file, std::uint64_t from, std::uint64_t distance) {
    const std::uint64_t packBytes = Number(file, file.size() - 4, 4);
    if (packBytes > file.size()) {
        Refuse("it has no index pack");
    }
    const std::size_t at = file.size() - static_cast<std::size_t>(packBytes);
    const Item pack = ItemAt(file, at);
    if (!HasKey(file, at, kIndexPack, kIndexPack.size()) || pack.End() != file.size()) {
        Refuse("it has no index pack");
    }
    for (std::size_t entry = pack.value; entry + 12 <= pack.End() - 4; entry += 12) {
        Move(file, entry + 4, from, distance);
        const auto partition = static_cast<std::size_t>(Number(file, entry + 4, 8));
        if (!HasKey(file, partition, kPartition, 13) || Number(file, partition + kKey, 1) != 0x83) {
            Refuse("the index pack names what is no partition");
        }
        for (const std::size_t place : {kThisAt, kPreviousAt, kFooterAt}) {
            Move(file, partition + place, from, distance);
        }
    }
}

} // namespace

std::vector<std::uint8_t> RewriteHeader(const std::vector<std::uint8_t>& file, const StretchTimes& times) {
    if (file.size() < kPackFields || !HasKey(file, 0, kPartition, 13) || file[kKey] != 0x83) {
        Refuse("it does not begin with a partition pack");
    }
    const std::uint64_t grid = std::max<std::uint64_t>(Number(file, kKagAt, 4), 1);
    if (grid > kLargestGrid) {
        Refuse("its grid is too wide");
    }
    std::size_t first = ItemAt(file, 0).End();
    if (HasKey(file, first, kFiller, kFiller.size())) {
        first = ItemAt(file, first).End();
    }
    const std::uint64_t count = Number(file, kHeaderCountAt, 8);
    if (count > file.size() - first) {
        Refuse("the header metadata reaches behind its end");
    }
    const std::size_t end = first + static_cast<std::size_t>(count);

    Bytes changed(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(end));
    std::vector<Item> items;
    for (std::size_t at = first; at < end; at = items.back().End()) {
        items.push_back(ItemAt(changed, at));
    }
    SetTimes(changed, items, times);

    Bytes out(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(first));
    for (const Item& item : items) {
        if (HasKey(changed, item.at, kFiller, kFiller.size())) {
            AddFiller(out, static_cast<std::size_t>(grid));
        } else {
            AddItem(out, changed, item);
        }
    }
    AddFiller(out, static_cast<std::size_t>(grid));
    // Modular: where fillers have become shorter it is a way forward.
    const std::uint64_t distance = out.size() - end;
    Put(out, kHeaderCountAt, out.size() - first, 8);
    out.insert(out.end(), file.begin() + static_cast<std::ptrdiff_t>(end), file.end());
    MovePlaces(out, end, distance);
    return out;
}

} // namespace xdcam
