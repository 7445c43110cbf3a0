// String helpers, the version of a runtime directory, and the two directory scans.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "host/netcore_version.h"
#include "host/netcore_version_parser.h"
#include "host/pal.h"
#include "host/str_utils.h"
#include "tests/unit/host/temp_directory.h"

namespace {

constexpr const char* kLibrary = "libwanted.so";

TEST(StrUtilsSubstr, TakesAtMostTheCharactersThatTheTextHas) {
    EXPECT_EQ(cxxaw_substr("netcore", 3, 2), "co");
    EXPECT_EQ(cxxaw_substr("netcore", 3, 100), "core");
    EXPECT_EQ(cxxaw_substr("netcore", 3, std::string::npos), "core");
    EXPECT_EQ(cxxaw_substr("netcore", 0, std::string::npos), "netcore");
    EXPECT_EQ(cxxaw_substr("netcore", 7, 1), "");
}

TEST(StrUtilsSubstr, EndsAtAnEmbeddedNul) {
    const std::string text("ab\0cd", 5);
    EXPECT_EQ(cxxaw_substr(text, 0, std::string::npos), "ab");
    EXPECT_EQ(cxxaw_substr(text, 3, std::string::npos), "cd");
}

TEST(StrUtilsSubstr, PositionBehindTheEndThrows) {
    EXPECT_THROW(cxxaw_substr("ab", 3, 1), std::out_of_range);
}

TEST(StrUtilsIsDigitStr, WantsAsciiDigitsAlone) {
    EXPECT_TRUE(cxxaw_isdigitstr("0"));
    EXPECT_TRUE(cxxaw_isdigitstr("0123456789"));
    for (const char* text : {"", "1a", "-1", "+1", " 1", "1 ", "1.0", "\xc2\xb2"}) {
        EXPECT_FALSE(cxxaw_isdigitstr(text)) << text;
    }
    EXPECT_FALSE(cxxaw_isdigitstr(std::string("1\0", 2)));
}

TEST(NetcoreVersionOrder, ComparesMajorThenMinorAsNumbers) {
    EXPECT_LT(NetcoreVersion(9, 0), NetcoreVersion(10, 0));
    EXPECT_LT(NetcoreVersion(3, 1), NetcoreVersion(3, 10));
    EXPECT_LT(NetcoreVersion(3, 9), NetcoreVersion(4, 0));
    EXPECT_LT(NetcoreVersion(-1, 0), NetcoreVersion(0, 0));
    EXPECT_FALSE(NetcoreVersion(3, 1) < NetcoreVersion(3, 1));
    EXPECT_FALSE(NetcoreVersion(4, 0) < NetcoreVersion(3, 9));
}

TEST(NetcoreVersionParser, ReadsBothNumbers) {
    NetcoreVersion version;
    ASSERT_TRUE(try_parse("netcore3.1", version));
    EXPECT_EQ(version.major, 3);
    EXPECT_EQ(version.minor, 1);
    ASSERT_TRUE(try_parse("netcore06.010", version));
    EXPECT_EQ(version.major, 6);
    EXPECT_EQ(version.minor, 10);
}

TEST(NetcoreVersionParser, RefusesSimilarNames) {
    for (const char* name : {"netcore3", "netcore3.1.0", "netcore.1", "netcore3.", "netcore3.x", "netcorex.1",
                             "Netcore3.1", "netcore-3.1", "netcore3.1 ", "netcore.", "netcore", "net", ""}) {
        NetcoreVersion version(1, 2);
        EXPECT_FALSE(try_parse(name, version)) << name;
        EXPECT_EQ(version.major, 1) << name;
        EXPECT_EQ(version.minor, 2) << name;
    }
}

TEST(NetcoreVersionParser, NumberBeyondIntThrows) {
    NetcoreVersion version;
    try {
        try_parse("netcore99999999999.1", version);
        FAIL() << "no exception";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "stoi");
    }
    EXPECT_THROW(try_parse("netcore1.2147483648", version), std::out_of_range);
    EXPECT_TRUE(try_parse("netcore1.2147483647", version));
}

TEST(NetcoreVersionParser, SplitsAtTheOnlyDot) {
    std::string parts[2];
    ASSERT_TRUE(split("12.34", parts));
    EXPECT_EQ(parts[0], "12");
    EXPECT_EQ(parts[1], "34");
    ASSERT_TRUE(split(".", parts));
    EXPECT_EQ(parts[0], "");
    EXPECT_EQ(parts[1], "");
    EXPECT_FALSE(split("12", parts));
    EXPECT_FALSE(split("1.2.3", parts));
    EXPECT_FALSE(split("1..", parts));
}

TEST(NetcoreVersionParser, ConvertsDigitsOnly) {
    int value = 5;
    EXPECT_FALSE(try_parse_int("", value));
    EXPECT_FALSE(try_parse_int("-1", value));
    EXPECT_EQ(value, 5);
    EXPECT_TRUE(try_parse_int("007", value));
    EXPECT_EQ(value, 7);
}

class NetcoreScan : public ::testing::Test {
 protected:
    bool scan() { return pal::get_major_netcore_path(root.path(), kLibrary, result); }

    TempDirectory root;
    std::string result = "unchanged";
};

TEST_F(NetcoreScan, HighestVersionWithTheLibraryWins) {
    root.make_file("netcore3.1/libwanted.so");
    root.make_directory("netcore6.0");
    ASSERT_TRUE(scan());
    EXPECT_EQ(result, root / "netcore3.1");
}

TEST_F(NetcoreScan, VersionsAreComparedNotNames) {
    root.make_file("netcore10.0/libwanted.so");
    root.make_file("netcore6.0/libwanted.so");
    root.make_file("netcore9.0/libwanted.so");
    ASSERT_TRUE(scan());
    EXPECT_EQ(result, root / "netcore10.0");
}

TEST_F(NetcoreScan, MinorVersionDecidesBetweenEqualMajors) {
    root.make_file("netcore3.9/libwanted.so");
    root.make_file("netcore3.10/libwanted.so");
    root.make_file("netcore3.1/libwanted.so");
    ASSERT_TRUE(scan());
    EXPECT_EQ(result, root / "netcore3.10");
}

TEST_F(NetcoreScan, PlainFileIsNoCandidate) {
    root.make_file("netcore6.0");
    EXPECT_FALSE(scan());
    EXPECT_EQ(result, "unchanged");
}

TEST_F(NetcoreScan, SymbolicLinkIsNoCandidate) {
    root.make_file("elsewhere/libwanted.so");
    std::filesystem::create_directory_symlink(root / "elsewhere", root / "netcore6.0");
    EXPECT_FALSE(scan());
}

TEST_F(NetcoreScan, OtherNamesAreNoCandidates) {
    root.make_file("netcore3/libwanted.so");
    root.make_file("netcore3.1.0/libwanted.so");
    root.make_file("Netcore3.1/libwanted.so");
    root.make_file("libwanted.so");
    EXPECT_FALSE(scan());
}

TEST_F(NetcoreScan, RootThatCannotBeOpenedLeavesTheResult) {
    EXPECT_FALSE(pal::get_major_netcore_path(root / "absent", kLibrary, result));
    EXPECT_FALSE(pal::get_major_netcore_path("", kLibrary, result));
    EXPECT_EQ(result, "unchanged");
}

TEST_F(NetcoreScan, SlashIsAddedToARootThatEndsInOne) {
    root.make_file("netcore3.1/libwanted.so");
    ASSERT_TRUE(pal::get_major_netcore_path(root.path() + "/", kLibrary, result));
    EXPECT_EQ(result, root.path() + "//netcore3.1");
}

TEST_F(NetcoreScan, NumberBeyondIntEndsTheScanWithAnException) {
    root.make_file("netcore3.1/libwanted.so");
    root.make_directory("netcore99999999999.1");
    EXPECT_THROW(scan(), std::out_of_range);
}

class AppFolders : public ::testing::Test {
 protected:
    std::vector<std::string> scan(bool debug) {
        std::vector<std::string> folders;
        pal::get_app_folders(root.path(), debug, folders);
        return folders;
    }

    TempDirectory root;
};

TEST_F(AppFolders, DrawingModuleStandsLast) {
    for (const char* name : {"a", "pydrawing", "b", "zz", "0", "pydrawing2"}) {
        root.make_directory(name);
    }
    const std::vector<std::string> folders = scan(false);
    ASSERT_EQ(folders.size(), 6u);
    EXPECT_EQ(folders.back(), root / "pydrawing");
}

TEST_F(AppFolders, OthersStandInReverseOrderOfTheDirectory) {
    for (const char* name : {"a", "pydrawing", "b", "c", "d"}) {
        root.make_directory(name);
    }
    std::vector<std::string> expected;
    for (const auto& entry : std::filesystem::directory_iterator(root.path())) {
        if (entry.path().filename() != "pydrawing") {
            expected.push_back(entry.path().string());
        }
    }
    std::reverse(expected.begin(), expected.end());
    expected.push_back(root / "pydrawing");
    EXPECT_EQ(scan(false), expected);
}

TEST_F(AppFolders, FilesAndLinksAreSkipped) {
    root.make_file("file");
    root.make_directory("a");
    std::filesystem::create_directory_symlink(root / "a", root / "link");
    EXPECT_EQ(scan(false), std::vector<std::string>{root / "a"});
}

TEST_F(AppFolders, DebugTakesTheDebugSubdirectoriesOnly) {
    root.make_directory("a/debug");
    root.make_directory("b");
    root.make_directory("pydrawing/debug");
    EXPECT_EQ(scan(true), (std::vector<std::string>{root / "a/debug", root / "pydrawing/debug"}));
}

TEST_F(AppFolders, AddsFoldersBeforeAndBehindTheGivenOnes) {
    root.make_directory("a");
    root.make_directory("pydrawing");
    std::vector<std::string> folders = {"there"};
    pal::get_app_folders(root.path(), false, folders);
    EXPECT_EQ(folders, (std::vector<std::string>{root / "a", "there", root / "pydrawing"}));
}

TEST_F(AppFolders, RootThatCannotBeOpenedLeavesTheFolders) {
    std::vector<std::string> folders = {"there"};
    pal::get_app_folders(root / "absent", false, folders);
    EXPECT_EQ(folders, std::vector<std::string>{"there"});
}

}  // namespace
