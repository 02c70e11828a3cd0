#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "categories/NSFileManager+Telvo.h"
#include "foundation/Foundation.h"
#include "foundation/NSURL.h"
#include "tests/TemporaryDirectory.h"

namespace {

const Ref<NSFileManager>& manager() { return NSFileManager::defaultManager(); }

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
  EXPECT_FALSE(telvo_fileModificationDateAtPath(manager(), "/nonexistent/file"_ns));
  EXPECT_FALSE(telvo_fileModificationDateAtPath(manager(), nil));
  EXPECT_FALSE(telvo_fileModificationDateAtPath(nil, "/"_ns));
}

}  // namespace
