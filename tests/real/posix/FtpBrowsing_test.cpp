// Listings and file management on real FTP servers.
#include "real/posix/FtpMatrix.h"

#include "frame/Status.h"
#include "ftp/ListParser.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

using namespace vxcio;
using namespace vxcio::test;
using Kind = FtpServer::Kind;

namespace {

constexpr const char* kNames[] = {"a",       "two words.mxf", "Grüße 音楽.mxf", "-d", "(7 x).mxf",
                                  ".hidden", "%s%n"};

// A name's time on the disk.
void SetTime(const FtpServer& server, const std::string& name, time_t seconds) {
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, (server.Root() + "/" + name).c_str(), times, 0), 0);
}

uint64 TimeOf(uint16 year, uint16 month, uint16 day, uint16 hour = 0, uint16 minute = 0) {
    FILETIME time = {};
    EXPECT_TRUE(FileTimeOf(year, month, day, hour, minute, 0, time));
    return uint64{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

constexpr time_t kSpring2019 = 1551787200; // 2019-03-05 12:00

} // namespace

class FtpBrowsingTest : public FtpMatrixTest {};

TEST_P(FtpBrowsingTest, ListsFilesAndFoldersWithSizesAndTimes) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("listed/empty", "");
    server.Write("listed/one", "1");
    server.WritePattern("listed/odd.mxf", 65'537, 3);
    server.Write("listed/large", "");
    std::filesystem::resize_file(server.Root() + "/listed/large", (5ull << 30) + 7);
    server.MakeFolder("listed/folder");
    std::filesystem::create_symlink("one", server.Root() + "/listed/link");
    for (const char* name : {"empty", "one", "odd.mxf", "large", "folder"}) {
        SetTime(server, std::string("listed/") + name, kSpring2019);
    }
    const FtpSession session = SessionOf(server);
    ASSERT_EQ(session->SetFindPath(server.WidePath("listed").c_str()), 1);
    Listing listing = Entries(*session);
    // What size a folder has is the disk's business.
    ASSERT_EQ(listing.count(L"folder"), 1u);
    EXPECT_EQ(listing[L"folder"].attributes, FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(listing[L"folder"].time, TimeOf(2019, 3, 5));
    listing.erase(L"folder");
    const uint64 time = TimeOf(2019, 3, 5);
    // Sizes have 32 bits, and links are no entries; but this Pure-FTPd shows what they lead to.
    Listing wanted = {{L"empty", {FILE_ATTRIBUTE_NORMAL, 0, time}},
                      {L"one", {FILE_ATTRIBUTE_NORMAL, 1, time}},
                      {L"odd.mxf", {FILE_ATTRIBUTE_NORMAL, 65'537, time}},
                      {L"large", {FILE_ATTRIBUTE_NORMAL, (1u << 30) + 7, time}}};
    if (GetParam() == Kind::PureFtpd) {
        wanted[L"link"] = wanted[L"one"];
    }
    EXPECT_EQ(listing, wanted);
}

TEST_P(FtpBrowsingTest, ListsByActiveTransfersToo) {
    VXC_NEEDS_ACTIVE_FTP();
    const FtpServer server(GetParam(), {.address = AddressForActive()});
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("clip", "good morning");
    server.MakeFolder("folder");
    const FtpSource session = SourceOf(server);
    ASSERT_EQ(session->SetFindPath(server.WidePath("").c_str()), 1);
    Listing listing = Entries(*session);
    EXPECT_EQ(listing.size(), 2u);
    EXPECT_EQ(listing[L"clip"].size, 12u);
    EXPECT_EQ(listing[L"folder"].attributes, FILE_ATTRIBUTE_DIRECTORY);
}

TEST_P(FtpBrowsingTest, AFreshFileIsListedWithTheMinuteOfThisYear) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    server.Write("fresh", "1");
    struct stat now = {};
    ASSERT_EQ(::stat((server.Root() + "/fresh").c_str(), &now), 0);
    const FtpSession session = SessionOf(server);
    ASSERT_EQ(session->SetFindPath(server.WidePath("").c_str()), 1);
    const uint64 minutes = static_cast<uint64>(now.st_mtim.tv_sec / 60);
    EXPECT_EQ(Entries(*session)[L"fresh"].time, TimeOf(1970, 1, 1) + minutes * 600'000'000);
}

TEST_P(FtpBrowsingTest, AnEmptyFolderHasNoEntriesAndAMissingOneIsRefused) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    const FtpSession session = SessionOf(server);
    EXPECT_EQ(session->SetFindPath(server.WidePath("missing").c_str()), 0);
    ASSERT_EQ(session->SetFindPath(server.WidePath("").c_str()), 1);
    EXPECT_EQ(Entries(*session), Listing());
}

TEST_P(FtpBrowsingTest, ALongListingComesWhole) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    // More than one filling of the buffer, and lines across its edge.
    constexpr int kFiles = 2000;
    const std::string tail(40, 'x');
    for (int i = 0; i < kFiles; ++i) {
        std::ofstream(server.Root() + "/" + std::to_string(10'000 + i) + tail);
        server.Own(std::to_string(10'000 + i) + tail);
    }
    const FtpSession session = SessionOf(server);
    ASSERT_EQ(session->SetFindPath(server.WidePath("").c_str()), 1);
    const Listing listing = Entries(*session);
    ASSERT_EQ(listing.size(), static_cast<std::size_t>(kFiles));
    EXPECT_EQ(listing.begin()->first, L"10000" + std::wstring(40, L'x'));
    EXPECT_EQ(listing.rbegin()->first, L"11999" + std::wstring(40, L'x'));
}

TEST_P(FtpBrowsingTest, NamesOfAllKindsAreListedFoundRenamedAndDeleted) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    for (const char* name : kNames) {
        server.Write(name, name);
    }
    {
        const FtpSession session = SessionOf(server);
        ASSERT_EQ(session->SetFindPath(server.WidePath("").c_str()), 1);
        Listing listing = Entries(*session);
        for (const char* name : kNames) {
            // Whether hidden files are listed is the server's choice.
            if (name[0] != '.') {
                EXPECT_EQ(listing.count(server.WidePath(name).substr(7)), 1u) << name;
            }
        }
    }
    const FtpSession session =
        SessionOf(server); // the closing reply of the listing is unread in the other one
    for (const char* name : kNames) {
        const std::wstring path = server.WidePath(name);
        EXPECT_EQ(session->IsFileExist(path.c_str()), 1) << name;
        EXPECT_EQ(server.Read(name), name);
        EXPECT_EQ(session->RenameFile(path.c_str(), server.WidePath("renamed").c_str()), 1) << name;
        EXPECT_EQ(session->IsFileExist(path.c_str()), 0) << name;
        EXPECT_EQ(session->RenameFile(server.WidePath("renamed").c_str(), path.c_str()), 1) << name;
        EXPECT_EQ(server.Read(name), name);
        EXPECT_EQ(session->DeleteFile1(path.c_str()), 1) << name;
        EXPECT_FALSE(server.Has(name)) << name;
        EXPECT_EQ(session->DeleteFile1(path.c_str()), 0) << name;
    }
}

TEST_P(FtpBrowsingTest, FoldersAreMadeRenamedAndRemoved) {
    const FtpServer server(GetParam());
    VXC_NEEDS_FTP_SERVER(server);
    const FtpSession session = SessionOf(server);
    const std::wstring folder = server.WidePath("Ordner für Töne");
    EXPECT_EQ(session->MakeFolder(folder.c_str()), 1);
    EXPECT_TRUE(std::filesystem::is_directory(server.Root() + "/Ordner für Töne"));
    EXPECT_EQ(session->MakeFolder(folder.c_str()), 0);
    EXPECT_EQ(session->IsFileExist(folder.c_str()), 1);
    EXPECT_EQ(session->RenameFile(folder.c_str(), server.WidePath("b").c_str()), 1);
    server.Write("b/inside", "x");
    EXPECT_EQ(session->DeleteFolder(server.WidePath("b").c_str()), 0);
    EXPECT_EQ(session->DeleteFile1(server.WidePath("b/inside").c_str()), 1);
    EXPECT_EQ(session->DeleteFolder(server.WidePath("b").c_str()), 1);
    EXPECT_FALSE(server.Has("b"));
    EXPECT_EQ(session->DeleteFolder(server.WidePath("b").c_str()), 0);
}

VXC_FOR_EACH_FTP_SERVER(FtpBrowsingTest);
