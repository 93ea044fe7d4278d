#include "bridge/StreamModel.h"

#include <cstddef>

namespace vxcio::test {

namespace {

constexpr uint64 kLargestPoint = 0x10FFFF;

bool IsBetween(uint64 value, uint64 first, uint64 last) {
    return first <= value && value <= last;
}

} // namespace

void StreamModel::Put(uint64 byte) {
    bytes.at(static_cast<std::size_t>(position)) = static_cast<uint8>(byte & 0xFF);
    position += 1;
}

uint64 StreamModel::Take() {
    const uint8 byte = bytes.at(static_cast<std::size_t>(position));
    position += 1;
    return byte;
}

int StreamModel::Write(char tag, unsigned width, uint64 bits) {
    if (direction != 1) {
        error = 3;
        return 0;
    }
    if (position + 1 + width > Room()) {
        error = 1;
        return 0;
    }
    if (error != 0) {
        return 0;
    }
    Put(static_cast<unsigned char>(tag));
    for (unsigned i = 0; i < width; ++i) {
        Put(bits >> (8 * i));
    }
    return 1;
}

int StreamModel::Read(char tag, unsigned width, uint64& bits) {
    if (direction != 0) {
        error = 3;
        return 0;
    }
    if (position + 1 > Room()) {
        error = 1;
        return 0;
    }
    if (error != 0) {
        return 0;
    }
    if (Take() != static_cast<unsigned char>(tag)) {
        error = 2;
    }
    if (position + width > Room()) {
        error = 1;
        return 0;
    }
    if (error != 0) {
        return 0;
    }
    bits = 0;
    for (unsigned i = 0; i < width; ++i) {
        bits += Take() << (8 * i);
    }
    return 1;
}

int StreamModel::BeginBlock(uint64 count) {
    if (direction != 1) {
        error = 3;
        return 0;
    }
    if (position + count + 6 > Room()) {
        error = 1;
        return 0;
    }
    if (error != 0) {
        return 0;
    }
    Put('b');
    Write('l', 4, count);
    return 1;
}

int StreamModel::WriteBlock(const std::vector<uint8>& data) {
    if (BeginBlock(data.size()) == 0) {
        return 0;
    }
    for (const uint8 byte : data) {
        Put(byte);
    }
    return 1;
}

int StreamModel::WriteOwnBlock(uint64 from, uint64 count) {
    if (BeginBlock(count) == 0) {
        return 0;
    }
    // What stands there once the head is written.
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(from);
    const std::vector<uint8> data(first, first + static_cast<std::ptrdiff_t>(count));
    for (const uint8 byte : data) {
        Put(byte);
    }
    return 1;
}

int StreamModel::ReadBlock(uint64& from, uint64& count) {
    if (direction != 0) {
        error = 3;
        return 0;
    }
    if (position + 1 > Room()) {
        error = 1;
        return 0;
    }
    if (error != 0) {
        return 0;
    }
    if (Take() != 'b') {
        error = 2;
    }
    uint64 length = 0;
    Read('l', 4, length);
    if (length == 0) {
        return 0;
    }
    if (direction != 0) {
        error = 3;
        return 0;
    }
    if (position + length > Room()) {
        error = 1;
        return 0;
    }
    if (error != 0) {
        return 0;
    }
    from = position;
    position += length;
    count = length;
    return 1;
}

int StreamModel::WriteString(const std::wstring& text) {
    const std::vector<uint16> units = ModelUnits(text);
    if (direction != 1) {
        error = 3;
        return 0;
    }
    if (position + 2 * units.size() + 6 > Room()) {
        error = 1;
        return 0;
    }
    if (error != 0) {
        return 0;
    }
    Put('s');
    Write('l', 4, 2 * units.size());
    if (units.empty()) {
        return 1;
    }
    std::vector<uint8> data;
    for (const uint16 unit : units) {
        data.push_back(static_cast<uint8>(unit % 256));
        data.push_back(static_cast<uint8>(unit / 256));
    }
    WriteBlock(data);
    return 1;
}

int StreamModel::ReadString(std::wstring& text) {
    if (direction != 0) {
        error = 3;
        return 0;
    }
    if (position + 1 > Room()) {
        error = 1;
        return 0;
    }
    if (error != 0) {
        return 0;
    }
    if (Take() != 's') {
        error = 2;
    }
    uint64 count = 0;
    Read('l', 4, count);
    if (count == 0) {
        text.clear();
        return 1;
    }
    if (direction != 0) {
        error = 3;
        return 0;
    }
    if (count + position + 5 > Room()) {
        error = 1;
        return 0;
    }
    if (error != 0) {
        return 0;
    }
    std::vector<uint8> block(static_cast<std::size_t>(count + 3), 0);
    uint64 from = 0;
    uint64 inner = 0;
    ReadBlock(from, inner);
    for (uint64 i = 0; i < inner && i < count; ++i) {
        block[static_cast<std::size_t>(i)] = bytes.at(static_cast<std::size_t>(from + i));
    }
    std::vector<uint16> units;
    for (std::size_t i = 0; i + 1 < block.size(); i += 2) {
        units.push_back(static_cast<uint16>(block[i] + block[i + 1] * 256));
    }
    text = ModelText(units);
    return 1;
}

int StreamModel::SetMessageSize(uint32 size) {
    const uint64 saved = position;
    position = 0;
    const int result = Write('l', 4, size);
    position = saved;
    return result;
}

std::vector<uint16> ModelUnits(const std::wstring& text) {
    std::vector<uint16> units;
    for (const wchar_t character : text) {
        auto point = static_cast<uint32>(character);
        if (point > kLargestPoint) {
            point = 0xFFFD;
        }
        if (point > 0xFFFF) {
            units.push_back(static_cast<uint16>(0xD800 + (point - 0x10000) / 1024));
            units.push_back(static_cast<uint16>(0xDC00 + (point - 0x10000) % 1024));
        } else {
            units.push_back(static_cast<uint16>(point));
        }
    }
    return units;
}

std::wstring ModelText(const std::vector<uint16>& units) {
    std::wstring text;
    for (std::size_t i = 0; i < units.size() && units[i] != 0; ++i) {
        const bool isPair = sizeof(wchar_t) > 2 && i + 1 < units.size() &&
                            IsBetween(units[i], 0xD800, 0xDBFF) && IsBetween(units[i + 1], 0xDC00, 0xDFFF);
        if (isPair) {
            text.push_back(
                static_cast<wchar_t>(0x10000 + (units[i] - 0xD800) * 1024 + (units[i + 1] - 0xDC00)));
            ++i;
        } else {
            text.push_back(static_cast<wchar_t>(units[i]));
        }
    }
    return text;
}

} // namespace vxcio::test
