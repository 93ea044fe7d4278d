// Streams that end where memory ends: a step over the end, or a write to what may only be read, ends the
// process.
#include "bridge/SerializeTesting.h"

#include <gtest/gtest.h>

#include <cstring>

#include <sys/mman.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;

namespace {

// Pages with one behind that nobody may touch.
class Pages {
public:
    explicit Pages(std::size_t size)
        : m_page(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
          m_size((size + m_page - 1) / m_page * m_page) {
        void* const memory =
            mmap(nullptr, m_size + m_page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (memory != MAP_FAILED) {
            m_memory = static_cast<uint8*>(memory);
            Protect(PROT_READ | PROT_WRITE);
        }
    }
    ~Pages() {
        if (m_memory != nullptr) {
            munmap(m_memory, m_size + m_page);
        }
    }
    Pages(const Pages&) = delete;
    Pages& operator=(const Pages&) = delete;

    bool IsThere() const { return m_memory != nullptr; }
    uint8* End() const { return m_memory + m_size; }
    void Protect(int access) { ASSERT_EQ(mprotect(m_memory, m_size, access), 0); }

private:
    const std::size_t m_page;
    const std::size_t m_size;
    uint8* m_memory = nullptr;
};

class SerializePagesTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(pages.IsThere()); }

    // A stream on the last bytes ahead of the end.
    CVXCSerialize Last(std::size_t size, int direction) {
        CVXCSerialize stream;
        stream.m_pBuffer = pages.End() - size;
        stream.m_dwCapacity = static_cast<unsigned int>(size);
        stream.m_nDirection = direction;
        return stream;
    }

    Pages pages{4096};
};

// Every operation once, each on a fresh cursor.
template <class Operation>
void WithCopy(const CVXCSerialize& stream, Operation operation) {
    CVXCSerialize copy = stream;
    operation(copy);
    EXPECT_LE(copy.m_dwPosition, copy.m_dwCapacity);
}

void ReadEverything(const CVXCSerialize& stream) {
    WithCopy(stream, [](CVXCSerialize& in) {
        unsigned char value = 0;
        in >> value;
    });
    WithCopy(stream, [](CVXCSerialize& in) {
        unsigned short value = 0;
        in >> value;
    });
    WithCopy(stream, [](CVXCSerialize& in) {
        unsigned int value = 0;
        in >> value;
    });
    WithCopy(stream, [](CVXCSerialize& in) {
        unsigned long long value = 0;
        in >> value;
    });
    WithCopy(stream, [](CVXCSerialize& in) {
        float value = 0;
        in >> value;
    });
    WithCopy(stream, [](CVXCSerialize& in) {
        double value = 0;
        in >> value;
    });
    WithCopy(stream, [](CVXCSerialize& in) {
        CVXCString value;
        in >> value;
    });
    WithCopy(stream, [](CVXCSerialize& in) {
        uint8 room[64];
        unsigned char* data = room;
        unsigned int count = 0;
        in.ReadBlock(data, count, 1);
    });
}

} // namespace

TEST_F(SerializePagesTest, WritesEndWithTheBuffer) {
    const uint8 data[20] = {};
    for (std::size_t size = 0; size < 40; ++size) {
        const CVXCSerialize stream = Last(size, VXC_SERIALIZE_STORE);
        WithCopy(stream, [](CVXCSerialize& out) { out << static_cast<unsigned char>(1); });
        WithCopy(stream, [](CVXCSerialize& out) { out << static_cast<unsigned short>(1); });
        WithCopy(stream, [](CVXCSerialize& out) { out << 1u; });
        WithCopy(stream, [](CVXCSerialize& out) { out << 1ull; });
        WithCopy(stream, [](CVXCSerialize& out) { out << 1.0f; });
        WithCopy(stream, [](CVXCSerialize& out) { out << 1.0; });
        WithCopy(stream, [](CVXCSerialize& out) { out << L"text"; });
        WithCopy(stream, [&](CVXCSerialize& out) { out.WriteBlock(data, sizeof data); });
        WithCopy(stream, [](CVXCSerialize& out) { out.SetMessageSize(1); });
    }
}

TEST_F(SerializePagesTest, ReadsOfAnyCountEndWithTheBufferAndWriteNothing) {
    const uint32 counts[] = {1, 2, 3, 8, 20, 0x7FFFFFFF, 0x80000000, 0xFFFFFFF0, 0xFFFFFFFA, 0xFFFFFFFF};
    for (const uint32 outer : counts) {
        for (const uint32 inner : counts) {
            const Bytes whole = StringBytes(outer, inner, Bytes(20, 'x'));
            for (std::size_t size = 1; size <= whole.size(); ++size) {
                pages.Protect(PROT_READ | PROT_WRITE);
                std::memcpy(pages.End() - size, whole.data(), size);
                pages.Protect(PROT_READ);
                ReadEverything(Last(size, VXC_SERIALIZE_LOAD));
                // The block within the string.
                if (size > 6) {
                    CVXCSerialize block = Last(size - 6, VXC_SERIALIZE_LOAD);
                    ReadEverything(block);
                }
            }
        }
    }
}

TEST_F(SerializePagesTest, ReadingEachKindTouchesNothingBehindTheEnd) {
    for (const char tag : {'c', 'w', 'l', 'q', 'f', 'd', 'b', 's', 'x'}) {
        for (std::size_t size = 0; size < 24; ++size) {
            pages.Protect(PROT_READ | PROT_WRITE);
            std::memset(pages.End() - size, tag, size);
            pages.Protect(PROT_READ);
            ReadEverything(Last(size, VXC_SERIALIZE_LOAD));
        }
    }
}

// A string for which no process of 32 bits has memory twice over; its zeros take no memory here.
TEST(SerializeLargePagesTest, AStringOfAGigabyteThatEndsAtOnceIsRead) {
    constexpr uint32 kText = 0x40000000;
    Pages pages(kText + 12);
    ASSERT_TRUE(pages.IsThere());
    CVXCSerialize in;
    in.m_dwCapacity = kText + 12;
    in.m_pBuffer = pages.End() - in.m_dwCapacity;
    const Bytes head = StringBytes(kText, kText, {});
    std::memcpy(in.m_pBuffer, head.data(), head.size());
    CVXCString text(L"old");
    EXPECT_EQ(in.Read(text), 1);
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_EQ(in.m_dwPosition, in.m_dwCapacity);
    EXPECT_EQ(in.m_nError, VXC_SERIALIZE_OK);
}
