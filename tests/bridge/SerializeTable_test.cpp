// The virtual operators, which a plug-in may have replaced, and the memory that passes between modules.
#include "bridge/SerializeTesting.h"
#include "support/MemoryLack.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <type_traits>

using namespace vxcio;
using namespace vxcio::test;

namespace {

// Notes which operator was called.
class Listening : public CVXCSerialize {
public:
    using CVXCSerialize::operator<<;
    using CVXCSerialize::operator>>;
    CVXCSerialize& operator<<(const CVXCString&) noexcept override { return Note("<string "); }
    CVXCSerialize& operator<<(const double&) noexcept override { return Note("<double "); }
    CVXCSerialize& operator<<(const float&) noexcept override { return Note("<float "); }
    CVXCSerialize& operator<<(unsigned long long) noexcept override { return Note("<u64 "); }
    CVXCSerialize& operator<<(long long) noexcept override { return Note("<s64 "); }
    CVXCSerialize& operator<<(unsigned int) noexcept override { return Note("<u32 "); }
    CVXCSerialize& operator<<(int) noexcept override { return Note("<s32 "); }
    CVXCSerialize& operator<<(unsigned short) noexcept override { return Note("<u16 "); }
    CVXCSerialize& operator<<(short) noexcept override { return Note("<s16 "); }
    CVXCSerialize& operator<<(unsigned char) noexcept override { return Note("<u8 "); }
    CVXCSerialize& operator<<(signed char) noexcept override { return Note("<s8 "); }
    CVXCSerialize& operator>>(CVXCString&) noexcept override { return Note(">string "); }
    CVXCSerialize& operator>>(double&) noexcept override { return Note(">double "); }
    CVXCSerialize& operator>>(float&) noexcept override { return Note(">float "); }
    CVXCSerialize& operator>>(unsigned long long&) noexcept override { return Note(">u64 "); }
    CVXCSerialize& operator>>(long long&) noexcept override { return Note(">s64 "); }
    CVXCSerialize& operator>>(unsigned int&) noexcept override { return Note(">u32 "); }
    CVXCSerialize& operator>>(int&) noexcept override { return Note(">s32 "); }
    CVXCSerialize& operator>>(unsigned short&) noexcept override { return Note(">u16 "); }
    CVXCSerialize& operator>>(short&) noexcept override { return Note(">s16 "); }
    CVXCSerialize& operator>>(unsigned char&) noexcept override { return Note(">u8 "); }
    CVXCSerialize& operator>>(signed char&) noexcept override { return Note(">s8 "); }

    std::string calls;

private:
    CVXCSerialize& Note(const char* call) {
        calls += call;
        return *this;
    }
};

template <class Type>
concept Storable = requires(CVXCSerialize& stream, Type value) {
    stream << value;
};
template <class Type>
concept Loadable = requires(CVXCSerialize& stream, Type& value) {
    stream >> value;
};

} // namespace

TEST(SerializeTableTest, WhoHoldsTheBaseCallsTheOperatorsThatReplacedItsOwn) {
    Listening listening;
    CVXCSerialize& stream = listening;
    stream << CVXCString() << L"x" << 1.0 << 1.0f << 1ull << 1ll << 1u << 1 << static_cast<unsigned short>(1)
           << static_cast<short>(1) << static_cast<unsigned char>(1) << static_cast<signed char>(1);
    EXPECT_EQ(listening.calls, "<string <string <double <float <u64 <s64 <u32 <s32 <u16 <s16 <u8 <s8 ");
    listening.calls.clear();
    CVXCString text;
    double f64 = 0;
    float f32 = 0;
    unsigned long long u64 = 0;
    long long s64 = 0;
    unsigned int u32 = 0;
    int s32 = 0;
    unsigned short u16 = 0;
    short s16 = 0;
    unsigned char u8 = 0;
    signed char s8 = 0;
    stream >> text >> f64 >> f32 >> u64 >> s64 >> u32 >> s32 >> u16 >> s16 >> u8 >> s8;
    EXPECT_EQ(listening.calls, ">string >double >float >u64 >s64 >u32 >s32 >u16 >s16 >u8 >s8 ");
}

// A string writes its counts and its block by itself, not through the table.
TEST(SerializeTableTest, ThePrimitivesDoNotGoThroughTheTable) {
    Listening stream;
    unsigned char room[64] = {};
    stream.m_pBuffer = room;
    stream.m_dwCapacity = sizeof room;
    stream.m_nDirection = VXC_SERIALIZE_STORE;
    EXPECT_EQ(stream.Write(CVXCString(L"AB")), 1);
    EXPECT_EQ(stream.Write(1u), 1);
    EXPECT_EQ(stream.WriteBlock(room, 1), 1);
    EXPECT_EQ(stream.SetMessageSize(1), 1);
    EXPECT_EQ(stream.calls, "");
    EXPECT_EQ(stream.m_dwPosition, 16u + 5u + 7u);
}

TEST(SerializeTableTest, EachOperatorGivesTheStreamItself) {
    TestStream stream(100);
    CVXCSerialize& base = stream;
    unsigned int value = 0;
    EXPECT_EQ(&(base << 1u), &base);
    EXPECT_EQ(&(base << L"x"), &base);
    EXPECT_EQ(&(base << 1.0), &base);
    // Also where it fails.
    EXPECT_EQ(&(base >> value), &base);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_WRONG_DIRECTION);
}

TEST(SerializeTableTest, TypesWhoseWidthDependsOnTheProcessHaveNoOperators) {
    EXPECT_FALSE(Storable<long>);
    EXPECT_FALSE(Storable<unsigned long>);
    EXPECT_FALSE(Storable<wchar_t>);
    EXPECT_FALSE(Storable<char>);
    EXPECT_FALSE(Storable<bool>);
    EXPECT_FALSE(Loadable<long>);
    EXPECT_FALSE(Loadable<unsigned long>);
    EXPECT_FALSE(Loadable<wchar_t>);
    EXPECT_FALSE(Loadable<char>);
    EXPECT_FALSE(Loadable<bool>);
    EXPECT_TRUE(Storable<int>);
    EXPECT_TRUE(Loadable<long long>);
    EXPECT_TRUE(Loadable<float>);
}

// The fields lie behind the table in this order, in both widths; plug-ins in other modules rest on it.
TEST(SerializeTableTest, TheFieldsLieInTheirOrderBehindTheTable) {
    CVXCSerialize stream;
    const auto* const begin = reinterpret_cast<const char*>(&stream);
    const auto offset = [&](const void* field) { return static_cast<const char*>(field) - begin; };
    constexpr std::ptrdiff_t kPointer = sizeof(void*);
    EXPECT_TRUE(std::has_virtual_destructor_v<CVXCSerialize>);
    EXPECT_EQ(offset(&stream.m_pBuffer), kPointer);
    EXPECT_EQ(offset(&stream.m_dwCapacity), 2 * kPointer);
    EXPECT_EQ(offset(&stream.m_dwPosition), 2 * kPointer + 4);
    EXPECT_EQ(offset(&stream.m_nDirection), 2 * kPointer + 8);
    EXPECT_EQ(offset(&stream.m_nError), 2 * kPointer + 12);
    EXPECT_EQ(sizeof stream, static_cast<std::size_t>(2 * kPointer + 16));
}

TEST(SerializeTableTest, TheEndOfAStreamLeavesItsBuffer) {
    unsigned char room[5] = {1, 2, 3, 4, 5};
    {
        const std::unique_ptr<CVXCSerialize> stream(new CVXCSerialize);
        stream->m_pBuffer = room;
        stream->m_dwCapacity = sizeof room;
    }
    EXPECT_EQ(Bytes(room, room + 5), Bytes({1, 2, 3, 4, 5}));
}

TEST(SerilizeMallocTest, GivesMemoryOfTheSizeAsked) {
    unsigned char* const memory = SerilizeMalloc(1000);
    ASSERT_NE(memory, nullptr);
    std::fill_n(memory, 1000, uint8{7});
    EXPECT_EQ(memory[999], 7);
    SerilizeFree(memory);
}

TEST(SerilizeMallocTest, NothingIsAPlaceOfItsOwnToo) {
    unsigned char* const first = SerilizeMalloc(0);
    unsigned char* const second = SerilizeMalloc(0);
    EXPECT_NE(first, nullptr);
    EXPECT_NE(second, nullptr);
    EXPECT_NE(first, second);
    SerilizeFree(first);
    SerilizeFree(second);
}

TEST(SerilizeMallocTest, WhereMemoryLacksItThrowsAsTheLanguageDoes) {
    MemoryLack lack(1);
    EXPECT_THROW(SerilizeFree(SerilizeMalloc(10)), std::bad_alloc);
    EXPECT_TRUE(lack.Came());
}

TEST(SerilizeMallocTest, FreeingANullPointerDoesNothing) {
    SerilizeFree(nullptr);
}
