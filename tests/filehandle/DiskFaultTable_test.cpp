// Marks stay for the life of the process, so each test here has letters of its own, from J to P.
#include "filehandle/DiskFaultTable.h"

#include "support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

using namespace vxcio;
using namespace vxcio::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(DiskFaultTableTest, EveryLetterIsHealthyAtFirst) {
    LogCapture log;
    EXPECT_EQ(GetDiskStatus(L'J'), 1);
    EXPECT_EQ(GetDiskStatus(L'j'), 1);
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(DiskFaultTableTest, AMarkedLetterIsFaultyInBothCases) {
    EXPECT_EQ(SetDiskError(L'k'), 1);
    EXPECT_EQ(GetDiskStatus(L'K'), 0);
    EXPECT_EQ(GetDiskStatus(L'k'), 0);
    EXPECT_EQ(SetDiskError(L'L'), 1);
    EXPECT_EQ(GetDiskStatus(L'l'), 0);
    EXPECT_EQ(GetDiskStatus(L'J'), 1) << "a neighbour";
}

TEST(DiskFaultTableTest, AMarkStays) {
    EXPECT_EQ(SetDiskError(L'M'), 1);
    EXPECT_EQ(SetDiskError(L'M'), 1);
    EXPECT_EQ(GetDiskStatus(L'M'), 0);
    EXPECT_EQ(GetDiskStatus(L'M'), 0);
}

TEST(DiskFaultTableTest, MarkingAndFindingAMarkAreTraced) {
    LogCapture log;
    SetDiskError(L'n');
    GetDiskStatus(L'N');
    GetDiskStatus(L'n');
    EXPECT_THAT(log.Texts(),
                ElementsAre(L"SetDiskError(n)", L"GetDiskError(N: Error) \n", L"GetDiskError(n: Error) \n"));
    for (const LogLine& line : log.Lines()) {
        EXPECT_EQ(line.level, INFOTYPE_TRACE);
        EXPECT_EQ(line.module, L"VXCSoftCodecIO");
    }
}

TEST(DiskFaultTableTest, WhatIsNoLetterIsAlwaysHealthyAndNeverLogged) {
    LogCapture log;
    // Neighbours of the letters, a Kelvin sign, letters of other alphabets, characters that look negative.
    for (const unsigned long value :
         {0ul, 0x5Cul, 0x2Ful, 0x30ul, 0x39ul, 0x40ul, 0x5Bul, 0x60ul, 0x7Bul, 0x212Aul, 0xE4ul, 0x416ul,
          0xFF21ul, 0x10041ul, 0x80000041ul, 0xFFFFFFFFul}) {
        const auto character = static_cast<wchar_t>(value);
        EXPECT_EQ(SetDiskError(character), 1) << value;
        EXPECT_EQ(GetDiskStatus(character), 1) << value;
    }
    EXPECT_EQ(GetDiskStatus(L'J'), 1);
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(DiskFaultTableTest, ThreadsMayMarkAndAskAtOnce) {
    std::thread marker([] {
        for (int i = 0; i < 1000; ++i) {
            SetDiskError(L'O');
        }
    });
    bool healthyAgain = false;
    bool faulty = false;
    for (int i = 0; i < 1000; ++i) {
        const bool now = GetDiskStatus(L'o') == 0;
        healthyAgain = healthyAgain || (faulty && !now);
        faulty = now;
    }
    marker.join();
    EXPECT_FALSE(healthyAgain);
    EXPECT_EQ(GetDiskStatus(L'O'), 0);
}
