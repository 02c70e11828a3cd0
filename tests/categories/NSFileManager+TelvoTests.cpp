#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "categories/NSFileManager+Telvo.h"
#include "foundation/Foundation.h"
#include "foundation/files/NSURL.h"
#include "testing/ChildProcess.h"
#include "testing/EnvironmentVariable.h"
#include "testing/TemporaryDirectory.h"
#include "tests/categories/FolderListing.h"

namespace {

using namespace folders;

TEST(NSFileManagerTelvo, OnlyAnExistingFolderIsADirectory) {
  const TemporaryDirectory folder;
  folder.write("file");
  EXPECT_TRUE(telvo_isDirectoryAtPath(manager(), folder.text()));
  EXPECT_FALSE(telvo_isDirectoryAtPath(manager(), folder.text("file")));
  EXPECT_FALSE(telvo_isDirectoryAtPath(manager(), folder.text("missing")));
  EXPECT_FALSE(telvo_isDirectoryAtPath(manager(), nil));
  EXPECT_FALSE(telvo_isDirectoryAtPath(nil, folder.text()));
}

TEST(NSFileManagerTelvo, ALinkToAFolderIsADirectoryAndABrokenLinkIsNot) {
  const TemporaryDirectory folder;
  std::filesystem::create_directory(folder / "real");
  std::filesystem::create_symlink("real", folder / "link");
  std::filesystem::create_symlink("nothing", folder / "broken");
  EXPECT_TRUE(telvo_isDirectoryAtPath(manager(), folder.text("link")));
  EXPECT_FALSE(telvo_isDirectoryAtPath(manager(), folder.text("broken")));
}

TEST(NSFileManagerTelvo, AsksForADirectoryByURL) {
  const TemporaryDirectory folder;
  folder.write("a file");
  EXPECT_TRUE(telvo_isDirectoryAtURL(manager(), NSURL::fileURLWithPath(folder.text())));
  EXPECT_FALSE(telvo_isDirectoryAtURL(manager(), NSURL::fileURLWithPath(folder.text("a file"))));
  EXPECT_FALSE(telvo_isDirectoryAtURL(manager(), nil));
}

TEST(NSFileManagerTelvo, GivesTheModificationDateWithItsFraction) {
  const TemporaryDirectory folder;
  const std::string path = folder.write("file");
  const timespec times[] = {{0, UTIME_OMIT}, {1700000000, 250000000}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  const auto date = telvo_fileModificationDateAtPath(manager(), folder.text("file"));
  ASSERT_TRUE(date);
  EXPECT_DOUBLE_EQ(date->timeIntervalSince1970(), 1700000000.25);
}

TEST(NSFileManagerTelvo, GivesALinksOwnModificationDate) {
  const TemporaryDirectory folder;
  folder.write("file");
  std::filesystem::create_symlink("file", folder / "link");
  const timespec times[] = {{0, UTIME_OMIT}, {1000, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, (folder / "link").c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
  const auto date = telvo_fileModificationDateAtPath(manager(), folder.text("link"));
  ASSERT_TRUE(date);
  EXPECT_DOUBLE_EQ(date->timeIntervalSince1970(), 1000.0);
}

TEST(NSFileManagerTelvo, AMissingItemHasNoModificationDate) {
  const TemporaryDirectory folder;
  EXPECT_FALSE(telvo_fileModificationDateAtPath(manager(), folder.text("missing/file")));
  EXPECT_FALSE(telvo_fileModificationDateAtPath(manager(), nil));
  EXPECT_FALSE(telvo_fileModificationDateAtPath(nil, "/"_ns));
}

TEST(NSFileManagerTelvo, SizesAndDatesOfWhatIsThereAndOfWhatIsNot) {
  const TemporaryDirectory folder;
  folder.write("file", "12345");
  EXPECT_EQ(telvo_fileSizeAtPath(manager(), folder.text("file")), 5);
  EXPECT_EQ(telvo_fileSizeAtPath(manager(), folder.text("missing")), 0);
  EXPECT_EQ(telvo_fileSizeAtPath(manager(), nil), 0);
  EXPECT_EQ(telvo_fileSizeAtPath(nil, folder.text("file")), 0);
  EXPECT_EQ(telvo_fileCreationDateAtPath(manager(), folder.text("missing")), nil);
  EXPECT_EQ(telvo_fileCreationDateAtPath(nil, folder.text("file")), nil);
}

TEST(NSFileManagerTelvo, TheCreationDateIsTheFileSystemsOwn) {
  const TemporaryDirectory folder;
  folder.write("file");
  const auto attributes = manager()->attributesOfItemAtPath_error(folder.text("file"), nullptr);
  const auto date = telvo_fileCreationDateAtPath(manager(), folder.text("file"));
  EXPECT_TRUE(NSEqualObjects(date, attributes->objectForKey(NSFileCreationDate())));
}

TEST(NSFileManagerTelvo, RemovesWhatExistsAndIsContentWithNothing) {
  const TemporaryDirectory folder;
  folder.write("file");
  folder.write("full/of/files");
  std::filesystem::create_symlink("nothing", folder / "broken");
  for (const char* name : {"file", "full", "broken", "missing"}) {
    EXPECT_TRUE(telvo_removeFileIfExistsAtPath(manager(), folder.text(name))) << name;
  }
  EXPECT_EQ(listing(folder), "");
  EXPECT_TRUE(telvo_removeFileIfExistsAtPath(manager(), nil));
  EXPECT_FALSE(telvo_removeFileIfExistsAtPath(nil, folder.text("x")));
  EXPECT_FALSE(telvo_removeFileIfExistsAtPath(manager(), "/proc/self/status"_ns));
}

// The found paths relative to the folder, separated by commas; "nil" for nil.
std::string found(const Ref<NSMutableArray>& paths, const TemporaryDirectory& folder) {
  if (!paths) return "nil";
  std::string text;
  for (const id& path : *paths) {
    const std::string full = as<NSString>(path)->UTF8String();
    EXPECT_TRUE(full.starts_with(folder.path().string() + "/")) << full;
    text += (text.empty() ? "" : ",") + full.substr(folder.path().string().size() + 1);
  }
  return text;
}

class NSFileManagerTelvoScan : public testing::Test {
 protected:
  NSFileManagerTelvoScan() {
    for (const char* name : {"README.md", "readme.txt", "a.txt", "b10.TXT", "b9.txt", "noext", "sub/c.txt",
                             "sub/deeper/Readme", "sub.txt/inner.md", ".hidden.txt"}) {
      folder_.write(name);
    }
  }

  EnvironmentVariable locale_{"LC_ALL", "en_US.UTF-8"};
  TemporaryDirectory folder_;
};

TEST_F(NSFileManagerTelvoScan, ListsTheFoldersContentsInFinderOrder) {
  EXPECT_EQ(found(telvo_pathsAtPath_deepScan(manager(), folder_.text(), false), folder_),
            ".hidden.txt,a.txt,b9.txt,b10.TXT,noext,README.md,readme.txt,sub,sub.txt");
}

TEST_F(NSFileManagerTelvoScan, ListsEveryDepthFoldersIncluded) {
  const auto paths = telvo_pathsAtPath_deepScan(manager(), folder_.text(), true);
  EXPECT_EQ(paths->count(), 13U);
  for (const char* name : {"sub", "sub/c.txt", "sub/deeper", "sub/deeper/Readme", "sub.txt/inner.md"}) {
    EXPECT_TRUE(paths->containsObject(folder_.text(name))) << name;
  }
}

TEST_F(NSFileManagerTelvoScan, AnEmptyOrNilExtensionOrNameListsEverything) {
  const auto all = telvo_pathsAtPath_deepScan(manager(), folder_.text(), true);
  EXPECT_TRUE(telvo_pathsWithExtension_atPath_deepScan(manager(), ""_ns, folder_.text(), true)->isEqual(all));
  EXPECT_TRUE(telvo_pathsWithExtension_atPath_deepScan(manager(), nil, folder_.text(), true)->isEqual(all));
  EXPECT_TRUE(telvo_pathsWithFilename_atPath_deepScan(manager(), ""_ns, folder_.text(), true)->isEqual(all));
  EXPECT_TRUE(telvo_pathsWithFilename_atPath_deepScan(manager(), nil, folder_.text(), true)->isEqual(all));
  EXPECT_TRUE(telvo_pathsWithExtensions_atPath_deepScan(manager(), nil, folder_.text(), true)->isEqual(all));
  EXPECT_TRUE(telvo_pathsWithFilenames_atPath_deepScan(manager(), nil, folder_.text(), true)->isEqual(all));
}

TEST_F(NSFileManagerTelvoScan, ExtensionsMatchWholeAndWithoutRegardToCase) {
  EXPECT_EQ(found(telvo_pathsWithExtension_atPath_deepScan(manager(), "TXT"_ns, folder_.text(), false), folder_),
            ".hidden.txt,a.txt,b9.txt,b10.TXT,readme.txt,sub.txt");
  EXPECT_EQ(found(telvo_pathsWithExtension_atPath_deepScan(manager(), "tx"_ns, folder_.text(), true), folder_), "");
  EXPECT_EQ(found(telvo_pathsWithExtension_atPath_deepScan(manager(), "*"_ns, folder_.text(), true), folder_), "");
  const auto extensions = NSArray::arrayWithObjects({"md"_ns, ""_ns});
  EXPECT_EQ(found(telvo_pathsWithExtensions_atPath_deepScan(manager(), extensions, folder_.text(), false), folder_),
            "noext,README.md,sub");
}

TEST_F(NSFileManagerTelvoScan, NamesMatchWithoutTheirExtension) {
  EXPECT_EQ(found(telvo_pathsWithFilename_atPath_deepScan(manager(), "Readme"_ns, folder_.text(), true), folder_),
            "README.md,readme.txt,sub/deeper/Readme");
  EXPECT_EQ(found(telvo_pathsWithFilename_atPath_deepScan(manager(), "README.md"_ns, folder_.text(), true), folder_),
            "");
  const auto names = NSArray::arrayWithObjects({"A"_ns, "C"_ns, "sub"_ns});
  EXPECT_EQ(found(telvo_pathsWithFilenames_atPath_deepScan(manager(), names, folder_.text(), false), folder_),
            "a.txt,sub,sub.txt");
}

TEST_F(NSFileManagerTelvoScan, FragmentsAreExtensionsOrNames) {
  const auto scan = [&](const Ref<NSArray>& fragments, bool isExtension) {
    return found(
        telvo_pathsWithFragments_isExtension_atPath_deepScan(manager(), fragments, isExtension, folder_.text(), true),
        folder_);
  };
  const auto fragments = NSArray::arrayWithObjects({"MD"_ns, "noext"_ns, "Inner"_ns});
  EXPECT_EQ(scan(fragments, true), "README.md,sub.txt/inner.md");
  EXPECT_EQ(scan(fragments, false), "noext,sub.txt/inner.md");
  EXPECT_EQ(scan(nil, true), scan(nil, false));
  EXPECT_EQ(telvo_pathsWithFragments_isExtension_atPath_deepScan(nil, fragments, true, folder_.text(), true), nil);
  EXPECT_EQ(telvo_pathsWithFragments_isExtension_atPath_deepScan(manager(), fragments, true, nil, true), nil);
}

TEST_F(NSFileManagerTelvoScan, NoFragmentsMatchNothing) {
  EXPECT_EQ(found(telvo_pathsWithFilenames_atPath_deepScan(manager(), NSArray::array(), folder_.text(), true), folder_),
            "");
}

TEST_F(NSFileManagerTelvoScan, WhatIsNoFolderGivesNilAndAnEmptyFolderAnEmptyArray) {
  EXPECT_EQ(telvo_pathsAtPath_deepScan(manager(), folder_.text("a.txt"), false), nil);
  EXPECT_EQ(telvo_pathsAtPath_deepScan(manager(), folder_.text("missing"), true), nil);
  EXPECT_EQ(telvo_pathsAtPath_deepScan(manager(), nil, true), nil);
  EXPECT_EQ(telvo_pathsAtPath_deepScan(nil, folder_.text(), true), nil);
  std::filesystem::create_directory(folder_ / "empty");
  EXPECT_EQ(telvo_pathsAtPath_deepScan(manager(), folder_.text("empty"), true)->count(), 0U);
}

TEST_F(NSFileManagerTelvoScan, ExpandsThePathOfTheFolder) {
  EXPECT_EQ(
      found(telvo_pathsWithExtension_atPath_deepScan(manager(), "md"_ns, folder_.text("sub/../."), false), folder_),
      "README.md");
  const EnvironmentVariable home("HOME", folder_.path().c_str());
  EXPECT_EQ(found(telvo_pathsWithExtension_atPath_deepScan(manager(), "txt"_ns, "~/sub"_ns, false), folder_),
            "sub/c.txt");
}

TEST_F(NSFileManagerTelvoScan, LinksToFoldersAreListedAndNotEntered) {
  std::filesystem::create_directory_symlink("..", folder_ / "sub/up");
  const auto paths = telvo_pathsAtPath_deepScan(manager(), folder_.text("sub"), true);
  EXPECT_EQ(found(paths, folder_), "sub/c.txt,sub/deeper,sub/deeper/Readme,sub/up");
  std::filesystem::create_directory_symlink("sub", folder_ / "door");
  EXPECT_EQ(found(telvo_pathsWithExtension_atPath_deepScan(manager(), "txt"_ns, folder_.text("door"), false), folder_),
            "door/c.txt");
}

TEST_F(NSFileManagerTelvoScan, AFolderThatCannotBeReadHasNoEntries) {
  std::filesystem::create_directory(folder_ / "closed");
  folder_.write("closed/file");
  std::filesystem::permissions(folder_.path(), std::filesystem::perms{0755});
  std::filesystem::permissions(folder_ / "closed", std::filesystem::perms{0111});
  const std::string result = withoutPrivileges([&]() -> std::string {
    const auto paths = telvo_pathsAtPath_deepScan(manager(), folder_.text("closed"), false);
    return paths ? std::to_string(paths->count()) : "nil";
  });
  EXPECT_EQ(result, "0");
  std::filesystem::permissions(folder_ / "closed", std::filesystem::perms{0755});
}

TEST(NSFileManagerTelvo, ScansFoldersOfTenThousandEntries) {
  const EnvironmentVariable locale("LC_ALL", "en_US.UTF-8");
  const TemporaryDirectory folder;
  constexpr NSUInteger count = 10000;
  for (NSUInteger i = count; i > 0; --i) folder.write("File " + std::to_string(i) + (i % 2 ? ".txt" : ".md"));
  const auto all = telvo_pathsAtPath_deepScan(manager(), folder.text(), false);
  ASSERT_EQ(all->count(), count);
  EXPECT_TRUE(NSEqualObjects(all->objectAtIndex(0), folder.text("File 1.txt")));
  EXPECT_TRUE(NSEqualObjects(all->objectAtIndex(9), folder.text("File 10.md")));
  EXPECT_TRUE(NSEqualObjects(all->lastObject(), folder.text("File 10000.md")));
  EXPECT_EQ(telvo_pathsWithExtension_atPath_deepScan(manager(), "MD"_ns, folder.text(), true)->count(), count / 2);
  EXPECT_TRUE(renamePath(folder.text(), NSString::stringWithFormat("%@ renamed"_ns, folder.text()->lastPathComponent()),
                         false));
  EXPECT_TRUE(renamePath(NSString::stringWithFormat("%@ renamed"_ns, folder.text()), folder.text()->lastPathComponent(),
                         false));
  EXPECT_EQ(telvo_fileSizeAtPath(manager(), folder.text("File 10000.md")), 0);
}

}  // namespace
