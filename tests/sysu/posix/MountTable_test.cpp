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

// Its root need not be among them: below a changed root it is a folder like any other.
TEST(MountTableTest, TheTableOfThisProcessTellsOfTheFolderThatItIsReadFrom) {
    const std::vector<Mount> mounts = ReadMountTable();
    const auto isProc = [](const Mount& mount) {
        return mount.point == "/proc" && mount.fileSystem == "proc";
    };
    EXPECT_TRUE(std::any_of(mounts.begin(), mounts.end(), isProc));
}
