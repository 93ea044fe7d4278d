// Strings: their bytes, their checks, and counts that a peer made up. The text of units has tests of its own.
#include "bridge/SerializeTesting.h"
#include "support/MemoryLack.h"

#include <gtest/gtest.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

const Bytes kAB = {0x41, 0, 0x42, 0};
const Bytes kABOnTheStream = {0x73, 0x6C, 4, 0, 0, 0, 0x62, 0x6C, 4, 0, 0, 0, 0x41, 0, 0x42, 0};
const Bytes kEmptyOnTheStream = {0x73, 0x6C, 0, 0, 0, 0};

struct StringRead {
    int result = 0;
    std::wstring text;
    int error = 0;
    unsigned int position = 0;
};

// The target holds "old" ahead of the read.
StringRead Read(CVXCSerialize& stream) {
    CVXCString text(L"old");
    StringRead read;
    read.result = stream.Read(text);
    read.text = text.c_str();
    read.error = stream.m_nError;
    read.position = stream.m_dwPosition;
    EXPECT_EQ(static_cast<std::size_t>(text.GetLength()), read.text.size());
    return read;
}

StringRead ReadBytes(const Bytes& bytes) {
    TestStream stream(bytes);
    return Read(stream);
}

bool operator==(const StringRead& a, const StringRead& b) {
    return a.result == b.result && a.text == b.text && a.error == b.error && a.position == b.position;
}

void PrintTo(const StringRead& read, std::ostream* out) {
    *out << "{" << read.result << ", " << ::testing::PrintToString(read.text) << ", error " << read.error
         << ", position " << read.position << "}";
}

} // namespace

TEST(SerializeStringTest, AStringStandsTwiceCountedInUtf16) {
    TestStream out(17);
    EXPECT_EQ(out.Write(CVXCString(L"AB")), 1);
    EXPECT_EQ(out.Written(), kABOnTheStream);
    EXPECT_EQ(out.All().back(), kUntouched);
}

TEST(SerializeStringTest, AnEmptyStringTakesSixBytesAndReadsBackAsOne) {
    TestStream out(6);
    EXPECT_EQ(out.Write(CVXCString()), 1);
    EXPECT_EQ(out.All(), kEmptyOnTheStream);
    EXPECT_EQ(ReadBytes(out.All()), (StringRead{1, L"", 0, 6}));
}

TEST(SerializeStringTest, TheOperatorsTakeStringsAndPointersAndANullAsEmpty) {
    const wchar_t* const null = nullptr;
    TestStream out(16 + 16 + 6);
    out << CVXCString(L"AB") << L"AB" << null;
    EXPECT_EQ(out.All(), Joined({kABOnTheStream, kABOnTheStream, kEmptyOnTheStream}));
    TestStream in(out.All());
    CVXCString first;
    CVXCString second;
    CVXCString third(L"old");
    in >> first >> second >> third;
    EXPECT_STREQ(first.c_str(), L"AB");
    EXPECT_STREQ(second.c_str(), L"AB");
    EXPECT_TRUE(third.IsEmpty());
    EXPECT_EQ(in.m_nError, VXC_SERIALIZE_OK);
}

TEST(SerializeStringTest, ALongStringPasses) {
    const std::wstring text(100000, L'\u20AC');
    TestStream out(12 + 200000);
    out << text.c_str();
    EXPECT_EQ(out.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(out.m_dwPosition, 200012u);
    const StringRead read = ReadBytes(out.All());
    EXPECT_TRUE(read.text == text);
    EXPECT_EQ(read.error, VXC_SERIALIZE_OK);
}

TEST(SerializeStringTest, ACharacterBeyondSixteenBitsIsAPairOnTheStream) {
    if constexpr (sizeof(wchar_t) > 2) {
        const wchar_t text[] = {static_cast<wchar_t>(0x1F600), 0};
        TestStream out(16);
        out << text;
        EXPECT_EQ(out.All(), StringBytes(4, 4, {0x3D, 0xD8, 0x00, 0xDE}));
        EXPECT_EQ(ReadBytes(out.All()).text, text);
    }
}

TEST(SerializeStringTest, WritingNeedsRoomForTheTextAndSixBytes) {
    for (std::size_t less = 0; less < 10; ++less) {
        TestStream out(less);
        EXPECT_EQ(out.Write(CVXCString(L"AB")), 0);
        EXPECT_EQ(out.m_nError, VXC_SERIALIZE_NO_SPACE);
        EXPECT_EQ(out.m_dwPosition, 0u);
        EXPECT_TRUE(out.IsUntouched());
    }
    for (std::size_t less = 0; less < 6; ++less) {
        TestStream out(less);
        EXPECT_EQ(out.Write(CVXCString()), 0);
        EXPECT_EQ(out.m_nError, VXC_SERIALIZE_NO_SPACE);
        EXPECT_TRUE(out.IsUntouched());
    }
}

TEST(SerializeStringTest, WithRoomForItsCountAloneTheHeadStaysAndTheErrorTells) {
    for (std::size_t capacity = 10; capacity < 16; ++capacity) {
        TestStream out(capacity);
        EXPECT_EQ(out.Write(CVXCString(L"AB")), 1);
        EXPECT_EQ(out.m_nError, VXC_SERIALIZE_NO_SPACE);
        EXPECT_EQ(out.Written(), Bytes({'s', 'l', 4, 0, 0, 0}));
        EXPECT_EQ(out.All(), Joined({{'s', 'l', 4, 0, 0, 0}, Bytes(capacity - 6, kUntouched)}));
    }
    TestStream fits(16);
    EXPECT_EQ(fits.Write(CVXCString(L"AB")), 1);
    EXPECT_EQ(fits.m_nError, VXC_SERIALIZE_OK);
}

TEST(SerializeStringTest, TheChecksOfAWriteComeInTheirOrder) {
    for (const wchar_t* const text : {L"", L"AB"}) {
        TestStream loading(0);
        loading.m_nDirection = VXC_SERIALIZE_LOAD;
        loading.m_nError = VXC_SERIALIZE_WRONG_TAG;
        EXPECT_EQ(loading.Write(CVXCString(text)), 0);
        EXPECT_EQ(loading.m_nError, VXC_SERIALIZE_WRONG_DIRECTION);

        TestStream small(5);
        small.m_nError = VXC_SERIALIZE_WRONG_TAG;
        EXPECT_EQ(small.Write(CVXCString(text)), 0);
        EXPECT_EQ(small.m_nError, VXC_SERIALIZE_NO_SPACE);

        TestStream failed(16);
        failed.m_nError = VXC_SERIALIZE_WRONG_TAG;
        EXPECT_EQ(failed.Write(CVXCString(text)), 0);
        EXPECT_EQ(failed.m_nError, VXC_SERIALIZE_WRONG_TAG);
        EXPECT_TRUE(failed.IsUntouched());
    }
}

TEST(SerializeStringTest, TheChecksOfAReadComeInTheirOrderAndKeepTheTarget) {
    TestStream storing(kABOnTheStream);
    storing.m_nDirection = VXC_SERIALIZE_STORE;
    storing.m_nError = VXC_SERIALIZE_NO_SPACE;
    EXPECT_EQ(Read(storing), (StringRead{0, L"old", VXC_SERIALIZE_WRONG_DIRECTION, 0}));

    TestStream atEnd(kABOnTheStream);
    atEnd.m_dwPosition = 16;
    atEnd.m_nError = VXC_SERIALIZE_WRONG_TAG;
    EXPECT_EQ(Read(atEnd), (StringRead{0, L"old", VXC_SERIALIZE_NO_SPACE, 16}));

    TestStream failed(kABOnTheStream);
    failed.m_nError = VXC_SERIALIZE_WRONG_TAG;
    EXPECT_EQ(Read(failed), (StringRead{0, L"old", VXC_SERIALIZE_WRONG_TAG, 0}));
}

TEST(SerializeStringTest, WithoutABufferThereIsNoRoomForAString) {
    CVXCSerialize stream;
    stream.m_dwCapacity = 1000;
    EXPECT_EQ(Read(stream), (StringRead{0, L"old", VXC_SERIALIZE_NO_SPACE, 0}));
    stream.m_nDirection = VXC_SERIALIZE_STORE;
    EXPECT_EQ(stream.Write(CVXCString()), 0);
    EXPECT_EQ(stream.Write(CVXCString(L"AB")), 0);
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_NO_SPACE);
}

TEST(SerializeStringTest, AWrongTagEmptiesTheTargetAndGivesOne) {
    Bytes bytes = kABOnTheStream;
    bytes[0] = 'b';
    EXPECT_EQ(ReadBytes(bytes), (StringRead{1, L"", VXC_SERIALIZE_WRONG_TAG, 1}));
}

TEST(SerializeStringTest, AWrongTagOfTheCountEmptiesTheTargetAndGivesOne) {
    Bytes bytes = kABOnTheStream;
    bytes[1] = 'q';
    EXPECT_EQ(ReadBytes(bytes), (StringRead{1, L"", VXC_SERIALIZE_WRONG_TAG, 2}));
}

TEST(SerializeStringTest, ATagAsTheLastByteHasNoSpaceWhateverItIs) {
    EXPECT_EQ(ReadBytes({'s'}), (StringRead{1, L"", VXC_SERIALIZE_NO_SPACE, 1}));
    EXPECT_EQ(ReadBytes({'x'}), (StringRead{1, L"", VXC_SERIALIZE_NO_SPACE, 1}));
}

TEST(SerializeStringTest, ACountThatIsCutOffEmptiesTheTargetAndGivesOne) {
    for (std::size_t kept = 2; kept < 6; ++kept) {
        const Bytes bytes(kABOnTheStream.begin(), kABOnTheStream.begin() + static_cast<std::ptrdiff_t>(kept));
        EXPECT_EQ(ReadBytes(bytes), (StringRead{1, L"", VXC_SERIALIZE_NO_SPACE, 2})) << kept;
    }
}

TEST(SerializeStringTest, ATextThatIsCutOffKeepsTheTargetAndGivesNothing) {
    for (std::size_t kept = 6; kept < 15; ++kept) {
        const Bytes bytes(kABOnTheStream.begin(), kABOnTheStream.begin() + static_cast<std::ptrdiff_t>(kept));
        EXPECT_EQ(ReadBytes(bytes), (StringRead{0, L"old", VXC_SERIALIZE_NO_SPACE, 6})) << kept;
    }
}

// The check ahead of the block asks for one byte less than the block then needs.
TEST(SerializeStringTest, ATextThatLacksItsLastByteEmptiesTheTargetAndGivesOne) {
    Bytes bytes = kABOnTheStream;
    bytes.pop_back();
    EXPECT_EQ(ReadBytes(bytes), (StringRead{1, L"", VXC_SERIALIZE_NO_SPACE, 12}));
}

TEST(SerializeStringTest, CountsThatWouldWrapAroundAreRefused) {
    for (const uint32 count :
         {0xFFFFFFFFu, 0xFFFFFFFBu, 0xFFFFFFFAu, 0xFFFFFFF5u, 0xFFFFFFF0u, 0x80000000u}) {
        EXPECT_EQ(ReadBytes(StringBytes(count, 4, kAB)), (StringRead{0, L"old", VXC_SERIALIZE_NO_SPACE, 6}));
        EXPECT_EQ(ReadBytes(StringBytes(count, count, kAB)),
                  (StringRead{0, L"old", VXC_SERIALIZE_NO_SPACE, 6}));
        EXPECT_EQ(ReadBytes(StringBytes(4, count, kAB)), (StringRead{1, L"", VXC_SERIALIZE_NO_SPACE, 12}));
    }
}

TEST(SerializeStringTest, AWrongTagOfTheBlockEmptiesTheTarget) {
    Bytes bytes = kABOnTheStream;
    bytes[6] = 's';
    EXPECT_EQ(ReadBytes(bytes), (StringRead{1, L"", VXC_SERIALIZE_WRONG_TAG, 7}));
}

TEST(SerializeStringTest, AWrongTagOfTheBlocksCountEmptiesTheTarget) {
    Bytes bytes = kABOnTheStream;
    bytes[7] = 'w';
    EXPECT_EQ(ReadBytes(bytes), (StringRead{1, L"", VXC_SERIALIZE_WRONG_TAG, 8}));
}

TEST(SerializeStringTest, AnEmptyBlockIsAnEmptyTextWithoutAnError) {
    EXPECT_EQ(ReadBytes(StringBytes(4, 0, kAB)), (StringRead{1, L"", VXC_SERIALIZE_OK, 12}));
}

TEST(SerializeStringTest, OfABlockThatIsLargerThanTheCountNoMoreThanTheCountIsText) {
    const Bytes letters = {'A', 0, 'B', 0, 'C', 0, 'D', 0};
    EXPECT_EQ(ReadBytes(StringBytes(4, 8, letters)), (StringRead{1, L"AB", VXC_SERIALIZE_OK, 20}));
    EXPECT_EQ(ReadBytes(StringBytes(3, 8, letters)), (StringRead{1, L"AB", VXC_SERIALIZE_OK, 20}));
    EXPECT_EQ(ReadBytes(StringBytes(1, 8, letters)), (StringRead{1, L"A", VXC_SERIALIZE_OK, 20}));
}

TEST(SerializeStringTest, ABlockThatIsSmallerThanTheCountIsAllOfTheText) {
    // Four bytes follow, so that the count itself is within the stream.
    EXPECT_EQ(ReadBytes(StringBytes(8, 4, {'A', 0, 'B', 0, 'C', 0, 'D', 0})),
              (StringRead{1, L"AB", VXC_SERIALIZE_OK, 16}));
}

TEST(SerializeStringTest, TheLastByteOfAnOddCountIsTheLowOneOfACharacter) {
    EXPECT_EQ(ReadBytes(StringBytes(3, 3, {'A', 0, 'B'})), (StringRead{1, L"AB", VXC_SERIALIZE_OK, 15}));
    EXPECT_EQ(ReadBytes(StringBytes(1, 1, {'A'})), (StringRead{1, L"A", VXC_SERIALIZE_OK, 13}));
    EXPECT_EQ(ReadBytes(StringBytes(3, 3, {0xAC, 0x20, 0xAC})),
              (StringRead{1, L"\u20AC\u00AC", VXC_SERIALIZE_OK, 15}));
}

TEST(SerializeStringTest, TheTextEndsAtItsFirstZeroThoughAllOfItIsPassed) {
    EXPECT_EQ(ReadBytes(StringBytes(8, 8, {'A', 0, 0, 0, 'C', 0, 'D', 0})),
              (StringRead{1, L"A", VXC_SERIALIZE_OK, 20}));
    EXPECT_EQ(ReadBytes(StringBytes(4, 4, {0, 0, 'B', 0})), (StringRead{1, L"", VXC_SERIALIZE_OK, 16}));
    // A zero byte alone ends nothing.
    EXPECT_EQ(ReadBytes(StringBytes(4, 4, {0, 'A', 'A', 0})).text, L"\u4100A");
}

TEST(SerializeStringTest, WhereMemoryLacksTheTextIsEmptyAndTheErrorTells) {
    const std::wstring text(1000, L'x');
    TestStream out(2012 + 5);
    out << text.c_str() << 17u;
    for (int nth = 1; nth <= 2; ++nth) {
        TestStream in(out.All());
        CVXCString read(L"old");
        {
            MemoryLack lack(nth);
            EXPECT_EQ(in.Read(read), 0);
            EXPECT_TRUE(lack.Came());
        }
        EXPECT_TRUE(read.IsEmpty());
        EXPECT_EQ(in.m_nError, VXC_SERIALIZE_NO_SPACE);
    }
}

TEST(SerializeStringTest, APlainTextThatMemoryLacksForIsNotWrittenAsAnEmptyOne) {
    TestStream out(100);
    {
        MemoryLack lack(1);
        out << L"AB";
        EXPECT_TRUE(lack.Came());
    }
    EXPECT_EQ(out.m_nError, VXC_SERIALIZE_NO_SPACE);
    EXPECT_EQ(out.m_dwPosition, 0u);
}
