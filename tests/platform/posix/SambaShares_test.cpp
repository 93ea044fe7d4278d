// What a text of Samba's configuration says.
#include "platform/posix/SambaShares.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

using namespace vxcio;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Files that may be included, by their name.
using Files = std::map<std::string, std::string>;

SambaConfiguration Parse(const std::string& text, const Files& files = {}) {
    return ParseSamba(text, [&](const std::string& name) {
        const auto found = files.find(name);
        return found == files.end() ? std::nullopt : std::optional(found->second);
    });
}

// "name=path" of each share.
std::vector<std::string> Shares(const SambaConfiguration& configuration) {
    std::vector<std::string> shares;
    for (const SambaShare& share : configuration.shares) {
        shares.push_back(share.name + "=" + share.path);
    }
    return shares;
}

std::vector<std::string> Shares(const std::string& text, const Files& files = {}) {
    return Shares(Parse(text, files));
}

std::string UserShare(const std::string& fileName, const std::string& text) {
    const auto share = ParseUserShare(fileName, text);
    return share ? share->name + "=" + share->path : "none";
}

} // namespace

// ---- sections and parameters ------------------------------------------------------------------------------

TEST(SambaSharesTest, SectionsWithAPathAreSharesInTheirOrder) {
    EXPECT_THAT(Shares("[media]\npath = /srv/media\n[Archive]\n  path=/srv/archive\n[a]\npath\t=\t/a"),
                ElementsAre("media=/srv/media", "Archive=/srv/archive", "a=/a"));
    EXPECT_THAT(Shares(""), IsEmpty());
    EXPECT_THAT(Shares("[media]\n[other]\ncomment = none\n[third]\npath =\n"), IsEmpty());
}

TEST(SambaSharesTest, TheGlobalSectionTellsNames) {
    for (const char* heading : {"[global]\n", "[GLOBAL]\n", "[ Global ]\n", "[globals]\n", ""}) {
        const SambaConfiguration samba = Parse(std::string(heading) + "netbios name = Tower\n"
                                                                      "workgroup = STUDIO 4\n"
                                                                      "usershare path = /var/own shares\n"
                                                                      "path = /srv/global\n");
        EXPECT_EQ(samba.netbiosName, "Tower") << heading;
        EXPECT_EQ(samba.workgroup, "STUDIO 4") << heading;
        EXPECT_EQ(samba.usershareFolder, "/var/own shares") << heading;
        EXPECT_THAT(samba.shares, IsEmpty()) << heading;
    }
}

TEST(SambaSharesTest, NamesOfOtherSectionsSayNothingOfTheMachine) {
    const SambaConfiguration samba = Parse("[media]\npath = /srv\nworkgroup = W\nnetbios name = N\n");
    EXPECT_EQ(samba.workgroup, "");
    EXPECT_EQ(samba.netbiosName, "");
    EXPECT_EQ(samba.usershareFolder, "");
}

TEST(SambaSharesTest, CaseAndBlanksOfParameterNamesDoNotCount) {
    for (const char* name : {"path", "PATH", "P a t h", "\tpath\t", "directory", "Direc tory"}) {
        EXPECT_THAT(Shares(std::string("[media]\n") + name + " = /srv\n"), ElementsAre("media=/srv")) << name;
    }
    for (const char* name : {"netbios name", "NetBIOS Name", "netbiosname", "net bios\tname"}) {
        EXPECT_EQ(Parse(std::string(name) + "=T").netbiosName, "T") << name;
    }
    EXPECT_THAT(Shares("[media]\npaths = /srv\nroot directory = /srv\n"), IsEmpty());
}

TEST(SambaSharesTest, TheLastValueCounts) {
    EXPECT_THAT(Shares("[media]\npath = /a\npath = /b\n"), ElementsAre("media=/b"));
    EXPECT_THAT(Shares("[media]\npath = /a\ndirectory = /b\n"), ElementsAre("media=/b"));
    EXPECT_THAT(Shares("[media]\ndirectory = /a\npath =\n"), IsEmpty());
}

TEST(SambaSharesTest, ASectionThatComesAgainGoesOn) {
    EXPECT_THAT(Shares("[Media]\npath = /a\n[other]\npath = /o\n[MEDIA]\npath = /b\n"),
                ElementsAre("Media=/b", "other=/o"));
    EXPECT_THAT(Shares("[h\xC3\xA4user]\npath = /h\n[o]\npath = /o\n[H\xC3\x84USER]\npath = /b\n"),
                ElementsAre("h\xC3\xA4user=/b", "o=/o"));
    EXPECT_EQ(Parse("[global]\nworkgroup = A\n[x]\n[Global]\nnetbios name = B\n").workgroup, "A");
}

TEST(SambaSharesTest, AShareWithoutAPathWhenItsSectionEndsIsNotAvailable) {
    const std::string text = "[media]\ncomment = x\n[other]\npath = /o\n[media]\npath = /b\n";
    EXPECT_THAT(Shares(text), ElementsAre("other=/o"));
    EXPECT_THAT(Shares(text + "available = yes\n"), ElementsAre("media=/b", "other=/o"));
    // The end of an included file ends no section.
    EXPECT_THAT(Shares("include = /a\npath = /p\n", {{"/a", "[media]\ncomment = x\n"}}),
                ElementsAre("media=/p"));
    EXPECT_THAT(Shares("[media]\npath = /a\n[o]\npath = /o\n[media]\npath =\n[p]\npath = /p\n[media]\n"
                       "path = /b\n"),
                ElementsAre("o=/o", "p=/p"));
}

TEST(SambaSharesTest, ASectionBeginsWithWhatTheGlobalOneSaysOfSharesByThen) {
    EXPECT_THAT(Shares("path = /all\n[a]\n[b]\npath = /b\n[global]\npath = /later\n[c]\n[a]\ncomment = x\n"),
                ElementsAre("a=/all", "b=/b", "c=/later"));
    EXPECT_THAT(Shares("[a]\ncomment = x\n[global]\npath = /later\n[b]\n"), ElementsAre("b=/later"));
    EXPECT_THAT(Shares("path = /all\n[a]\npath =\n"), IsEmpty());
    EXPECT_THAT(Shares("available = no\n[a]\npath = /a\n[b]\npath = /b\navailable = yes\n"),
                ElementsAre("b=/b"));
}

TEST(SambaSharesTest, ACopyOfASectionSaysWhatItSaysWhereItSaysNothingItself) {
    EXPECT_THAT(Shares("[a]\npath = /a\n[b]\ncopy = A\n[c]\npath = /c\nCopy=a\n[d]\ncopy = a\npath = /d\n"),
                ElementsAre("a=/a", "b=/a", "c=/c", "d=/d"));
    EXPECT_THAT(Shares("[a]\npath = /a\navailable = no\n[b]\ncopy = a\n[c]\ncopy = a\navailable = yes\n"
                       "[d]\ncopy = c\n"),
                ElementsAre("c=/a", "d=/a"));
    EXPECT_THAT(Shares("path = /all\n[a]\npath = /a\n[b]\ncopy = a\n"), ElementsAre("a=/a", "b=/a"));
    // Of itself, of none, of the global section.
    EXPECT_THAT(Shares("[a]\npath = /a\ncopy = a\n[b]\ncopy = c\n[c]\npath = /c\n[global]\npath = /all\n"
                       "[b]\ncopy = global\n"),
                ElementsAre("a=/a", "c=/c"));
    EXPECT_THAT(Shares("[a]\npath = /a\n[b]\navailable = yes\n[global]\npath = /all\n[b]\ncopy = global\n"
                       "available = yes\n"),
                ElementsAre("a=/a"));
    EXPECT_THAT(Shares("[a]\npath = /a\n[global]\ncopy = a\n[b]\n"), ElementsAre("a=/a"));
}

// Ten thousand sections may inherit it.
TEST(SambaSharesTest, AValueThatIsNoPathForItsLengthIsInheritedByNobody) {
    const std::string longest = "/" + std::string(4095, 'x');
    EXPECT_THAT(Shares("path = " + longest + "\n[a]\n"), ElementsAre("a=" + longest));
    EXPECT_THAT(Shares("path = " + longest + "x\n[a]\n[b]\npath = /b\n"), ElementsAre("b=/b"));
}

TEST(SambaSharesTest, WhatStandsBehindTenThousandSectionsIsLeftOut) {
    std::string text;
    for (std::size_t i = 0; i < kMostSections + 10; ++i) {
        text += "[s" + std::to_string(i) + "]\npath = /" + std::to_string(i) + "\n";
    }
    const std::vector<std::string> shares = Shares(text + "[s0]\npath = /first\n");
    ASSERT_EQ(shares.size(), kMostSections - 2); // one is the global section, one what belongs nowhere
    EXPECT_EQ(shares.front(), "s0=/first");
    EXPECT_EQ(shares.back(), "s9997=/9997");
}

TEST(SambaSharesTest, SpecialSectionsAreNoShares) {
    for (const char* name :
         {"global", "globals", "homes", "printers", "print$", "HOMES", "Print$", " homes "}) {
        EXPECT_THAT(Shares(std::string("[") + name + "]\npath = /srv\n"), IsEmpty()) << name;
    }
    EXPECT_THAT(Shares("[home]\npath = /srv\n[print]\npath = /p\n[admin$]\npath = /d\n"),
                ElementsAre("home=/srv", "print=/p", "admin$=/d"));
}

TEST(SambaSharesTest, SharesThatAreNotAvailableAreLeftOut) {
    for (const char* no : {"no", "NO", "No", "false", "False", "0", "off", "OFF", " no ", "\"no\""}) {
        EXPECT_THAT(Shares(std::string("[media]\npath = /srv\navailable = ") + no + "\n"), IsEmpty()) << no;
    }
    for (const char* yes : {"yes", "true", "1", "on", "", "maybe", "none"}) {
        EXPECT_THAT(Shares(std::string("[media]\navailable = ") + yes + "\npath = /srv\n"),
                    ElementsAre("media=/srv"))
            << yes;
    }
    EXPECT_THAT(Shares("[template]\npath = /srv\n-valid = no\n[media]\npath = /m\n-valid = yes\n"),
                ElementsAre("media=/m"));
    EXPECT_THAT(Shares("[media]\nAvail able = no\npath = /srv\n"), IsEmpty());
    EXPECT_THAT(Shares("[media]\navailable = no\npath = /srv\navailable = yes\n"), ElementsAre("media=/srv"));
}

TEST(SambaSharesTest, OnlyWholePathsThatAreTheSameForEverybodyCount) {
    for (const char* path :
         {"srv/media", "./srv", "~/media", "%H", "/home/%U", "/srv/%S/x", "C:\\media", ""}) {
        EXPECT_THAT(Shares(std::string("[media]\npath = ") + path + "\n"), IsEmpty()) << path;
        EXPECT_EQ(UserShare("media", std::string("path=") + path + "\n"), "none") << path;
    }
    EXPECT_THAT(Shares("[media]\npath = /\n"), ElementsAre("media=/"));
}

TEST(SambaSharesTest, OfBlanksBehindEachOtherTheFirstStays) {
    EXPECT_THAT(Shares("[my media]\npath =  /srv/my  \t media \t\r\n"),
                ElementsAre("my media=/srv/my media"));
    EXPECT_THAT(Shares("[a  b]\npath = /a\n[a b]\npath = /b\n[c\t d]\npath = /c\t \td\n"),
                ElementsAre("a b=/b", "c\td=/c\td"));
    // At the ends of a section's name too.
    EXPECT_THAT(Shares("[  my media \t]\npath = /srv\n[my media]\npath = /other\n"),
                ElementsAre(" my media =/srv", "my media=/other"));
}

TEST(SambaSharesTest, QuotationMarksAtTheEndsOfAValueDoNotCount) {
    EXPECT_THAT(Shares("[media]\npath = \"/srv/my media\"\n"), ElementsAre("media=/srv/my media"));
    EXPECT_THAT(Shares("[media]\npath = \"\"/srv\"\"\n"), ElementsAre("media=/srv"));
    EXPECT_THAT(Shares("[media]\npath = /srv/\"my\"\n"), ElementsAre("media=/srv/\"my"));
    EXPECT_THAT(Shares("[media]\npath = \"/srv\n"), ElementsAre("media=/srv"));
    EXPECT_THAT(Shares("[media]\npath = /srv/\"my\" media\n"), ElementsAre("media=/srv/\"my\" media"));
    EXPECT_THAT(Shares("[media]\npath = \" /srv \"\n"), IsEmpty());
    EXPECT_THAT(Shares("[\"media\"]\npath = /srv\n"), ElementsAre("\"media\"=/srv"));
    EXPECT_THAT(Shares("[media]\npath = \"\n[other]\npath = \"\"\n"), IsEmpty());
    EXPECT_EQ(Parse("workgroup = \"STUDIO\"\n").workgroup, "STUDIO");
}

// ---- lines -------------------------------------------------------------------------------------------

TEST(SambaSharesTest, CommentsAndEmptyLinesSayNothing) {
    const SambaConfiguration samba =
        Parse("# path = /no\n; [no]\n\n  \t\n[media]\n  # path = /no\n\t;path=/no\n"
              "path = /srv\n#path = /no \\\nbrowseable = yes\n");
    EXPECT_THAT(Shares(samba), ElementsAre("media=/srv"));
    EXPECT_EQ(samba.skippedLines, 0u);
    EXPECT_THAT(Shares("[media]\n# goes on not \\\npath = /srv\n"), ElementsAre("media=/srv"));
    // Only a line of its own is one.
    EXPECT_THAT(Shares("[media]\n \\\n# \\\npath = /no\n[b]\npath = /b\\\n# c\\\nd\n"),
                ElementsAre("b=/b# cd"));
}

TEST(SambaSharesTest, SemicolonsAndNumberSignsBehindAValueBelongToIt) {
    EXPECT_THAT(Shares("[media]\npath = /srv ; no comment\n[b]\npath = /srv#2\n"),
                ElementsAre("media=/srv ; no comment", "b=/srv#2"));
    EXPECT_THAT(Shares("[media] ; more\npath = /srv\n"), ElementsAre("media=/srv"));
    EXPECT_THAT(Shares("[media]\npath = /a=b\n"), ElementsAre("media=/a=b"));
}

TEST(SambaSharesTest, ALineThatEndsWithABackslashGoesOn) {
    EXPECT_THAT(Shares("[media]\npath = /srv/\\\nmedia\n"), ElementsAre("media=/srv/media"));
    EXPECT_THAT(Shares("[media]\r\npath = /srv/\\\r\nmedia\r\n"), ElementsAre("media=/srv/media"));
    EXPECT_THAT(Shares("[me\\\ndia]\npa\\\nth \\\n= /s\\\nrv\n"), ElementsAre("media=/srv"));
    EXPECT_THAT(Shares("[media]\npath = /srv\ncomment = a \\\npath = /no\n"), ElementsAre("media=/srv"));
    EXPECT_THAT(Shares("[media]\npath = /srv  \\ \t\n  \t media\n"), ElementsAre("media=/srv media"));
    EXPECT_THAT(Shares("[media]\npath = /srv\\\\\nmedia\n"), ElementsAre("media=/srv\\media"));
    EXPECT_THAT(Shares("[media]\npath = /srv\\\n# 2\n"), ElementsAre("media=/srv# 2"));
    EXPECT_THAT(Shares("[media]\npath = /srv\\\n\n[b]\npath = /b\n"), ElementsAre("media=/srv", "b=/b"));
    EXPECT_THAT(Shares("[media]\npath = /srv\\\n"), ElementsAre("media=/srv"));
    // Nothing is there to go on with.
    EXPECT_THAT(Shares("[media]\npath = /srv\\"), ElementsAre("media=/srv\\"));
    EXPECT_THAT(Shares("\\\n\\\n\\"), IsEmpty());
}

TEST(SambaSharesTest, LinesThatAreNeitherSectionNorValueAreCountedAndSkipped) {
    const SambaConfiguration samba = Parse("\xEF\xBB\xBF garbage\n[media]\npath /no\npath = /srv\n]x[\n");
    EXPECT_THAT(Shares(samba), ElementsAre("media=/srv"));
    EXPECT_EQ(samba.skippedLines, 3u);
}

// They would change the share above it.
TEST(SambaSharesTest, ValuesBelowABrokenHeadingBelongToNoShare) {
    const SambaConfiguration samba = Parse("[media]\npath = /srv\n[other\npath = /no\n[]\npath = /no\n"
                                           "[ ]\npath = /no\n[last]\npath = /last\n");
    EXPECT_THAT(Shares(samba), ElementsAre("media=/srv", "last=/last"));
    EXPECT_EQ(samba.skippedLines, 1u);
}

// ---- other files -------------------------------------------------------------------------------------

TEST(SambaSharesTest, IncludedFilesStandInTheirPlace) {
    const Files files = {{"/etc/a", "workgroup = A\n[one]\npath = /one\n"},
                         {"/etc/b", "path = /two\n[three]\npath = /three\n"}};
    const SambaConfiguration samba = Parse("[global]\ninclude = /etc/a\n[two]\nInclude=/etc/b\n"
                                           "comment = of the third\navailable = no\n",
                                           files);
    EXPECT_THAT(Shares(samba), ElementsAre("one=/one", "two=/two"));
    EXPECT_EQ(samba.workgroup, "A");
}

TEST(SambaSharesTest, IncludedFilesIncludeNoOthers) {
    const Files files = {{"/a", "[one]\npath = /one\ninclude = /b\n[two]\npath = /two\n"},
                         {"/b", "[three]\npath = /three\n"}};
    EXPECT_THAT(Shares("include = /a\n", files), ElementsAre("one=/one", "two=/two"));
    const Files circle = {{"/self", "include = /self\n[one]\npath = /one\n"}};
    EXPECT_THAT(Shares("include = /self\ninclude = /self\n", circle), ElementsAre("one=/one"));
}

TEST(SambaSharesTest, FilesThatAreNotThereAreNotIncluded) {
    const Files files = {{"/a", "[one]\npath = /one\n"}};
    const SambaConfiguration samba =
        Parse("[media]\ninclude = /no\ninclude =\ninclude = \"/a\"\ninclude\npath = /srv\n", files);
    EXPECT_THAT(Shares(samba), ElementsAre("media=/srv"));
    EXPECT_EQ(samba.skippedLines, 1u);
}

TEST(SambaSharesTest, NoMoreThanAHundredFilesAreIncluded) {
    std::string text;
    for (int i = 0; i < kMostIncludes + 50; ++i) {
        text += "include = /a\n";
    }
    int reads = 0;
    ParseSamba(text, [&](const std::string&) {
        ++reads;
        return std::optional<std::string>("[x]\npath = /x\n");
    });
    EXPECT_EQ(reads, kMostIncludes);
}

// ---- odd names ---------------------------------------------------------------------------------------

TEST(SambaSharesTest, NamesOfAnyBytesAndLengthsPass) {
    const std::string longName(5000, 'n');
    EXPECT_THAT(Shares("[" + longName + "]\npath = /" + longName + "\n"),
                ElementsAre(longName + "=/" + longName));
    EXPECT_THAT(Shares("[m\xC3\xA9"
                       "dia]\npath = /srv/\xD0\xBC\n[\xFF\xFE]\npath = /srv/\xFF\n"),
                ElementsAre("m\xC3\xA9"
                            "dia=/srv/\xD0\xBC",
                            "\xFF\xFE=/srv/\xFF"));
    EXPECT_THAT(Shares("[a\\b]\npath = /srv/a\\b\n"), ElementsAre("a\\b=/srv/a\\b"));
}

TEST(SambaSharesTest, ATextThatIsCutAnywhereIsReadAsFarAsItGoes) {
    const std::string text = "[global]\nworkgroup = W\n[media]\npath = /srv/\\\nmedia\navailable = yes\n";
    for (std::size_t length = 0; length <= text.size(); ++length) {
        const SambaConfiguration samba = Parse(text.substr(0, length));
        EXPECT_LE(samba.shares.size(), 1u) << length;
        EXPECT_LE(samba.skippedLines, 1u) << length;
    }
}

TEST(SambaSharesTest, AnyBytesAreRead) {
    std::string bytes;
    for (uint32_t i = 0, state = 1; i < 200'000; ++i) {
        state = state * 1664525 + 1013904223;
        constexpr char kOften[] = "[]=\n\\;# \"";
        const uint32_t high = state >> 24;
        bytes += high < 128 ? kOften[high % (sizeof kOften - 1)] : static_cast<char>(state >> 16);
    }
    for (const SambaShare& share : Parse(bytes).shares) {
        EXPECT_EQ(share.path[0], '/');
        EXPECT_NE(share.name, "");
    }
}

// ---- shares of users ---------------------------------------------------------------------------------

TEST(SambaSharesTest, AUsersShareHasThePathOfItsFile) {
    const std::string text =
        "#VERSION 2\npath=/home/eve/my clips\ncomment=\nusershare_acl=S-1-1-0:F,\nguest_ok=y\n";
    EXPECT_EQ(UserShare("clips", text), "clips=/home/eve/my clips");
    EXPECT_EQ(UserShare("clips", text + "sharename=My Clips\n"), "My Clips=/home/eve/my clips");
    EXPECT_EQ(UserShare("clips", text + "sharename=\n"), "clips=/home/eve/my clips");
    EXPECT_EQ(UserShare("clips", "path=/a\r\nsharename=B\r"), "B=/a");
}

TEST(SambaSharesTest, AUsersShareWithoutAPathIsNone) {
    EXPECT_EQ(UserShare("clips", ""), "none");
    EXPECT_EQ(UserShare("clips", "\n\n=\n==\npath\n"), "none");
    EXPECT_EQ(UserShare("clips", "comment=path=/srv\n"), "none");
    EXPECT_EQ(UserShare("clips", std::string("\0\xFF\x01", 3)), "none");
}

TEST(SambaSharesTest, AUsersShareIsNoSpecialSection) {
    EXPECT_EQ(UserShare("homes", "path=/srv\n"), "none");
    EXPECT_EQ(UserShare("clips", "path=/srv\nsharename=Print$\n"), "none");
    EXPECT_EQ(UserShare("", "path=/srv\n"), "none");
}

TEST(SambaSharesTest, UsersSharesStandBehindTheMachinesAndHideNone) {
    SambaConfiguration samba = Parse("[Media]\npath = /srv\n[h\xC3\xA4user]\npath = /h\n");
    AddUserShares(samba, {{"media", "/no"},
                          {"clips", "/clips"},
                          {"H\xC3\x84USER", "/no"},
                          {"CLIPS", "/no"},
                          {"more", "/more"}});
    EXPECT_THAT(Shares(samba), ElementsAre("Media=/srv", "h\xC3\xA4user=/h", "clips=/clips", "more=/more"));
}
