#include "support/TempFolder.h"
#include "tool/ToolProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace vxcio::test;
using nlohmann::json;
using testing::HasSubstr;

namespace {

class ToolSettingsTest : public testing::Test {
protected:
    TempFolder m_Folder;

    Outcome Settings(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "settings");
        arguments.insert(arguments.end(), {"--settings", File()});
        return RunTool(arguments);
    }
    std::string File() const { return m_Folder.Name("softcodec.conf"); }
    // The entry of one setting in the list.
    json Listed(const std::string& name) const {
        const json all = json::parse(Settings({"list", "--json"}).out);
        for (const json& entry : all["settings"]) {
            if (entry["name"] == name) {
                return entry;
            }
        }
        return {};
    }
};

} // namespace

TEST_F(ToolSettingsTest, AValueIsSetReadAndRemoved) {
    EXPECT_EQ(Settings({"set", "HandleTimeOut", "5000"}).exitCode, 0);
    const Outcome read = Settings({"get", "HandleTimeOut"});
    EXPECT_EQ(read.exitCode, 0);
    EXPECT_EQ(read.out, "5000\n");
    EXPECT_THAT(m_Folder.Read("softcodec.conf"), HasSubstr("HandleTimeOut"));
    EXPECT_EQ(Settings({"unset", "HandleTimeOut"}).exitCode, 0);
    const Outcome gone = Settings({"get", "HandleTimeOut"});
    EXPECT_EQ(gone.exitCode, 1);
    EXPECT_EQ(gone.out, "");
    EXPECT_THAT(gone.error, HasSubstr("'HandleTimeOut' is not set"));
    EXPECT_EQ(Settings({"unset", "HandleTimeOut"}).exitCode, 1);
}

TEST_F(ToolSettingsTest, TheListKnowsEverySettingOfTheLibrary) {
    const Outcome text = Settings({"list"});
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_THAT(text.out, HasSubstr("[Software\\Norvex\\SoftCodec]"));
    for (const char* name : {"HandleTimeOut", "WriteHandleTimeOut", "EnableBitrateInfo",
                             "SetSystemFileCacheSize", "ReadBlockSize"}) {
        EXPECT_THAT(text.out, HasSubstr(name));
        const json entry = Listed(name);
        ASSERT_TRUE(entry.is_object()) << name;
        EXPECT_TRUE(entry["value"].is_null()) << name;
        EXPECT_NE(entry["meaning"], "") << name;
        EXPECT_TRUE(entry["number"].get<bool>()) << name;
    }
    ASSERT_EQ(Settings({"set", "readblocksize", "4"}).exitCode, 0);
    EXPECT_EQ(Listed("ReadBlockSize")["value"], "4");
    EXPECT_THAT(Settings({"list"}).out, HasSubstr("ReadBlockSize = 4"));
}

TEST_F(ToolSettingsTest, MapsAreReachedByTheLastPartOfTheirSection) {
    ASSERT_EQ(Settings({"set", "DriveMap\\D", "/mnt/media"}).exitCode, 0);
    EXPECT_EQ(Settings({"get", "DriveMap/D"}).out, "/mnt/media\n");
    EXPECT_EQ(Settings({"get", "Software\\Norvex\\DriveMap\\D"}).out, "/mnt/media\n");
    EXPECT_EQ(Settings({"get", "D", "--section", "Software\\Norvex\\DriveMap"}).out, "/mnt/media\n");
    EXPECT_EQ(Listed("D")["section"], "Software\\Norvex\\DriveMap");
    EXPECT_EQ(json::parse(Settings({"get", "--json", "DriveMap\\D"}).out)["value"], "/mnt/media");
}

TEST_F(ToolSettingsTest, AMappedDriveIsRead) {
    m_Folder.Write("clip.mxf", "from the drive");
    ASSERT_EQ(Settings({"set", "DriveMap\\M", m_Folder.Path().string()}).exitCode, 0);
    EXPECT_EQ(RunTool({"cat", "M:\\clip.mxf", "--settings", File()}).out, "from the drive");
}

TEST_F(ToolSettingsTest, NamesTheLibraryDoesNotKnowNeedTheirSection) {
    const Outcome refused = Settings({"set", "Foo", "1"});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_THAT(refused.error, HasSubstr("no setting of the library is named 'Foo'"));
    EXPECT_EQ(Settings({"set", "Foo", "bar", "--section", "Software\\Other"}).exitCode, 0);
    EXPECT_EQ(Settings({"get", "Software\\Other\\Foo"}).out, "bar\n");
    EXPECT_THAT(Settings({"list"}).out, HasSubstr("not known to the library"));
}

TEST_F(ToolSettingsTest, ANumberMustBeOne) {
    for (const char* bad : {"", "abc", "1K", "-1", "0x", "4294967296", "1 2"}) {
        EXPECT_EQ(Settings({"set", "HandleTimeOut", "--", bad}).exitCode, 2) << bad;
    }
    EXPECT_EQ(Settings({"set", "HandleTimeOut", "0xFFFFFFFF"}).exitCode, 0);
    EXPECT_EQ(Settings({"get", "HandleTimeOut"}).out, "0xFFFFFFFF\n");
}

TEST_F(ToolSettingsTest, ALineEndInAValueIsRefused) {
    EXPECT_EQ(Settings({"set", "DriveMap\\D", "a\nb"}).exitCode, 2);
    EXPECT_EQ(Settings({"set", "DriveMap\\a=b", "x"}).exitCode, 2);
    EXPECT_EQ(Settings({"get", "DriveMap\\D"}).exitCode, 1);
}

TEST_F(ToolSettingsTest, AFileOfGarbageIsNoObstacle) {
    const std::vector<uint8> garbage = Pattern(5000, 9);
    m_Folder.Write("softcodec.conf", std::string(garbage.begin(), garbage.end()));
    EXPECT_EQ(Settings({"list"}).exitCode, 0);
    EXPECT_EQ(Settings({"get", "HandleTimeOut"}).exitCode, 1);
    const std::string clip = m_Folder.Write("clip", "data");
    EXPECT_EQ(RunTool({"cat", clip, "--settings", File()}).out, "data");
}

TEST_F(ToolSettingsTest, AFileThatCannotBeWrittenIsTold) {
    // What should be a folder of the file is a file.
    const std::string file = m_Folder.Write("plain", "");
    const Outcome outcome =
        RunTool({"settings", "set", "HandleTimeOut", "5000", "--settings", file + "/x.conf"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, HasSubstr("cannot set 'HandleTimeOut'"));
    EXPECT_THAT(outcome.error, HasSubstr("x.conf"));
}
