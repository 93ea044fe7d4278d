#include "bridge/StreamModelPair.h"

#include <algorithm>
#include <cstring>

namespace vxcio::test {

StreamModelPair::StreamModelPair(const std::vector<uint8>& bytes, int direction)
    : m_memory(new uint8[bytes.size()]) {
    std::copy(bytes.begin(), bytes.end(), m_memory.get());
    m_real.m_pBuffer = m_memory.get();
    m_real.m_dwCapacity = static_cast<unsigned int>(bytes.size());
    m_model.bytes = bytes;
    m_model.capacity = bytes.size();
    SetDirection(direction);
}

void StreamModelPair::SetDirection(int direction) {
    m_real.m_nDirection = direction;
    m_model.direction = direction;
}

void StreamModelPair::SetError(int error) {
    m_real.m_nError = error;
    m_model.error = error;
}

void StreamModelPair::SetPosition(uint32 position) {
    m_real.m_dwPosition = position;
    m_model.position = position;
}

void StreamModelPair::SetCapacity(uint32 capacity) {
    m_real.m_dwCapacity = capacity;
    m_model.capacity = capacity;
}

void StreamModelPair::SetBuffer(bool isThere) {
    m_real.m_pBuffer = isThere ? m_memory.get() : nullptr;
    m_model.hasBuffer = isThere;
}

void StreamModelPair::SetByte(std::size_t index, uint8 value) {
    m_memory[index] = value;
    m_model.bytes.at(index) = value;
}

bool StreamModelPair::Differs(const char* what, uint64 real, uint64 model) {
    if (real == model) {
        return false;
    }
    m_difference =
        std::string(what) + " is " + std::to_string(real) + ", by the model " + std::to_string(model);
    return true;
}

bool StreamModelPair::Same(int real, int model, bool hasResult) {
    const bool differs =
        (hasResult && Differs("the result", static_cast<uint64>(real), static_cast<uint64>(model))) ||
        Differs("the position", m_real.m_dwPosition, m_model.position) ||
        Differs("the error", static_cast<uint64>(m_real.m_nError), static_cast<uint64>(m_model.error)) ||
        Differs("the direction", static_cast<uint64>(m_real.m_nDirection),
                static_cast<uint64>(m_model.direction)) ||
        Differs("the capacity", m_real.m_dwCapacity, m_model.capacity);
    if (!differs && !std::equal(m_model.bytes.begin(), m_model.bytes.end(), m_memory.get())) {
        m_difference = "the bytes are not the model's";
        return false;
    }
    return !differs;
}

template <class Unsigned, class Signed>
bool StreamModelPair::DoWhole(const StreamCall& call, char tag, bool isWrite) {
    auto value = static_cast<Unsigned>(call.bits);
    uint64 bits = value;
    int real = 0;
    const bool isPrimitive = call.form == StreamCall::Form::Primitive;
    if (isWrite) {
        if (isPrimitive) {
            real = m_real.Write(value);
        } else if (call.form == StreamCall::Form::Unsigned) {
            m_real << value;
        } else {
            m_real << static_cast<Signed>(value);
        }
        return Same(real, m_model.Write(tag, sizeof value, bits), isPrimitive);
    }
    if (isPrimitive) {
        real = m_real.Read(value);
    } else if (call.form == StreamCall::Form::Unsigned) {
        m_real >> value;
    } else {
        auto target = static_cast<Signed>(value);
        m_real >> target;
        value = static_cast<Unsigned>(target);
    }
    const int model = m_model.Read(tag, sizeof value, bits);
    return !Differs("the target", value, bits) && Same(real, model, isPrimitive);
}

template <class Float, class Bits>
bool StreamModelPair::DoFloat(const StreamCall& call, char tag, bool isWrite) {
    auto pattern = static_cast<Bits>(call.bits);
    uint64 bits = pattern;
    Float value;
    static_assert(sizeof value == sizeof pattern);
    std::memcpy(&value, &pattern, sizeof value);
    int real = 0;
    int model = 0;
    const bool isPrimitive = call.form == StreamCall::Form::Primitive;
    if (isWrite) {
        if (isPrimitive) {
            real = m_real.Write(value);
        } else {
            m_real << value;
        }
        model = m_model.Write(tag, sizeof value, bits);
    } else {
        if (isPrimitive) {
            real = m_real.Read(value);
        } else {
            m_real >> value;
        }
        model = m_model.Read(tag, sizeof value, bits);
    }
    std::memcpy(&pattern, &value, sizeof value);
    return !Differs("the target", pattern, bits) && Same(real, model, isPrimitive);
}

bool StreamModelPair::DoString(const StreamCall& call, bool isWrite) {
    CVXCString value(call.text.c_str());
    std::wstring text = value.c_str();
    int real = 0;
    const bool isPrimitive = call.form == StreamCall::Form::Primitive;
    if (isWrite) {
        if (isPrimitive) {
            real = m_real.Write(value);
        } else if (call.form == StreamCall::Form::Unsigned) {
            m_real << value;
        } else {
            m_real << text.c_str();
        }
        return Same(real, m_model.WriteString(text), isPrimitive);
    }
    if (isPrimitive) {
        real = m_real.Read(value);
    } else {
        m_real >> value;
    }
    const int model = m_model.ReadString(text);
    if (text != value.c_str() || Differs("the length", static_cast<uint64>(value.GetLength()), text.size())) {
        m_difference = "the text is not the model's";
        return false;
    }
    return Same(real, model, isPrimitive);
}

bool StreamModelPair::DoReadBlock(const StreamCall& call, int copy) {
    // Room for any block that can stand there, and a mark behind.
    std::vector<uint8> room(m_model.bytes.size() + 1, static_cast<uint8>(call.bits));
    std::vector<uint8> expected = room;
    unsigned char* data = room.data();
    auto count = static_cast<unsigned int>(call.bits);
    uint64 from = 0;
    uint64 modelCount = count;
    const int real = m_real.ReadBlock(data, count, copy);
    const int model = m_model.ReadBlock(from, modelCount);
    if (Differs("the count", count, modelCount)) {
        return false;
    }
    const unsigned char* place = room.data();
    if (model != 0 && copy == 0) {
        place = m_memory.get() + from;
    } else if (model != 0) {
        std::copy_n(m_model.bytes.begin() + static_cast<std::ptrdiff_t>(from), modelCount, expected.begin());
    }
    if (data != place || room != expected) {
        m_difference = "the block's place or bytes are not the model's";
        return false;
    }
    return Same(real, model, true);
}

bool StreamModelPair::DoWriteBlock(const StreamCall& call) {
    if (call.kind == StreamCallKind::WriteNoBlock) {
        return Same(m_real.WriteBlock(nullptr, call.count), m_model.WriteNoBlock(), true);
    }
    if (call.kind == StreamCallKind::WriteOwnBlock) {
        const int real = m_real.WriteBlock(m_memory.get() + call.from, call.count);
        return Same(real, m_model.WriteOwnBlock(call.from, call.count), true);
    }
    static const uint8 nothing = 0;
    const uint8* const data = call.block.empty() ? &nothing : call.block.data();
    const int real = m_real.WriteBlock(data, static_cast<unsigned int>(call.block.size()));
    return Same(real, m_model.WriteBlock(call.block), true);
}

bool StreamModelPair::Do(const StreamCall& call) {
    using Kind = StreamCallKind;
    switch (call.kind) {
    case Kind::Read8:
    case Kind::Write8:
        return DoWhole<unsigned char, signed char>(call, 'c', call.kind == Kind::Write8);
    case Kind::Read16:
    case Kind::Write16:
        return DoWhole<unsigned short, short>(call, 'w', call.kind == Kind::Write16);
    case Kind::Read32:
    case Kind::Write32:
        return DoWhole<unsigned int, int>(call, 'l', call.kind == Kind::Write32);
    case Kind::Read64:
    case Kind::Write64:
        return DoWhole<unsigned long long, long long>(call, 'q', call.kind == Kind::Write64);
    case Kind::ReadFloat:
    case Kind::WriteFloat:
        return DoFloat<float, uint32>(call, 'f', call.kind == Kind::WriteFloat);
    case Kind::ReadDouble:
    case Kind::WriteDouble:
        return DoFloat<double, uint64>(call, 'd', call.kind == Kind::WriteDouble);
    case Kind::ReadString:
    case Kind::WriteString:
        return DoString(call, call.kind == Kind::WriteString);
    case Kind::ReadBlockPlace:
        return DoReadBlock(call, 0);
    case Kind::ReadBlockCopy:
        return DoReadBlock(call, 1);
    case Kind::WriteBlock:
    case Kind::WriteNoBlock:
    case Kind::WriteOwnBlock:
        return DoWriteBlock(call);
    default:
        const auto size = static_cast<unsigned int>(call.bits);
        const int real = m_real.SetMessageSize(size);
        return Same(real, m_model.SetMessageSize(size), true);
    }
}

} // namespace vxcio::test
