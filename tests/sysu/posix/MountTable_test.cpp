#include "sysu/posix/MountTable.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace vxcio;
using namespace vxcio::sysu;

namespace {

constexpr const char* kTable =
    "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
    "27 1 254:3 / / rw,relatime shared:1 master:2 - ext4 /dev/vda3 rw\n"
    "a line that is none\n"
    "40 27 0:44 / /mnt/with\\040blank\\134slash rw - cifs //Server/Share\\040Two rw\n"
    "41 27 0:45 / /mnt/deep rw - cifs //server/share/clips/new rw\n"
    "42 27 0:46 /sub /mnt/bind rw - smb3 //server/other rw\n"
    "43 27 0:47 / /mnt/nfs rw - nfs4 filer:/export/media rw\n"
    "44 27 0:48 / /mnt/six rw - nfs [fe80::1]:/media rw\n"
    "45 27 0:49 / /mnt/below rw - cifs //server/share rw\n"
    "46 27 0:50 / /mnt/above rw - cifs //server/share rw\n"
    "47 27 0:51 / /mnt/root rw - nfs tower:/ rw\n"
    "x 27 0:50 / /mnt/no rw - ext4 /dev/vdb rw\n"
    "48 27 0:50 / /mnt/short rw";

using Parts = std::vector<std::string>;

std::string PointOf(const Parts& parts, std::size_t usedWanted) {
    const std::vector<Mount> mounts = ParseMountTable(kTable);
    std::size_t used = 99;
    const Mount* const mount = FindShareMount(mounts, parts, used);
    EXPECT_EQ(used, usedWanted);
    return mount == nullptr ? "none" : mount->point;
}

} // namespace

TEST(MountTableTest, ReadsTheSystemsLinesAndLeavesOutOthers) {
    const std::vector<Mount> mounts = ParseMountTable(kTable);
    ASSERT_EQ(mounts.size(), 10u);
    EXPECT_EQ(mounts[1].id, 27u);
    EXPECT_EQ(mounts[1].major, 254u);
    EXPECT_EQ(mounts[1].minor, 3u);
    EXPECT_EQ(mounts[1].root, "/");
    EXPECT_EQ(mounts[1].point, "/");
    EXPECT_EQ(mounts[1].fileSystem, "ext4");
    EXPECT_EQ(mounts[1].source, "/dev/vda3");
    EXPECT_EQ(mounts[2].point, "/mnt/with blank\\slash");
    EXPECT_EQ(mounts[2].source, "//Server/Share Two");
    EXPECT_TRUE(ParseMountTable("").empty());
    EXPECT_TRUE(ParseMountTable("\n\n - \n1 2 3\n").empty());
}

TEST(MountTableTest, RemoteFoldersComeInParts) {
    const std::vector<Mount> mounts = ParseMountTable(kTable);
    EXPECT_EQ(RemoteParts(mounts[1]), Parts{});
    EXPECT_EQ(RemoteParts(mounts[2]), (Parts{"Server", "Share Two"}));
    EXPECT_EQ(RemoteParts(mounts[3]), (Parts{"server", "share", "clips", "new"}));
    EXPECT_EQ(RemoteParts(mounts[4]), (Parts{"server", "other", "sub"}));
    EXPECT_EQ(RemoteParts(mounts[5]), (Parts{"filer", "export", "media"}));
    EXPECT_EQ(RemoteParts(mounts[6]), (Parts{"[fe80::1]", "media"}));
    EXPECT_EQ(RemoteParts(mounts[9]), Parts{"tower"});
}

TEST(MountTableTest, AFolderThatSourceAndRootBothNameCountsOnce) {
    const Mount mount{1, 0, 5, "/clips", "/mnt", "cifs", "//server/share/clips"};
    EXPECT_EQ(RemoteParts(mount), (Parts{"server", "share", "clips"}));
}

TEST(MountTableTest, TheDeepestAndLastMountHoldsAShare) {
    EXPECT_EQ(PointOf({"server", "share"}, 2), "/mnt/above");
    EXPECT_EQ(PointOf({"server", "share", "clips", "new", "a.mxf"}, 4), "/mnt/deep");
    EXPECT_EQ(PointOf({"server", "share", "clips", "a.mxf"}, 2), "/mnt/above");
    EXPECT_EQ(PointOf({"SERVER", "share two"}, 2), "/mnt/with blank\\slash");
    EXPECT_EQ(PointOf({"filer", "export", "media", "x"}, 3), "/mnt/nfs");
    EXPECT_EQ(PointOf({"tower", "any", "x"}, 1), "/mnt/root");
    EXPECT_EQ(PointOf({"filer", "export"}, 0), "none");
    EXPECT_EQ(PointOf({"server", "sharee"}, 0), "none");
    EXPECT_EQ(PointOf({"nobody", "share"}, 0), "none");
}

// ---- what a folder is on its server ---------------------------------------------------------------------

TEST(MountTableTest, AFolderOnAShareIsAFolderOfTheShare) {
    const std::vector<Mount> mounts = ParseMountTable(kTable);
    EXPECT_EQ(RemoteFolder(mounts, "/mnt/below"), (Parts{"server", "share"}));
    EXPECT_EQ(RemoteFolder(mounts, "/mnt/below/a/b c"), (Parts{"server", "share", "a", "b c"}));
    EXPECT_EQ(RemoteFolder(mounts, "/mnt/below//a/"), (Parts{"server", "share", "a"}));
    EXPECT_EQ(RemoteFolder(mounts, "/mnt/deep/x"), (Parts{"server", "share", "clips", "new", "x"}));
    EXPECT_EQ(RemoteFolder(mounts, "/mnt/bind/x"), (Parts{"server", "other", "sub", "x"}));
    EXPECT_EQ(RemoteFolder(mounts, "/mnt/nfs"), (Parts{"filer", "export", "media"}));
    EXPECT_EQ(RemoteFolder(mounts, "/mnt/with blank\\slash/x"), (Parts{"Server", "Share Two", "x"}));
}

TEST(MountTableTest, OtherFoldersAreOnNoServer) {
    const std::vector<Mount> mounts = ParseMountTable(kTable);
    for (const char* folder : {"/", "/mnt", "/mnt/belowx", "/mnt/belo", "mnt/below", "", "/proc/x",
                               "/mnt/root", "/mnt/root/x" /* a server alone is no share */}) {
        EXPECT_EQ(RemoteFolder(mounts, folder), Parts{}) << folder;
    }
    EXPECT_EQ(RemoteFolder({}, "/mnt/below"), Parts{});
}

TEST(MountTableTest, TheDeepestMountHoldsAFolderAndOfEqualOnesTheLast) {
    const std::vector<Mount> mounts = {
        {1, 0, 5, "/", "/mnt", "cifs", "//server/outer"},
        {2, 0, 6, "/", "/mnt/in", "ext4", "/dev/vdb"},
        {3, 0, 7, "/", "/mnt/twice", "cifs", "//server/first"},
        {4, 0, 8, "/", "/mnt/twice", "smb3", "//server/second"},
        {5, 0, 9, "/", "/mnt/gone", "cifs", "//server/under"},
        {6, 0, 10, "/", "/mnt/gone", "tmpfs", "tmpfs"},
    };
    EXPECT_EQ(RemoteFolder(mounts, "/mnt/a"), (Parts{"server", "outer", "a"}));
    EXPECT_EQ(RemoteFolder(mounts, "/mnt/in/a"), Parts{});
    EXPECT_EQ(RemoteFolder(mounts, "/mnt/twice/a"), (Parts{"server", "second", "a"}));
    EXPECT_EQ(RemoteFolder(mounts, "/mnt/gone/a"), Parts{});
}

TEST(MountTableTest, AShareAtTheRootHoldsEveryFolder) {
    const std::vector<Mount> mounts = {{1, 0, 5, "/", "/", "nfs", "server:/export/root"}};
    EXPECT_EQ(RemoteFolder(mounts, "/"), (Parts{"server", "export", "root"}));
    EXPECT_EQ(RemoteFolder(mounts, "/srv/media"), (Parts{"server", "export", "root", "srv", "media"}));
}

// It would be read as two.
TEST(MountTableTest, APartWithABackslashIsInNoNameOfAShare) {
    const std::vector<Mount> mounts =
        ParseMountTable("1 2 0:5 / /mnt/a rw - nfs filer:/ex\\134port/media rw\n"
                        "3 2 0:6 / /mnt/b rw - nfs filer:/export/media rw\n");
    ASSERT_EQ(mounts.size(), 2u);
    EXPECT_EQ(RemoteFolder(mounts, "/mnt/a"), Parts{});
    EXPECT_EQ(RemoteFolder(mounts, "/mnt/b/x\\y"), Parts{});
    EXPECT_EQ(RemoteFolder(mounts, "/mnt/b/x"), (Parts{"filer", "export", "media", "x"}));
    ASSERT_EQ(MountedShares(mounts).size(), 1u);
    EXPECT_EQ(MountedShares(mounts)[0].point, "/mnt/b");
}

TEST(MountTableTest, MountedSharesComeInTheOrderOfTheirMounts) {
    std::vector<std::string> points;
    for (const ShareMount& share : MountedShares(ParseMountTable(kTable))) {
        points.push_back(share.point);
    }
    EXPECT_EQ(points, (std::vector<std::string>{"/mnt/with blank\\slash", "/mnt/deep", "/mnt/bind",
                                                "/mnt/nfs", "/mnt/six", "/mnt/below", "/mnt/above"}));
    EXPECT_EQ(MountedShares(ParseMountTable(kTable))[1].parts, (Parts{"server", "share", "clips", "new"}));
    EXPECT_TRUE(MountedShares({}).empty());
}

TEST(MountTableTest, OfTwoMountsOnOneFolderTheLastIsSeen) {
    const std::vector<ShareMount> shares = MountedShares({{1, 0, 5, "/", "/mnt/a", "cifs", "//server/first"},
                                                          {2, 0, 6, "/", "/mnt/b", "cifs", "//server/under"},
                                                          {3, 0, 7, "/", "/mnt/a", "cifs", "//server/second"},
                                                          {4, 0, 8, "/", "/mnt/b", "ext4", "/dev/vdb"}});
    ASSERT_EQ(shares.size(), 1u);
    EXPECT_EQ(shares[0].parts, (Parts{"server", "second"}));
    EXPECT_EQ(shares[0].point, "/mnt/a");
}

TEST(MountTableTest, NamesOfSharesWithBlanksAndOtherLettersAndBytesPass) {
    const std::vector<Mount> mounts =
        ParseMountTable("1 2 0:5 / /mnt/a\\040b\\011c\\012d rw - cifs //s\xC3\xA9rver/m\xFF\\040x rw\n");
    ASSERT_EQ(MountedShares(mounts).size(), 1u);
    EXPECT_EQ(MountedShares(mounts)[0].point, "/mnt/a b\tc\nd");
    EXPECT_EQ(MountedShares(mounts)[0].parts, (Parts{"s\xC3\xA9rver", "m\xFF x"}));
}

// Its root need not be among them: below a changed root it is a folder like any other.
TEST(MountTableTest, TheTableOfThisProcessTellsOfTheFolderThatItIsReadFrom) {
    const std::vector<Mount> mounts = ReadMountTable();
    const auto isProc = [](const Mount& mount) {
        return mount.point == "/proc" && mount.fileSystem == "proc";
    };
    EXPECT_TRUE(std::any_of(mounts.begin(), mounts.end(), isProc));
}
