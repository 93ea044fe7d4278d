#include "frame/SoftDataIO.h"
#include "ftp/FtpSource.h"
#include "ftp/WriteToFtp.h"
#include "sinks/WriteFile.h"
#include "sinks/WriteFileEx1.h"
#include "sources/DataSourceArray.h"
#include "sources/PullDataSource.h"
#include "support/MemoryLack.h"

#include <gtest/gtest.h>

#include <memory>

TEST(FactoriesTest, EveryModeButFtpGivesThePullSource) {
    for (const int mode : {0, 2, 7, -1}) {
        const std::unique_ptr<CSoftDataSource> source(
            CSoftDataSource::Construct(static_cast<IOWordkMode>(mode)));
        EXPECT_NE(dynamic_cast<CPullDataSource*>(source.get()), nullptr) << mode;
    }
}

TEST(FactoriesTest, ModeFtpGivesTheFtpSource) {
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FTP));
    EXPECT_NE(dynamic_cast<CFtpSource*>(source.get()), nullptr);
}

TEST(FactoriesTest, WhereMemoryLacksThereIsNoFtpSource) {
    for (const int nth : {1, 2, 4}) { // the object, its inner object; its back buffer
        const vxcio::test::MemoryLack lack(nth);
        const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FTP));
        EXPECT_TRUE(lack.Came());
        EXPECT_EQ(source, nullptr) << nth;
    }
}

TEST(FactoriesTest, SinkFactoriesRefuseUnknownModes) {
    EXPECT_EQ(CQLSoftDataSink::Construct(static_cast<IOWordkMode>(2)), nullptr);
    EXPECT_EQ(CQLSoftDataSinkEx1::Construct(static_cast<IOWordkMode>(2)), nullptr);
}

TEST(FactoriesTest, ModeFileGivesTheFileSinksAndModeFtpTheFtpSinks) {
    const std::unique_ptr<CQLSoftDataSink> sink(CQLSoftDataSink::Construct(IOWORKMODE_FILE));
    EXPECT_NE(dynamic_cast<CWriteFile*>(sink.get()), nullptr);
    const std::unique_ptr<CQLSoftDataSinkEx1> sinkEx1(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FILE));
    EXPECT_NE(dynamic_cast<CWriteFileEx1*>(sinkEx1.get()), nullptr);
    const std::unique_ptr<CQLSoftDataSink> ftpSink(CQLSoftDataSink::Construct(IOWORKMODE_FTP));
    EXPECT_NE(dynamic_cast<CWriteToFtp*>(ftpSink.get()), nullptr);
    const std::unique_ptr<CQLSoftDataSinkEx1> ftpSinkEx1(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FTP));
    EXPECT_NE(dynamic_cast<CWriteToFtpEx1*>(ftpSinkEx1.get()), nullptr);
}

TEST(FactoriesTest, WhereMemoryLacksThereIsNoFtpSink) {
    for (const int nth : {1, 2, 4, 5}) { // the facade, its inner object; the sink, its inner object
        const vxcio::test::MemoryLack lack(nth);
        const std::unique_ptr<CQLSoftDataSink> sink(CQLSoftDataSink::Construct(IOWORKMODE_FTP));
        EXPECT_TRUE(lack.Came());
        EXPECT_EQ(sink, nullptr) << nth;
    }
    for (const int nth : {1, 2}) {
        const vxcio::test::MemoryLack lack(nth);
        const std::unique_ptr<CQLSoftDataSinkEx1> sink(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FTP));
        EXPECT_TRUE(lack.Came());
        EXPECT_EQ(sink, nullptr) << nth;
    }
}

TEST(FactoriesTest, WhereMemoryLacksThereIsNoSink) {
    for (const int nth : {1, 2, 4, 5}) { // the facade, its inner object; the sink, its inner object
        const vxcio::test::MemoryLack lack(nth);
        const std::unique_ptr<CQLSoftDataSink> sink(CQLSoftDataSink::Construct(IOWORKMODE_FILE));
        EXPECT_TRUE(lack.Came());
        EXPECT_EQ(sink, nullptr) << nth;
    }
    for (const int nth : {1, 2}) {
        const vxcio::test::MemoryLack lack(nth);
        const std::unique_ptr<CQLSoftDataSinkEx1> sink(CQLSoftDataSinkEx1::Construct(IOWORKMODE_FILE));
        EXPECT_TRUE(lack.Came());
        EXPECT_EQ(sink, nullptr) << nth;
    }
}

TEST(FactoriesTest, WhereMemoryLacksThereIsNoObject) {
    for (const int nth : {1, 2}) { // the object, its inner object
        const vxcio::test::MemoryLack lack(nth);
        const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
        EXPECT_TRUE(lack.Came());
        EXPECT_EQ(source, nullptr) << nth;
    }
}

TEST(FactoriesTest, TheArrayFactoryGivesAnEmptyArray) {
    const std::unique_ptr<CQLSoftDataSourceArray> array(ConstructDataSourceArray());
    ASSERT_NE(dynamic_cast<CDataSourceArray*>(array.get()), nullptr);
    EXPECT_EQ(array->GetFileSize(), 0);
    EXPECT_EQ(array->IsPreReadMode(), 0U);
}

TEST(FactoriesTest, WhereMemoryLacksThereIsNoArray) {
    const vxcio::test::MemoryLack lack(1);
    EXPECT_EQ(ConstructDataSourceArray(), nullptr);
    EXPECT_TRUE(lack.Came());
}
