// The places of the virtual operators in the table. A plug-in that was compiled elsewhere calls by place.
#include "bridge/Serialize.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Stream = CVXCSerialize;
template <class Value>
using Operator = Stream& (Stream::*)(Value) noexcept;

// A pointer to a virtual member is one more than its offset in the table, with the adjustment of `this`
// behind it (Itanium C++ ABI, as on x86).
template <class Value>
std::ptrdiff_t PlaceOf(Operator<Value> member) {
    std::ptrdiff_t words[2] = {};
    static_assert(sizeof words == sizeof member);
    std::memcpy(words, &member, sizeof words);
    EXPECT_EQ(words[0] % 2, 1) << "not virtual";
    EXPECT_EQ(words[1], 0);
    return (words[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

template <class Value>
std::ptrdiff_t Store() {
    return PlaceOf<Value>(&Stream::operator<<);
}

template <class Value>
std::ptrdiff_t Load() {
    return PlaceOf<Value&>(&Stream::operator>>);
}

} // namespace

TEST(SerializeTableTest, TheOperatorsStandInTheirOrderBehindTheDestructor) {
    const std::vector<std::ptrdiff_t> places = {Store<const CVXCString&>(),
                                                Store<const double&>(),
                                                Store<const float&>(),
                                                Store<unsigned long long>(),
                                                Store<long long>(),
                                                Store<unsigned int>(),
                                                Store<int>(),
                                                Store<unsigned short>(),
                                                Store<short>(),
                                                Store<unsigned char>(),
                                                Store<signed char>(),
                                                Load<CVXCString>(),
                                                Load<double>(),
                                                Load<float>(),
                                                Load<unsigned long long>(),
                                                Load<long long>(),
                                                Load<unsigned int>(),
                                                Load<int>(),
                                                Load<unsigned short>(),
                                                Load<short>(),
                                                Load<unsigned char>(),
                                                Load<signed char>()};
    ASSERT_EQ(places.size(), 22u);
    // The destructor has two entries, one of them for delete.
    for (std::size_t i = 0; i < places.size(); ++i) {
        EXPECT_EQ(places[i], static_cast<std::ptrdiff_t>(i + 2)) << i;
    }
}
