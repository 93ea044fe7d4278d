#include "bridge/RecordsModel.h"

#include <algorithm>
#include <cstring>
#include <map>

namespace vxcio::test {
namespace {

uint32 WordOf(const Slot& slot) {
    uint32 word;
    std::memcpy(&word, slot.place, sizeof word);
    return word;
}

template <class Unsigned>
void StoreAs(unsigned char* place, unsigned long long value) {
    const auto narrow = static_cast<Unsigned>(value);
    std::memcpy(place, &narrow, sizeof narrow);
}

void Store(const Slot& slot, unsigned long long value) {
    if (slot.kind == Slot::Kind::Digit) {
        const uint32 kept = WordOf(slot) & ~(slot.mask << slot.shift);
        StoreAs<uint32>(slot.place, kept | (static_cast<uint32>(value) & slot.mask) << slot.shift);
    } else if (slot.bytes == 8) {
        StoreAs<uint64>(slot.place, value);
    } else if (slot.bytes == 4) {
        StoreAs<uint32>(slot.place, value);
    } else {
        StoreAs<uint8>(slot.place, value);
    }
}

unsigned char* DataOf(const Slot& slot) {
    unsigned char* data;
    std::memcpy(&data, slot.place, sizeof data);
    return data;
}

void SetData(const Slot& slot, unsigned char* data) {
    std::memcpy(slot.place, &data, sizeof data);
}

std::size_t WidthOf(char tag) {
    return tag == 'q' ? 8 : tag == 'l' ? 4 : 1;
}

} // namespace

void Slots::Add(Slot::Kind kind, char tag, void* place, std::size_t bytes) {
    Slot slot{kind, tag, static_cast<unsigned char*>(place), static_cast<uint32>(bytes)};
    slot.scope = m_scope;
    list.push_back(slot);
}

void Slots::Digit(SPlugLinearTimeCode& record, int word, uint32 shift, uint32 mask) {
    Add(Slot::Kind::Digit, 'l', reinterpret_cast<unsigned char*>(&record) + 4 * word, 4);
    list.back().shift = shift;
    list.back().mask = mask;
}

void Slots::Attachment(unsigned char*& data, uint32& size) {
    Add(Slot::Kind::Attachment, 'b', &data, sizeof data);
    list.back().size = &size;
}

unsigned long long ValueOf(const Slot& slot) {
    if (slot.kind == Slot::Kind::Digit) {
        return WordOf(slot) >> slot.shift & slot.mask;
    }
    unsigned long long value = 0;
    for (uint32 i = slot.bytes; i > 0; --i) { // all machines that these tests run on have the low byte first
        value = value << 8 | slot.place[i - 1];
    }
    return value;
}

void Fill(const std::vector<Slot>& slots, std::mt19937& random, Bytes& attached) {
    for (const Slot& slot : slots) {
        if (slot.kind == Slot::Kind::Attachment) {
            for (unsigned char& byte : attached) {
                byte = static_cast<unsigned char>(random());
            }
            SetData(slot, attached.data());
            *slot.size = static_cast<uint32>(attached.size());
        } else if (slot.kind == Slot::Kind::Block) {
            for (uint32 i = 0; i < slot.bytes; ++i) {
                slot.place[i] = static_cast<unsigned char>(random());
            }
        } else {
            const unsigned long long high = random();
            Store(slot, high << 32 | random());
        }
    }
}

void PutNumber(Bytes& stream, char tag, unsigned long long value) {
    stream.push_back(static_cast<unsigned char>(tag));
    for (std::size_t i = 0; i < WidthOf(tag); ++i) {
        stream.push_back(static_cast<unsigned char>(value >> (8 * i)));
    }
}

void PutBlock(Bytes& stream, const unsigned char* bytes, std::size_t count) {
    stream.push_back('b');
    PutNumber(stream, 'l', count);
    stream.insert(stream.end(), bytes, bytes + count);
}

Bytes StreamOf(const std::vector<Slot>& slots) {
    Bytes stream;
    for (const Slot& slot : slots) {
        if (slot.kind == Slot::Kind::Attachment) {
            if (*slot.size != 0) {
                PutBlock(stream, DataOf(slot), *slot.size);
            }
        } else if (slot.kind == Slot::Kind::Block) {
            PutBlock(stream, slot.place, slot.bytes);
        } else {
            PutNumber(stream, slot.tag, ValueOf(slot));
        }
    }
    return stream;
}

bool ModelReader::Tag(char tag) {
    if (direction != VXC_SERIALIZE_LOAD) {
        error = 3;
        return false;
    }
    if (position + 1 > m_capacity) {
        error = 1;
        return false;
    }
    if (error != 0) {
        return false;
    }
    if (m_bytes[position++] != static_cast<unsigned char>(tag)) {
        error = 2;
    }
    return true;
}

bool ModelReader::Number(char tag, unsigned long long& value) {
    if (!Tag(tag)) {
        return false;
    }
    if (position + WidthOf(tag) > m_capacity) {
        error = 1;
        return false;
    }
    if (error != 0) {
        return false;
    }
    value = 0;
    for (std::size_t i = WidthOf(tag); i > 0; --i) {
        value = value << 8 | m_bytes[position + i - 1];
    }
    position += WidthOf(tag);
    return true;
}

uint32 ModelReader::Through(unsigned long long& temporary) {
    Number('l', temporary);
    return static_cast<uint32>(temporary);
}

bool ModelReader::Block(const unsigned char*& bytes, uint32& count) {
    if (!Tag('b')) {
        return false;
    }
    unsigned long long told = 0;
    Number('l', told);
    if (told == 0) {
        return false;
    }
    if (position + told > m_capacity) {
        error = 1;
        return false;
    }
    bytes = m_bytes + position;
    count = static_cast<uint32>(told);
    position += count;
    return true;
}

void ModelReader::Read(const std::vector<Slot>& slots) {
    std::map<int, unsigned long long> temporaries;
    for (const Slot& slot : slots) {
        const unsigned char* bytes = nullptr;
        uint32 count = 0;
        switch (slot.kind) {
        case Slot::Kind::Number:
            if (unsigned long long value = 0; Number(slot.tag, value)) {
                Store(slot, value);
            }
            break;
        case Slot::Kind::Choice:
        case Slot::Kind::Digit:
            Store(slot, Through(temporaries[slot.scope]));
            break;
        case Slot::Kind::Block:
            if (Block(bytes, count)) {
                std::memcpy(slot.place, bytes, std::min(count, slot.bytes));
            }
            break;
        case Slot::Kind::Attachment:
            if (*slot.size != 0) {
                Block(bytes, count);
                unsigned char* const data = SerilizeMalloc(count);
                std::copy_n(bytes, count, data);
                SetData(slot, data);
                *slot.size = count;
            }
            break;
        }
    }
}

std::string Differences(const std::vector<Slot>& slots, const std::vector<Slot>& others,
                        const unsigned char* untouched) {
    std::string differences;
    for (std::size_t i = 0; i < slots.size(); ++i) {
        const Slot& slot = slots[i];
        const Slot& other = others[i];
        bool same;
        if (slot.kind == Slot::Kind::Attachment) {
            const unsigned char* const data = DataOf(slot);
            const unsigned char* const otherData = DataOf(other);
            same = (data == untouched) == (otherData == untouched) && *slot.size == *other.size;
            if (same && data != untouched) {
                same =
                    data != nullptr && otherData != nullptr && std::equal(data, data + *slot.size, otherData);
            }
        } else if (slot.kind == Slot::Kind::Digit) {
            same = ValueOf(slot) == ValueOf(other);
        } else {
            same = std::memcmp(slot.place, other.place, slot.bytes) == 0;
        }
        if (!same) {
            differences += "value " + std::to_string(i) + " of kind " +
                           std::to_string(static_cast<int>(slot.kind)) + " differs\n";
        }
    }
    return differences;
}

void FreeAttachments(const std::vector<Slot>& slots, const unsigned char* untouched) {
    for (const Slot& slot : slots) {
        if (slot.kind == Slot::Kind::Attachment && DataOf(slot) != untouched) {
            SerilizeFree(DataOf(slot));
        }
    }
}

} // namespace vxcio::test
