#include <array>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "categories/NSFileManager+Telvo.h"
#include "foundation/Foundation.h"
#include "foundation/files/NSURL.h"
#include "testing/ChildProcess.h"
#include "testing/TemporaryDirectory.h"
#include "tests/categories/FolderListing.h"

// Items that get another name.

namespace {

using namespace folders;

bool renameURL(const Ref<NSString>& path, const Ref<NSString>& filename, bool deleteExisting,
               Ref<NSError>* error = nullptr) {
  return telvo_renameItemAtURL_toFilename_deleteExisting_error(manager(), NSURL::fileURLWithPath(path), filename,
                                                               deleteExisting, error);
}

// The two forms of the rename, for what they have in common.
class NSFileManagerTelvoRename : public testing::TestWithParam<decltype(&renamePath)> {
 protected:
  bool rename(const Ref<NSString>& path, const Ref<NSString>& filename, bool deleteExisting,
              Ref<NSError>* error = nullptr) {
    return GetParam()(path, filename, deleteExisting, error);
  }
};

INSTANTIATE_TEST_SUITE_P(By, NSFileManagerTelvoRename, testing::Values(&renamePath, &renameURL),
                         [](const auto& form) { return form.param == &renamePath ? "Path" : "URL"; });

TEST_P(NSFileManagerTelvoRename, GivesAnItemAnotherNameInItsFolder) {
  const TemporaryDirectory folder;
  folder.write("a/one.txt", "1");
  EXPECT_TRUE(rename(folder.text("a/one.txt"), "two.md"_ns, false));
  EXPECT_TRUE(rename(folder.text("a"), "b"_ns, false));
  EXPECT_EQ(listing(folder), "b/ b/two.md=1");
}

TEST_P(NSFileManagerTelvoRename, ChangesTheLetterCaseOnly) {
  const TemporaryDirectory folder;
  folder.write("Photo.JPG", "1");
  Ref<NSError> error;
  EXPECT_TRUE(rename(folder.text("Photo.JPG"), "photo.jpg"_ns, false, &error));
  EXPECT_EQ(listing(folder), "photo.jpg=1");
  EXPECT_EQ(error, nil);
  EXPECT_TRUE(rename(folder.text("photo.jpg"), "photo.jpg"_ns, true));
  EXPECT_EQ(listing(folder), "photo.jpg=1");
}

TEST_P(NSFileManagerTelvoRename, ACaseOnlyRenameGoesThroughANameWithTheTime) {
  const TemporaryDirectory folder;
  const std::string name(250, 'N');
  folder.write(name, "1");
  // The name on the way would be longer than the file system allows.
  Ref<NSError> error;
  EXPECT_FALSE(rename(folder.text(name), NSString::stringWithUTF8String(std::string(250, 'n')), true, &error));
  EXPECT_EQ(listing(folder), name + "=1");
  ASSERT_NE(error, nil);
  EXPECT_TRUE(rename(folder.text(name), "n"_ns, true));
}

// The names that items of the folder got while it was watched.
class WatchedFolder {
 public:
  explicit WatchedFolder(const TemporaryDirectory& folder) : watch_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    inotify_add_watch(watch_, folder.path().c_str(), IN_MOVED_TO);
  }
  WatchedFolder(const WatchedFolder&) = delete;
  WatchedFolder& operator=(const WatchedFolder&) = delete;
  ~WatchedFolder() { close(watch_); }

  std::vector<std::string> names() const {
    std::vector<std::string> names;
    alignas(inotify_event) std::array<char, 4096> buffer;
    const ssize_t length = read(watch_, buffer.data(), buffer.size());
    for (ssize_t at = 0; at < length;) {
      const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
      names.emplace_back(event->name);
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
    return names;
  }

 private:
  int watch_;
};

// The path form puts the time behind the whole path and the URL form behind the last component; in the folder both
// come to the same name.
TEST_P(NSFileManagerTelvoRename, TheNameOnTheWayIsTheOldOneAndTheSecondsSince2001) {
  const TemporaryDirectory folder;
  folder.write("Photo.JPG", "1");
  const WatchedFolder watched(folder);
  const double before = NSDate::timeIntervalSinceReferenceDateNow();
  EXPECT_TRUE(rename(folder.text("Photo.JPG"), "photo.jpg"_ns, false));
  const std::vector<std::string> names = watched.names();
  ASSERT_EQ(names.size(), 2U);
  ASSERT_TRUE(names[0].starts_with("Photo.JPG")) << names[0];
  const std::string time = names[0].substr(std::string("Photo.JPG").size());
  EXPECT_EQ(time.size() - time.find('.'), 3U) << time;
  EXPECT_NEAR(std::stod(time), before, 60.0);
  EXPECT_EQ(names[1], "photo.jpg");
}

TEST_P(NSFileManagerTelvoRename, ANameThatDiffersInMoreThanCaseIsTakenAtOnce) {
  const TemporaryDirectory folder;
  folder.write("a.txt", "1");
  const WatchedFolder watched(folder);
  EXPECT_TRUE(rename(folder.text("a.txt"), "b.txt"_ns, false));
  EXPECT_EQ(watched.names(), std::vector<std::string>{"b.txt"});
}

TEST_P(NSFileManagerTelvoRename, TheSameNameLosesNothingEvenWhenTheItemCannotBePutAside) {
  const TemporaryDirectory folder;
  const std::string name(255, 'n');
  folder.write(name, "1");
  EXPECT_FALSE(rename(folder.text(name), NSString::stringWithUTF8String(name), true));
  EXPECT_EQ(listing(folder), name + "=1");
}

TEST_P(NSFileManagerTelvoRename, ACaseOnlyRenameThatFailsGivesTheOldNameBack) {
  const TemporaryDirectory folder;
  folder.write("Photo", "1");
  folder.write("photo", "2");
  Ref<NSError> error;
  EXPECT_FALSE(rename(folder.text("Photo"), "photo"_ns, false, &error));
  EXPECT_EQ(listing(folder), "Photo=1 photo=2");
  EXPECT_EQ(error->code(), NSFileWriteFileExistsError);
}

TEST_P(NSFileManagerTelvoRename, WithoutDeletingAnExistingNameFailsAndLeavesBothItems) {
  const TemporaryDirectory folder;
  folder.write("a", "1");
  folder.write("b", "2");
  Ref<NSError> error;
  EXPECT_FALSE(rename(folder.text("a"), "b"_ns, false, &error));
  EXPECT_EQ(listing(folder), "a=1 b=2");
  EXPECT_EQ(error->code(), NSFileWriteFileExistsError);
}

TEST_P(NSFileManagerTelvoRename, DeletesWhatIsInTheWayWhenAsked) {
  const TemporaryDirectory folder;
  folder.write("a", "1");
  folder.write("b", "2");
  folder.write("full/of/files", "3");
  EXPECT_TRUE(rename(folder.text("a"), "b"_ns, true));
  EXPECT_EQ(listing(folder), "b=1 full/ full/of/ full/of/files=3");
  EXPECT_TRUE(rename(folder.text("b"), "full"_ns, true));
  EXPECT_EQ(listing(folder), "full=1");
  Ref<NSError> error;
  EXPECT_TRUE(rename(folder.text("full"), "free"_ns, true, &error));
  EXPECT_EQ(error, nil);
}

TEST_P(NSFileManagerTelvoRename, NothingIsDeletedForAnItemThatIsNotThere) {
  const TemporaryDirectory folder;
  folder.write("b", "2");
  Ref<NSError> error;
  EXPECT_FALSE(rename(folder.text("a"), "b"_ns, true, &error));
  EXPECT_FALSE(rename(folder.text("B"), "b"_ns, true));
  EXPECT_EQ(listing(folder), "b=2");
  EXPECT_NE(error, nil);
}

TEST_P(NSFileManagerTelvoRename, RefusesWhatIsNoName) {
  const TemporaryDirectory folder;
  folder.write("a/item", "1");
  folder.write("sub/other", "2");
  for (const char* name : {"", ".", "..", "../x", "/", "x/y"}) {
    Ref<NSError> error;
    EXPECT_FALSE(rename(folder.text("a/item"), NSString::stringWithUTF8String(name), true, &error)) << name;
    ASSERT_NE(error, nil);
    EXPECT_EQ(error->code(), NSFileWriteInvalidFileNameError);
  }
  EXPECT_FALSE(rename(folder.text("a/item"), nil, true));
  EXPECT_FALSE(rename(nil, "b"_ns, true));
  EXPECT_EQ(listing(folder), "a/ a/item=1 sub/ sub/other=2");
}

TEST_P(NSFileManagerTelvoRename, RenamesAFolderWhosePathEndsInASlash) {
  const TemporaryDirectory folder;
  folder.write("Docs/file", "1");
  EXPECT_TRUE(rename(folder.text("Docs/"), "docs"_ns, false));
  EXPECT_EQ(listing(folder), "docs/ docs/file=1");
}

TEST_P(NSFileManagerTelvoRename, RenamesALinkAndNotItsTarget) {
  const TemporaryDirectory folder;
  folder.write("target", "1");
  std::filesystem::create_symlink("target", folder / "link");
  std::filesystem::create_symlink("nothing", folder / "broken");
  EXPECT_TRUE(rename(folder.text("link"), "Link"_ns, true));
  EXPECT_TRUE(rename(folder.text("broken"), "dangling"_ns, true));
  EXPECT_EQ(listing(folder), "Link->target dangling->nothing target=1");
}

TEST_P(NSFileManagerTelvoRename, TakesNamesUpToTheFileSystemsLimit) {
  const TemporaryDirectory folder;
  const std::string longest(255, 'n');
  folder.write("a", "1");
  EXPECT_TRUE(rename(folder.text("a"), NSString::stringWithUTF8String(longest), false));
  EXPECT_EQ(listing(folder), longest + "=1");
  EXPECT_FALSE(rename(folder.text(longest), NSString::stringWithUTF8String(longest + "n"), false));
  EXPECT_EQ(listing(folder), longest + "=1");
}

TEST_P(NSFileManagerTelvoRename, KeepsNamesThatAreNoUTF8) {
  const TemporaryDirectory folder;
  folder.write("bad\xff.TXT", "1");
  EXPECT_TRUE(rename(folder.text("bad\xff.TXT"), NSString::stringWithUTF8String("bad\xff.txt"), false));
  EXPECT_EQ(listing(folder), "bad\xff.txt=1");
}

TEST_P(NSFileManagerTelvoRename, InAFolderThatCannotBeWrittenNothingChanges) {
  const TemporaryDirectory folder;
  folder.write("Item", "1");
  folder.write("other", "2");
  std::filesystem::permissions(folder.path(), std::filesystem::perms{0555});
  const std::string result = withoutPrivileges([&]() -> std::string {
    std::string results;
    for (const auto& name : {"new"_ns, "item"_ns, "Item"_ns, "other"_ns}) {
      Ref<NSError> error;
      results += rename(folder.text("Item"), name, true, &error) ? "YES " : "NO ";
      results += error && error->code() == NSFileWriteNoPermissionError ? "permission, " : "other, ";
    }
    return results;
  });
  EXPECT_EQ(result, "NO permission, NO permission, NO permission, NO other, ");
  EXPECT_EQ(listing(folder), "Item=1 other=2");
  std::filesystem::permissions(folder.path(), std::filesystem::perms{0755});
}

TEST(NSFileManagerTelvo, ByPathABrokenLinkInTheWayDoesNotExistAndStays) {
  const TemporaryDirectory folder;
  folder.write("a", "1");
  std::filesystem::create_symlink("nothing", folder / "b");
  EXPECT_FALSE(renamePath(folder.text("a"), "b"_ns, true));
  EXPECT_EQ(listing(folder), "a=1 b->nothing");
}

TEST(NSFileManagerTelvo, ByURLABrokenLinkInTheWayIsRemovedUntested) {
  const TemporaryDirectory folder;
  folder.write("a", "1");
  std::filesystem::create_symlink("nothing", folder / "b");
  EXPECT_TRUE(renameURL(folder.text("a"), "b"_ns, true));
  EXPECT_EQ(listing(folder), "b=1");
}

// A folder that cannot be removed stands where the item is to go.
std::string pathOfTheFailure(decltype(&renamePath) rename) {
  const TemporaryDirectory folder;
  folder.write("parent/item", "1");
  folder.write("parent/full/file", "2");
  std::filesystem::permissions(folder.path(), std::filesystem::perms{0777});
  std::filesystem::permissions(folder / "parent", std::filesystem::perms{0777});
  std::filesystem::permissions(folder / "parent/full", std::filesystem::perms{0555});
  const std::string result = withoutPrivileges([&]() -> std::string {
    Ref<NSError> error;
    if (rename(folder.text("parent/item"), "full"_ns, true, &error)) return "renamed";
    return std::to_string(error->code());
  });
  EXPECT_EQ(listing(folder.path() / "parent"), "full/ full/file=2 item=1");
  std::filesystem::permissions(folder / "parent/full", std::filesystem::perms{0755});
  return result;
}

TEST(NSFileManagerTelvo, WhatCannotBeRemovedFromTheWayMakesTheRenameFail) {
  EXPECT_EQ(pathOfTheFailure(&renamePath), std::to_string(NSFileWriteFileExistsError));
  EXPECT_EQ(pathOfTheFailure(&renameURL), std::to_string(NSFileWriteFileExistsError));
}

TEST(NSFileManagerTelvo, OnlyFileURLsAreRenamed) {
  Ref<NSError> error;
  EXPECT_FALSE(telvo_renameItemAtURL_toFilename_deleteExisting_error(manager(), NSURL::URLWithString("ftp://host/a"_ns),
                                                                     "b"_ns, true, &error));
  EXPECT_NE(error, nil);
  EXPECT_FALSE(telvo_renameItemAtURL_toFilename_deleteExisting_error(manager(), nil, "b"_ns, true, nullptr));
}

}  // namespace
