#include "bridge/Records.h"
#include "bridge/Serialize.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

CVXCSerialize StoreOn(std::vector<unsigned char>& bytes) {
    CVXCSerialize stream;
    stream.m_pBuffer = bytes.data();
    stream.m_dwCapacity = static_cast<unsigned int>(bytes.size());
    stream.m_nDirection = VXC_SERIALIZE_STORE;
    return stream;
}

} // namespace

TEST(SerializeTest, AStringStandsTwiceCountedInUtf16) {
    std::vector<unsigned char> bytes(16);
    CVXCSerialize stream = StoreOn(bytes);
    stream << L"AB";
    const std::vector<unsigned char> expected = {0x73, 0x6C, 4, 0, 0,    0, 0x62, 0x6C,
                                                 4,    0,    0, 0, 0x41, 0, 0x42, 0};
    EXPECT_EQ(stream.m_nError, VXC_SERIALIZE_OK);
    EXPECT_EQ(bytes, expected);
}
