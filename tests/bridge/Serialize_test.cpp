// Whole numbers and floating-point values: their bytes, and which error wins.
#include "bridge/SerializeTesting.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace vxcio;
using namespace vxcio::test;

namespace {

// One kind of value that has a width: how to write one, how to read one, and how it stands on the stream.
struct Kind {
    const char* name;
    Bytes bytes;                          // of the value that write() writes
    int (*write)(CVXCSerialize& stream);  // the primitive
    void (*store)(CVXCSerialize& stream); // the operators
    int (*read)(CVXCSerialize& stream, bool& isValue, bool& isOld);
};

template <class Type, class Bits, Bits kBits>
Type Value() {
    const Bits bits = kBits;
    Type value;
    static_assert(sizeof value == sizeof bits);
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

template <class Type, class Bits, Bits kBits>
int WriteOne(CVXCSerialize& stream) {
    return stream.Write(Value<Type, Bits, kBits>());
}

template <class Type, class Bits, Bits kBits>
void StoreOne(CVXCSerialize& stream) {
    stream << Value<Type, Bits, kBits>();
}

// The target holds 5 ahead of the read.
template <class Type, class Bits, Bits kBits>
int ReadOne(CVXCSerialize& stream, bool& isValue, bool& isOld) {
    const Type old = 5;
    const auto expected = Value<Type, Bits, kBits>();
    Type value = old;
    const int result = stream.Read(value);
    isValue = std::memcmp(&value, &expected, sizeof value) == 0;
    isOld = std::memcmp(&value, &old, sizeof value) == 0;
    return result;
}

template <class Type, class Bits, Bits kBits>
Kind KindOf(const char* name, Bytes bytes) {
    return {name, std::move(bytes), WriteOne<Type, Bits, kBits>, StoreOne<Type, Bits, kBits>,
            ReadOne<Type, Bits, kBits>};
}

std::vector<Kind> Kinds() {
    return {
        KindOf<unsigned char, uint8, 0xA1>("8 bits", {0x63, 0xA1}),
        KindOf<unsigned short, uint16, 0xA1B2>("16 bits", {0x77, 0xB2, 0xA1}),
        KindOf<unsigned int, uint32, 0xA1B2C3D4>("32 bits", {0x6C, 0xD4, 0xC3, 0xB2, 0xA1}),
        KindOf<unsigned long long, uint64, 0xA1B2C3D4E5F60718>(
            "64 bits", {0x71, 0x18, 0x07, 0xF6, 0xE5, 0xD4, 0xC3, 0xB2, 0xA1}),
        KindOf<float, uint32, 0xC0490FDB>("float", {0x66, 0xDB, 0x0F, 0x49, 0xC0}),
        KindOf<double, uint64, 0xC00921FB54442D18>("double",
                                                   {0x64, 0x18, 0x2D, 0x44, 0x54, 0xFB, 0x21, 0x09, 0xC0}),
    };
}

class SerializeTest : public ::testing::TestWithParam<Kind> {
protected:
    const Bytes& ValueBytes() const { return GetParam().bytes; }
    std::size_t Size() const { return ValueBytes().size(); }
    int Read(CVXCSerialize& stream) { return GetParam().read(stream, isValue, isOld); }

    bool isValue = false;
    bool isOld = false;
};

INSTANTIATE_TEST_SUITE_P(Kinds, SerializeTest, ::testing::ValuesIn(Kinds()), [](const auto& kind) {
    std::string name = kind.param.name;
    std::erase(name, ' ');
    return "Of" + name;
});

} // namespace

TEST_P(SerializeTest, AValueIsItsTagAndItsBytesInLittleEndianOrder) {
    TestStream stream(Size() + 1);
    EXPECT_EQ(GetParam().write(stream), 1);
    EXPECT_EQ(stream.Written(), ValueBytes());
    EXPECT_EQ(stream.All().back(), kUntouched);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
}

TEST_P(SerializeTest, TheOperatorWritesTheSame) {
    TestStream stream(Size());
    GetParam().store(stream);
    EXPECT_EQ(stream.All(), ValueBytes());
}

TEST_P(SerializeTest, AValueReadsBack) {
    TestStream stream(ValueBytes());
    EXPECT_EQ(Read(stream), 1);
    EXPECT_TRUE(isValue);
    EXPECT_EQ(stream.m_dwPosition, Size());
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
}

TEST_P(SerializeTest, ValuesStandAtAnyOffset) {
    for (unsigned int offset = 1; offset < 9; ++offset) {
        TestStream out(offset + Size());
        out.m_dwPosition = offset;
        EXPECT_EQ(GetParam().write(out), 1);
        TestStream in(out.All());
        in.m_dwPosition = offset;
        EXPECT_EQ(Read(in), 1);
        EXPECT_TRUE(isValue) << offset;
    }
}

TEST_P(SerializeTest, AValueThatJustFitsIsWrittenAndOneByteLessIsNot) {
    TestStream fits(Size());
    EXPECT_EQ(GetParam().write(fits), 1);
    EXPECT_EQ(fits.m_nError, VXC_SERIALIZE_OK);
    for (std::size_t less = 0; less < Size(); ++less) {
        TestStream stream(less);
        EXPECT_EQ(GetParam().write(stream), 0);
        EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
        EXPECT_EQ(stream.m_dwPosition, 0u);
        EXPECT_TRUE(stream.IsUntouched()) << less;
    }
}

TEST_P(SerializeTest, AWriteBehindAnErrorWritesNothingAndKeepsTheError) {
    for (const int error : {1, 2, 3, 77}) {
        TestStream stream(Size());
        stream.m_nError = error;
        EXPECT_EQ(GetParam().write(stream), 0);
        EXPECT_EQ(stream.m_nError, error);
        EXPECT_EQ(stream.m_dwPosition, 0u);
        EXPECT_TRUE(stream.IsUntouched());
    }
}

TEST_P(SerializeTest, LackOfRoomReplacesAnOlderErrorOfAWrite) {
    TestStream stream(Size() - 1);
    stream.m_nError = VXC_SERIALIZE_WRONG_TAG;
    EXPECT_EQ(GetParam().write(stream), 0);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
}

TEST_P(SerializeTest, AWriteWhileLoadingIsTheWrongDirectionWhateverElseIsWrong) {
    for (const int direction : {0, 2, -1}) {
        for (const std::size_t capacity : {std::size_t{0}, Size()}) {
            TestStream stream(capacity);
            stream.m_nDirection = direction;
            stream.m_nError = VXC_SERIALIZE_NO_SPACE;
            EXPECT_EQ(GetParam().write(stream), 0);
            EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_WRONG_DIRECTION);
            EXPECT_TRUE(stream.IsUntouched());
        }
    }
}

TEST_P(SerializeTest, AReadWhileStoringIsTheWrongDirectionWhateverElseIsWrong) {
    for (const int direction : {1, 2, -1}) {
        for (const Bytes& bytes : {Bytes(), ValueBytes()}) {
            TestStream stream(bytes);
            stream.m_nDirection = direction;
            stream.m_nError = VXC_SERIALIZE_NO_SPACE;
            EXPECT_EQ(Read(stream), 0);
            EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_WRONG_DIRECTION);
            EXPECT_TRUE(isOld);
            EXPECT_EQ(stream.m_dwPosition, 0u);
        }
    }
}

TEST_P(SerializeTest, AReadAtTheEndHasNoSpaceWhateverTheOlderError) {
    for (const int error : {0, 1, 2, 3}) {
        TestStream stream(ValueBytes());
        stream.m_dwPosition = static_cast<unsigned int>(Size());
        stream.m_nError = error;
        EXPECT_EQ(Read(stream), 0);
        EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
        EXPECT_TRUE(isOld);
        EXPECT_EQ(stream.m_dwPosition, Size());
    }
}

TEST_P(SerializeTest, AReadBehindAnErrorTakesNothingAndKeepsTheError) {
    for (const int error : {1, 2, 3}) {
        TestStream stream(ValueBytes());
        stream.m_nError = error;
        EXPECT_EQ(Read(stream), 0);
        EXPECT_EQ(stream.m_nError, error);
        EXPECT_TRUE(isOld);
        EXPECT_EQ(stream.m_dwPosition, 0u);
    }
}

TEST_P(SerializeTest, AWrongTagIsTakenAndTheTargetStays) {
    Bytes bytes = ValueBytes();
    bytes[0] = 0x6B;
    TestStream stream(bytes);
    EXPECT_EQ(Read(stream), 0);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_WRONG_TAG);
    EXPECT_TRUE(isOld);
    EXPECT_EQ(stream.m_dwPosition, 1u);
}

TEST_P(SerializeTest, AValueThatIsCutOffHasNoSpaceWhateverItsTag) {
    for (const uint8 tag : {ValueBytes()[0], uint8{0x6B}}) {
        for (std::size_t kept = 1; kept < Size(); ++kept) {
            Bytes bytes = ValueBytes();
            bytes[0] = tag;
            bytes.resize(kept);
            TestStream stream(bytes);
            EXPECT_EQ(Read(stream), 0);
            EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE) << kept;
            EXPECT_TRUE(isOld);
            EXPECT_EQ(stream.m_dwPosition, 1u);
        }
    }
}

TEST_P(SerializeTest, WithoutABufferThereIsNoRoom) {
    for (const unsigned int capacity : {0u, 100u, 0xFFFFFFFFu}) {
        CVXCSerialize stream;
        stream.m_dwCapacity = capacity;
        EXPECT_EQ(Read(stream), 0);
        EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
        EXPECT_TRUE(isOld);
        stream.m_nDirection = VXC_SERIALIZE_STORE;
        stream.m_nError = VXC_SERIALIZE_OK;
        EXPECT_EQ(GetParam().write(stream), 0);
        EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
        EXPECT_EQ(stream.m_dwPosition, 0u);
    }
}

TEST_P(SerializeTest, APositionBehindTheCapacityHasNoRoom) {
    for (const unsigned int position : {21u, 0x7FFFFFFFu, 0xFFFFFFF0u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
        TestStream stream(20);
        stream.m_dwPosition = position;
        EXPECT_EQ(GetParam().write(stream), 0);
        EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
        stream.m_nDirection = VXC_SERIALIZE_LOAD;
        stream.m_nError = VXC_SERIALIZE_OK;
        EXPECT_EQ(Read(stream), 0);
        EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
        EXPECT_EQ(stream.m_dwPosition, position);
        EXPECT_TRUE(stream.IsUntouched());
    }
}
