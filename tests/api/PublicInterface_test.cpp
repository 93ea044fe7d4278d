// The library as a host uses it: the shared libraries and the public headers alone.
#include "module/VXCSoftCodecIO.h"

#include "api/LibrarySymbols.h"
#include "support/TempFolder.h"
#include "sysu/HostControl.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

using namespace vxcio::test;

namespace {

constexpr uint32 kSize = 100'000;

std::string HexDigest(CSoftDataSource& source) {
    uint8* digest = nullptr;
    int length = 0;
    source.GetMD5_check(1, digest, length);
    std::string text;
    for (int i = 0; i < length; ++i) {
        char hex[3];
        std::snprintf(hex, sizeof hex, "%02x", digest[i]);
        text += hex;
    }
    delete[] digest;
    return text;
}

// The name belongs to a public class or function of the list.
bool IsPublic(const std::string& symbol, const std::vector<std::string>& names) {
    std::string plain = symbol;
    for (const char* prefix : {"vtable for ", "typeinfo for ", "typeinfo name for "}) {
        if (plain.rfind(prefix, 0) == 0) {
            plain.erase(0, std::strlen(prefix));
        }
    }
    // Templates, which are there where nothing is inlined, have their return type in front.
    const std::size_t mark = plain.find_first_of("<(");
    if (const std::size_t blank = plain.find(' ');
        blank < mark && mark != std::string::npos && plain[mark] == '<') {
        plain.erase(0, blank + 1);
    }
    for (const std::string& name : names) {
        const char behind = plain.size() > name.size() ? plain[name.size()] : '(';
        if (plain.rfind(name, 0) == 0 && (behind == '(' || behind == ':')) {
            return true;
        }
    }
    return false;
}

} // namespace

TEST(PublicInterfaceTest, ReadsAFileWithItsDigest) {
    const TempFolder folder;
    const std::string name = folder.WritePattern("clip", kSize, 1);
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    ASSERT_NE(source, nullptr);
    for (const uint32 flags : {uint32{0}, VXC_FILE_FLAG_NO_BUFFERING}) {
        ASSERT_EQ(source->OpenFile(folder.Wide("clip").c_str(), flags, nullptr, 0), VXC_STATUS_OK);
        source->EnableMD5_Check(1);
        source->BeginMD5_Check(1);
        const std::vector<uint8> content = Pattern(kSize, 1);
        std::vector<uint8> buffer(7001);
        uint64 position = 0;
        for (int got = 0; (got = source->Read(buffer.data(), 7001)) > 0;) {
            ASSERT_EQ(std::memcmp(buffer.data(), content.data() + position, static_cast<std::size_t>(got)),
                      0);
            position += static_cast<uint64>(got);
        }
        EXPECT_EQ(position, kSize);
        EXPECT_EQ(HexDigest(*source), Output("md5sum < '" + name + "'").substr(0, 32));
        EXPECT_EQ(source->CloseFile(), VXC_STATUS_OK);
    }
}

TEST(PublicInterfaceTest, PositionsBeyondFourGibibytesAreRead) {
    const TempFolder folder;
    const std::string name = folder.Write("sparse", "");
    const uint64 size = (uint64{4} << 30) + 5;
    std::FILE* const file = std::fopen(name.c_str(), "r+b");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(fseeko(file, static_cast<off_t>(size - 5), SEEK_SET), 0);
    ASSERT_EQ(std::fwrite("hello", 1, 5, file), 5U);
    ASSERT_EQ(std::fclose(file), 0);
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    for (const uint32 flags : {uint32{0}, VXC_FILE_FLAG_NO_BUFFERING}) {
        ASSERT_EQ(source->OpenFile(folder.Wide("sparse").c_str(), flags, nullptr, 0), VXC_STATUS_OK);
        EXPECT_EQ(source->GetFileSize(), size);
        char text[16] = {};
        EXPECT_EQ(source->Seek(static_cast<int64>(size - 5), 1), static_cast<int64>(size - 5));
        EXPECT_EQ(source->Read(reinterpret_cast<uint8*>(text), 10), 5);
        EXPECT_STREQ(text, "hello");
        EXPECT_EQ(source->Seek(-7, 2), static_cast<int64>(size - 7));
        char back[16] = {};
        EXPECT_EQ(source->Read(reinterpret_cast<uint8*>(back), 4), 4);
        EXPECT_EQ(std::memcmp(back, "\0\0he", 4), 0);
        source->CloseFile();
    }
}

TEST(PublicInterfaceTest, OddNamesEndInAStatus) {
    const TempFolder folder;
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    const auto open = [&](const wchar_t* name) { return source->OpenFile(name, 0, nullptr, 0); };
    EXPECT_EQ(open(nullptr), VXC_STATUS_NOT_AVAILABLE);
    EXPECT_EQ(open(L""), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(open(folder.Wide("missing").c_str()), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(open(folder.Path().wstring().c_str()), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(open(std::wstring(100'000, L'n').c_str()), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(open(L"Q:\\not\\mapped.mxf"), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(open(L"\\\\no.such.server\\share\\clip.mxf"), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(open(L"clip00000000DEADBEE1VXCIO8"), VXC_STATUS_OPEN_READ);
    EXPECT_EQ(source->CloseFile(), VXC_STATUS_OK);
}

TEST(PublicInterfaceTest, ProbesAnswerForTheDiskOfAFile) {
    const TempFolder disk;
    disk.Write("clip", "x");
    EXPECT_EQ(GetDiskDriveType(disk.Wide("clip").c_str()), VXC_DRIVE_FIXED);
    const uint32 sector = GetDiskSectorSize(disk.Wide("clip").c_str());
    EXPECT_TRUE(sector == 512 || sector == 4096) << sector;
    const TempFolder memory(TempFolder::Kind::Memory);
    EXPECT_EQ(GetDiskDriveType(memory.Wide("clip").c_str()), VXC_DRIVE_RAMDISK);
    EXPECT_EQ(GetDiskSectorSize(L"\\\\server\\share\\clip.mxf"), 512U);
}

TEST(PublicInterfaceTest, LibraryTellsItsRecord) {
    const QLLibInfo* const info = QLGetLibInfo();
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info, QLGetLibInfo());
    EXPECT_STREQ(info->LibVersion, "3.0.18.0");
    EXPECT_EQ(IsRunNT4OS(), 0);
}

TEST(PublicInterfaceTest, ExtraProcessDigestsASource) {
    const TempFolder folder;
    const std::string name = folder.WritePattern("clip", kSize, 2);
    const std::unique_ptr<CSoftDataSource> source(CSoftDataSource::Construct(IOWORKMODE_FILE));
    ASSERT_EQ(source->OpenFile(folder.Wide("clip").c_str(), 0, nullptr, 0), VXC_STATUS_OK);
    const std::unique_ptr<CQLDataExtraProcess> extra(Construct_ExtraProcess());
    ASSERT_EQ(extra->Enable(VXC_EXTRA_MD5), 0);
    ASSERT_EQ(extra->SetFileIO(source.get()), 0);
    std::vector<uint8> buffer(kSize);
    EXPECT_EQ(source->Read(buffer.data(), kSize), static_cast<int>(kSize));
    uint8* digest = nullptr;
    int length = 0;
    EXPECT_EQ(extra->GetResult(VXC_EXTRA_MD5, digest, length), 0);
    ASSERT_EQ(length, 16);
    char hex[33] = {};
    for (int i = 0; i < 16; ++i) {
        std::snprintf(hex + 2 * i, 3, "%02x", digest[i]);
    }
    delete[] digest;
    EXPECT_EQ(hex, Output("md5sum < '" + name + "'").substr(0, 32));
    EXPECT_EQ(extra->Disable(VXC_EXTRA_MD5), 0);
}

TEST(PublicInterfaceTest, OnlyPublicNamesLeaveTheLibraries) {
    const std::vector<std::string> io = {"CSoftDataIO",
                                         "CSoftDataSource",
                                         "CQLSoftDataSink",
                                         "CQLSoftDataSinkEx1",
                                         "CVXCString",
                                         "CQLDataExtraProcess",
                                         "ADDVXCIOID",
                                         "DELVXCIOID",
                                         "DELVXCIOID_1",
                                         "SetDiskError",
                                         "GetDiskStatus",
                                         "GetDiskSectorSize",
                                         "GetDiskDriveType",
                                         "Construct_ExtraProcess",
                                         "QLGetLibInfo",
                                         "IsRunNT4OS",
                                         "operator+",
                                         "vxcio::KnownSettings",
                                         "SMoreFileToOpenEx",
                                         "CVXCStringArray",
                                         "CQLSoftDataSourceArray",
                                         "ConstructDataSourceArray",
                                         "CPullDataSourceArray",
                                         "CSoftStreamBuffer",
                                         "CSoftEsBuffer",
                                         "CBitsStream",
                                         "CVXCSerialize",
                                         "SerilizeMalloc",
                                         "SerilizeFree",
                                         "operator<<",
                                         "operator>>",
                                         "CVXCInteracter",
                                         "ObtainSysSender",
                                         "ConstructVXCInteratcter",
                                         "DeleteVXCInteratcter",
                                         "CreateVXCInteractorID",
                                         "ParseVXCInteractorID",
                                         "CreateVXC32ServProcess",
                                         "DestoryVXC32ServProcess",
                                         "RemoteLoadVXC32Plug",
                                         "RemoteFreeVXC32Plug",
                                         "RemoteCall_In",
                                         "RemoteCall_Out",
                                         "vxcio::UsableSpaces",
                                         "vxcio::HasPeer",
                                         "QLFileCopy",
                                         "CQLRHttpFile",
                                         "ConvertUNC2LocalPathName",
                                         "vxcio::ApplyMediumPathRules",
                                         "vxcio::AskOwnNames",
                                         "vxcio::UNC2Local",
                                         "vxcio::Local2UNC",
                                         "vxcio::VisitNetPaths",
                                         "vxcio::VisitSpecialDrives",
                                         "vxcio::StretchHead"};
    for (const std::string& name : DefinedSymbols("libVXCSoftCodecIO.so")) {
        EXPECT_TRUE(IsPublic(name, io)) << name;
    }
    for (const std::string& name : DefinedSymbols("libVXCSoftCodecSysU.so")) {
        EXPECT_TRUE(name.rfind("VXC", 0) == 0 || name.rfind("vxcio::", 0) == 0) << name;
    }
}

TEST(PublicInterfaceTest, LibrariesCarryVersionedNames) {
    for (const std::string library : {"libVXCSoftCodecIO.so", "libVXCSoftCodecSysU.so"}) {
        const std::string header = Output("readelf -d '" VXC_TEST_LIBRARY_DIR "/" + library + "'");
        EXPECT_NE(header.find("soname: [" + library + ".3]"), std::string::npos) << header;
    }
}
