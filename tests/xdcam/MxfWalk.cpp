#include "xdcam/MxfWalk.h"

#include <array>
#include <cstdio>

namespace vxcio::test {

namespace {

std::vector<std::size_t> Places(const Bytes& file, const std::string& setKey, std::uint32_t tag) {
    std::vector<std::size_t> places;
    for (const Klv& item : HeaderOf(file)) {
        const std::size_t end = item.value + item.length;
        for (std::size_t at = item.value; item.key == setKey && at + 4 <= end;
             at += 4 + NumberAt(file, at + 2, 2)) {
            if (NumberAt(file, at, 2) == tag) {
                places.push_back(at + 4);
            }
        }
    }
    return places;
}

} // namespace

std::uint64_t NumberAt(const Bytes& file, std::size_t at, std::size_t bytes) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
        number = number << 8 | file.at(at + i);
    }
    return number;
}

std::vector<Klv> KlvsOf(const Bytes& file) {
    std::vector<Klv> items;
    for (std::size_t at = 0; at + 17 <= file.size();) {
        Klv item{at, {}, at + 17, file[at + 16], false};
        for (std::size_t i = 0; i < 16; ++i) {
            std::array<char, 3> digits{};
            std::snprintf(digits.data(), digits.size(), "%02x", unsigned{file[at + i]});
            item.key += digits.data();
        }
        if ((item.length & 0x80) != 0) {
            const std::size_t bytes = item.length & 0x7F;
            if (bytes > 8 || item.value + bytes > file.size()) {
                break;
            }
            item.isLong = bytes == 3;
            item.length = static_cast<std::size_t>(NumberAt(file, item.value, bytes));
            item.value += bytes;
        }
        if (item.length > file.size() - item.value) {
            break;
        }
        at = item.value + item.length;
        items.push_back(item);
    }
    return items;
}

bool IsPartition(const Klv& item) {
    return item.key.starts_with("060e2b34020501010d01020101") && item.key.substr(26, 2) <= "04";
}

std::vector<Klv> HeaderOf(const Bytes& file) {
    std::vector<Klv> header;
    const std::vector<Klv> items = KlvsOf(file);
    std::size_t first = 1; // behind the partition pack
    if (items.size() > 1 && items[1].key.starts_with("060e2b340101010203010210")) {
        first = 2;
    }
    const std::size_t end = items.at(first).at + static_cast<std::size_t>(NumberAt(file, 52, 8));
    for (std::size_t i = first; i < items.size() && items[i].at < end; ++i) {
        header.push_back(items[i]);
    }
    return header;
}

std::vector<std::uint64_t> TagValues(const Bytes& file, const std::string& setKey, std::uint32_t tag) {
    std::vector<std::uint64_t> values;
    for (const std::size_t place : Places(file, setKey, tag)) {
        values.push_back(NumberAt(file, place, 8));
    }
    return values;
}

std::size_t PlaceOfTag(const Bytes& file, const std::string& setKey, std::uint32_t tag) {
    const std::vector<std::size_t> places = Places(file, setKey, tag);
    return places.empty() ? 0 : places.front();
}

} // namespace vxcio::test
