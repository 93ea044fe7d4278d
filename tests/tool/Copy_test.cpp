// vxcio copy: what it makes, by every option.
#include "support/TempFolder.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <sstream>

using namespace vxcio::test;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr std::size_t kSize = 5'000'001;

std::string Bytes(std::size_t count, uint32 seed = 7) {
    const std::vector<uint8> pattern = Pattern(count, seed);
    return {pattern.begin(), pattern.end()};
}

std::string Digest(const std::string& name) {
    const std::string line = RunProgram({"md5sum", "--", name}).out;
    return line.substr(0, line.find(' '));
}

class ToolCopyTest : public testing::Test {
protected:
    TempFolder m_Folder;
    const std::string m_Clip = m_Folder.WritePattern("clip.mxf", kSize, 7);

    Outcome Copy(std::vector<std::string> words) const {
        words.insert(words.begin(), "copy");
        return RunTool(words, {.folder = m_Folder.Path().string()});
    }
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_Folder.Path())) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }
};

} // namespace

TEST_F(ToolCopyTest, ACopyIsTheFileAndItsLineIsForMd5sum) {
    const Outcome outcome = Copy({"clip.mxf", "to"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.out, Digest(m_Clip) + "  to\n");
    EXPECT_TRUE(m_Folder.Read("to") == Bytes(kSize));
    EXPECT_THAT(Names(), testing::UnorderedElementsAre("clip.mxf", "to")); // and nothing beside it
    m_Folder.Write("sums", outcome.out);
    EXPECT_EQ(RunProgram({"md5sum", "-c", "sums"}, {.folder = m_Folder.Path().string()}).out, "to: OK\n");
}

TEST_F(ToolCopyTest, EveryWayOfWritingMakesTheSameFile) {
    for (const std::size_t size : {0ul, 1ul, 4097ul, 1048576ul, 2222222ul}) {
        m_Folder.Write("from", Bytes(size));
        for (const std::vector<std::string>& way : std::vector<std::vector<std::string>>{
                 {},
                 {"--buffer", "0"},
                 {"--buffer", "1"},
                 {"--buffer", "3M", "--block", "777"},
                 {"--unbuffered"},
                 {"--unbuffered", "--buffer", "0"},
                 {"--unbuffered", "--buffer", "2M", "--block", "1000"},
                 {"--read-unbuffered"},
                 {"--pre-read", "0"},
                 {"--pre-read", "1", "--unbuffered", "--read-unbuffered", "--verify"},
                 {"--time-out", "4294967295", "--unbuffered"}}) {
            std::vector<std::string> words = {"from", "to"};
            words.insert(words.end(), way.begin(), way.end());
            const Outcome outcome = Copy(words);
            EXPECT_EQ(outcome.exitCode, 0) << outcome.error << size << testing::PrintToString(way);
            EXPECT_EQ(outcome.out, Digest(m_Folder.Name("from")) + "  to\n");
            EXPECT_TRUE(m_Folder.Read("to") == Bytes(size)) << size << testing::PrintToString(way);
        }
    }
}

TEST_F(ToolCopyTest, ATargetThatIsThereIsReplacedAndKeepsItsPermissions) {
    m_Folder.Write("to", Bytes(9'000'000, 3));
    std::filesystem::permissions(m_Folder.Name("to"), std::filesystem::perms(0640));
    EXPECT_EQ(Copy({"clip.mxf", "to"}).exitCode, 0);
    EXPECT_TRUE(m_Folder.Read("to") == Bytes(kSize));
    EXPECT_EQ(std::filesystem::status(m_Folder.Name("to")).permissions(), std::filesystem::perms(0640));
}

TEST_F(ToolCopyTest, ANewTargetGetsTheUsualPermissions) {
    const std::string command = "umask 027; exec '" + ToolName() + "' copy clip.mxf to";
    EXPECT_EQ(RunProgram({"sh", "-c", command}, {.folder = m_Folder.Path().string()}).exitCode, 0);
    EXPECT_EQ(std::filesystem::status(m_Folder.Name("to")).permissions(), std::filesystem::perms(0640));
}

TEST_F(ToolCopyTest, AppendWritesAtTheEndAndDigestsWhatItWrote) {
    for (const std::vector<std::string>& way : std::vector<std::vector<std::string>>{
             {}, {"--buffer", "0"}, {"--unbuffered"}, {"--unbuffered", "--buffer", "0"}}) {
        m_Folder.Write("to", Bytes(1'000'001, 3));
        std::vector<std::string> words = {"clip.mxf", "to", "--append", "--verify"};
        words.insert(words.end(), way.begin(), way.end());
        const Outcome outcome = Copy(words);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
        // No line that md5sum would take for the digest of the file.
        EXPECT_EQ(outcome.out, "# " + Digest(m_Clip) + "  5,000,001 bytes from byte 1,000,001 of 'to'\n");
        EXPECT_TRUE(m_Folder.Read("to") == Bytes(1'000'001, 3) + Bytes(kSize)) << testing::PrintToString(way);
    }
}

TEST_F(ToolCopyTest, AppendToNothingIsAnOrdinaryCopy) {
    EXPECT_EQ(Copy({"clip.mxf", "to", "--append"}).out, Digest(m_Clip) + "  to\n");
    m_Folder.Write("empty", "");
    EXPECT_EQ(Copy({"clip.mxf", "empty", "--append"}).out, Digest(m_Clip) + "  empty\n");
    EXPECT_TRUE(m_Folder.Read("empty") == Bytes(kSize));
}

TEST_F(ToolCopyTest, CopiesOfOneClipListsAndJoinedFilesAreRead) {
    m_Folder.Write("second", Bytes(kSize));
    m_Folder.Write("tail", "tail");
    EXPECT_EQ(Copy({"clip.mxf*second", "pair", "--unbuffered"}).out, Digest(m_Clip) + "  pair\n");
    EXPECT_EQ(Copy({"--join", "clip.mxf", "tail", "joined"}).exitCode, 0);
    EXPECT_TRUE(m_Folder.Read("joined") == Bytes(kSize) + "tail");
    m_Folder.Write("list", "tail\n# no name\nclip.mxf*second\n");
    EXPECT_EQ(Copy({"@list", "listed"}).exitCode, 0);
    EXPECT_TRUE(m_Folder.Read("listed") == "tail" + Bytes(kSize));
    // One copy that is missing costs a warning.
    const Outcome outcome = Copy({"missing*second", "one"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.error, StartsWith("vxcio: warning: copy 1 'missing' cannot be read: "));
    EXPECT_TRUE(m_Folder.Read("one") == Bytes(kSize));
}

TEST_F(ToolCopyTest, FilesWithoutASizeAreCopiedToTheirEnd) {
    EXPECT_EQ(Copy({"/proc/version", "to"}).exitCode, 0);
    EXPECT_EQ(m_Folder.Read("to"), RunProgram({"cat", "/proc/version"}).out);
}

TEST_F(ToolCopyTest, VerifyReadsBackFromTheDisk) {
    const Outcome outcome = Copy({"clip.mxf", "to", "--verify", "--json"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, HasSubstr("\"verified\":true,\"verifiedFrom\":\"disk\"}\n"));
    EXPECT_EQ(outcome.error, "");
}

TEST_F(ToolCopyTest, VerifySaysThatAFileSystemInMemoryHasNoDisk) {
    const TempFolder memory(TempFolder::Kind::Memory);
    const Outcome outcome = Copy({"clip.mxf", memory.Name("to"), "--verify"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.error, "vxcio: copy: warning: '" + memory.Name("to") +
                                 "' was read back from memory: its file system has no disk\n");
}

TEST_F(ToolCopyTest, JsonIsOneObjectALine) {
    m_Folder.Write("other", "data");
    std::filesystem::create_directory(m_Folder.Name("folder"));
    const Outcome outcome = Copy({"clip.mxf", "missing", "other", "folder", "--json"});
    EXPECT_EQ(outcome.exitCode, 1);
    std::vector<nlohmann::json> results;
    std::istringstream lines(outcome.out);
    for (std::string line; std::getline(lines, line);) {
        const nlohmann::json object = nlohmann::json::parse(line);
        if (object["event"] != "progress") {
            results.push_back(object);
        }
    }
    ASSERT_EQ(results.size(), 3u);
    EXPECT_EQ(results[0]["event"], "copied");
    EXPECT_EQ(results[0]["from"], "clip.mxf");
    EXPECT_EQ(results[0]["to"], "folder/clip.mxf");
    EXPECT_EQ(results[0]["start"], 0);
    EXPECT_EQ(results[0]["bytes"], kSize);
    EXPECT_GE(results[0]["seconds"].get<double>(), 0.0);
    EXPECT_EQ(results[0]["md5"], Digest(m_Clip));
    EXPECT_EQ(results[0]["verified"], false);
    EXPECT_EQ(results[1]["event"], "failed");
    EXPECT_EQ(results[1]["exitCode"], 1);
    EXPECT_THAT(results[1]["error"].get<std::string>(), HasSubstr("No such file or directory"));
    EXPECT_FALSE(results[1].contains("left")); // nothing was begun
    EXPECT_EQ(results[2]["md5"], Digest(m_Folder.Name("other")));
}

TEST_F(ToolCopyTest, OptionsThatMakeNoSenseAreWrongUsage) {
    for (const std::vector<std::string>& bad : {std::vector<std::string>{},
                                                {"clip.mxf"},
                                                {"clip.mxf", "to", "--block", "0"},
                                                {"clip.mxf", "to", "--block", "2G"},
                                                {"clip.mxf", "to", "--buffer", "4G"},
                                                {"clip.mxf", "to", "--pre-read", "x"},
                                                {"clip.mxf", "to", "--offset", "1"}}) {
        const Outcome outcome = Copy(bad);
        EXPECT_EQ(outcome.exitCode, 2) << testing::PrintToString(bad);
        EXPECT_THAT(outcome.error, StartsWith("vxcio: "));
    }
    EXPECT_FALSE(std::filesystem::exists(m_Folder.Name("to")));
}
