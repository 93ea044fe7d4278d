// Which settings name a drive that is to stay local.
#include "paths/SpecialDrives.h"

#include "paths/NetPathFixture.h"

#include <gmock/gmock.h>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr uint32 kString = 1;
constexpr uint32 kNumber = 4;

class SpecialDrivesTest : public NetPathFixture {
protected:
    std::vector<std::wstring> Read(std::vector<FakeNetwork::Value> values) {
        ForgetSpecialDrives();
        network.specialDrives = std::move(values);
        ReadSpecialDrives();
        return SpecialDrives();
    }
};

} // namespace

TEST(SpecialDriveNameTest, ALetterAloneIsADrive) {
    EXPECT_EQ(SpecialDriveOf(L"d"), L"D:\\");
    EXPECT_EQ(SpecialDriveOf(L"D"), L"D:\\");
    EXPECT_EQ(SpecialDriveOf(L"1"), L"1:\\"); // what stands there is not looked at
}

TEST(SpecialDriveNameTest, ALetterAndAColonAreADrive) {
    EXPECT_EQ(SpecialDriveOf(L"e:"), L"E:\\");
}

TEST(SpecialDriveNameTest, TwoCharactersWithoutAColonAreNone) {
    EXPECT_EQ(SpecialDriveOf(L"dd"), L"");
    EXPECT_EQ(SpecialDriveOf(L"d\\"), L"");
    EXPECT_EQ(SpecialDriveOf(L":d"), L"");
}

TEST(SpecialDriveNameTest, ThreeCharactersAreADriveByTheSecondAlone) {
    EXPECT_EQ(SpecialDriveOf(L"f:\\"), L"F:\\");
    EXPECT_EQ(SpecialDriveOf(L"f:x"), L"F:X");
    EXPECT_EQ(SpecialDriveOf(L"f:/"), L"F:/");
    EXPECT_EQ(SpecialDriveOf(L"abc"), L"");
    EXPECT_EQ(SpecialDriveOf(L"f\\:"), L"");
}

TEST(SpecialDriveNameTest, OtherLengthsAreNone) {
    EXPECT_EQ(SpecialDriveOf(L""), L"");
    EXPECT_EQ(SpecialDriveOf(L"d:\\x"), L"");
    EXPECT_EQ(SpecialDriveOf(std::wstring(511, L'd')), L"");
}

TEST_F(SpecialDrivesTest, OnlyNumbersOtherThanZeroCount) {
    EXPECT_THAT(Read({{L"d", kNumber, 1}}), ElementsAre(L"D:\\"));
    EXPECT_THAT(Read({{L"d", kNumber, 0}}), IsEmpty());
    EXPECT_THAT(Read({{L"d", kString, 1}}), IsEmpty());
    EXPECT_THAT(Read({{L"d", 3, 1}, {L"e", 0, 1}, {L"f", 11, 1}, {L"g", 5, 1}}), IsEmpty());
    EXPECT_THAT(Read({{L"d", kNumber, 0xFFFFFFFF}}), ElementsAre(L"D:\\"));
    EXPECT_THAT(Read({{L"d", kNumber, 0x80000000}}), ElementsAre(L"D:\\"));
}

TEST_F(SpecialDrivesTest, OneThatIsNoneDoesNotEndTheList) {
    EXPECT_THAT(Read({{L"x", kString, 1},
                      {L"d", kNumber, 1},
                      {L"y", kNumber, 0},
                      {L"ee", kNumber, 1},
                      {L"f:", kNumber, 2},
                      {L"g:\\", kNumber, 3},
                      {L"", kNumber, 1}}),
                ElementsAre(L"D:\\", L"F:\\", L"G:\\"));
    EXPECT_THAT(network.Calls(L"specialDrive").back(), L"specialDrive 7"); // up to the end
}

TEST_F(SpecialDrivesTest, TheyStandInTheOrderOfTheSystemAndMayComeTwice) {
    EXPECT_THAT(Read({{L"z", kNumber, 1}, {L"d", kNumber, 1}, {L"Z:", kNumber, 1}}),
                ElementsAre(L"Z:\\", L"D:\\", L"Z:\\"));
}

TEST_F(SpecialDrivesTest, NewOnesAreAddedToThoseThatAreThere) {
    EXPECT_THAT(Read({{L"d", kNumber, 1}}), ElementsAre(L"D:\\"));
    network.specialDrives = {{L"e", kNumber, 1}};
    ReadSpecialDrives();
    EXPECT_THAT(SpecialDrives(), ElementsAre(L"D:\\", L"E:\\"));
}

TEST_F(SpecialDrivesTest, WithoutTheirListThereAreNone) {
    network.specialDrives.reset();
    ReadSpecialDrives();
    EXPECT_THAT(SpecialDrives(), IsEmpty());
    EXPECT_THAT(network.Calls(L"openSpecialDrives"), ElementsAre(L"openSpecialDrives"));
    EXPECT_EQ(network.Count(L"specialDrive"), 0U);
    EXPECT_EQ(network.Count(L"closeSpecialDrives"), 0U);
}

TEST_F(SpecialDrivesTest, TheListIsClosed) {
    Read({{L"d", kNumber, 1}});
    EXPECT_THAT(network.Calls(), ::testing::Contains(L"closeSpecialDrives"));
    EXPECT_EQ(network.Calls().back(), L"closeSpecialDrives");
}

TEST_F(SpecialDrivesTest, AListThatMemoryLackedForAddsNothingAndIsClosed) {
    network.specialDrives = {{L"d", kNumber, 1}, {L"e", kNumber, 1}};
    network.LackMemoryAt(L"specialDrive 1");
    EXPECT_THROW(ReadSpecialDrives(), std::bad_alloc);
    EXPECT_THAT(SpecialDrives(), IsEmpty());
    EXPECT_EQ(network.StillOpen(), 0);
    ReadSpecialDrives();
    EXPECT_THAT(SpecialDrives(), ElementsAre(L"D:\\", L"E:\\"));
}

TEST_F(SpecialDrivesTest, APathLiesOnOneWhereItBeginsWithItInAnyCase) {
    Read({{L"d", kNumber, 1}, {L"e:x", kNumber, 1}});
    EXPECT_TRUE(IsOnSpecialDrive(L"D:\\clip.mxf"));
    EXPECT_TRUE(IsOnSpecialDrive(L"d:\\clip.mxf"));
    EXPECT_TRUE(IsOnSpecialDrive(L"d:\\"));
    EXPECT_TRUE(IsOnSpecialDrive(L"e:X\\clip.mxf"));
    EXPECT_FALSE(IsOnSpecialDrive(L"d:"));
    EXPECT_FALSE(IsOnSpecialDrive(L"d:clip.mxf"));
    EXPECT_FALSE(IsOnSpecialDrive(L"e:\\clip.mxf"));
    EXPECT_FALSE(IsOnSpecialDrive(L"xd:\\clip.mxf"));
    EXPECT_FALSE(IsOnSpecialDrive(L""));
}
