#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "categories/NSFileManager+Telvo.h"
#include "foundation/Foundation.h"
#include "foundation/files/NSURL.h"
#include "testing/ChildProcess.h"
#include "testing/EnvironmentVariable.h"
#include "testing/TemporaryDirectory.h"

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
  const TemporaryDirectory folder;
  EXPECT_FALSE(telvo_fileModificationDateAtPath(manager(), folder.text("missing/file")));
  EXPECT_FALSE(telvo_fileModificationDateAtPath(manager(), nil));
  EXPECT_FALSE(telvo_fileModificationDateAtPath(nil, "/"_ns));
}

// Every item in the folder as "name=content", links as "name->target", folders as "name/", in the order of their names.
std::string listing(const std::filesystem::path& folder) {
  std::vector<std::string> items;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    std::string item = entry.path().lexically_relative(folder);
    if (entry.is_symlink()) {
      item += "->" + std::filesystem::read_symlink(entry.path()).string();
    } else if (entry.is_directory()) {
      item += "/";
    } else {
      std::ifstream file(entry.path(), std::ios::binary);
      item += "=" + std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    items.push_back(item);
  }
  std::ranges::sort(items);
  std::string text;
  for (const std::string& item : items) text += (text.empty() ? "" : " ") + item;
  return text;
}

std::string listing(const TemporaryDirectory& folder) { return listing(folder.path()); }

bool renamePath(const Ref<NSString>& path, const Ref<NSString>& filename, bool deleteExisting,
                Ref<NSError>* error = nullptr) {
  return telvo_renameItemAtPath_toFilename_deleteExisting_error(manager(), path, filename, deleteExisting, error);
}

bool renameURL(const Ref<NSString>& path, const Ref<NSString>& filename, bool deleteExisting,
               Ref<NSError>* error = nullptr) {
  return telvo_renameItemAtURL_toFilename_deleteExisting_error(manager(), NSURL::fileURLWithPath(path), filename,
                                                               deleteExisting, error);
}

bool commit(const Ref<NSString>& path, Ref<NSError>* error = nullptr) {
  return telvo_renameWorkingFile_forSuccess_error(manager(), path, true, error);
}

bool copySuffixed(const Ref<NSString>& path, const Ref<NSString>& suffix, bool replaceExisting,
                  Ref<NSError>* error = nullptr) {
  return telvo_copyPath_withSuffix_replaceExisting_error(manager(), path, suffix, replaceExisting, error);
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

TEST(NSFileManagerTelvo, AFailedWorkingFileIsRemoved) {
  const TemporaryDirectory folder;
  folder.write("Notes~.txt", "new");
  folder.write("Notes.txt", "old");
  EXPECT_TRUE(telvo_renameWorkingFile_forSuccess_error(manager(), folder.text("Notes~.txt"), false, nullptr));
  EXPECT_EQ(listing(folder), "Notes.txt=old");
  Ref<NSError> error;
  EXPECT_FALSE(telvo_renameWorkingFile_forSuccess_error(manager(), folder.text("Notes~.txt"), false, &error));
  EXPECT_EQ(error->code(), NSFileNoSuchFileError);
}

TEST(NSFileManagerTelvo, ACommittedWorkingFileTakesTheFinalName) {
  const TemporaryDirectory folder;
  folder.write("Notes~.txt", "new");
  EXPECT_TRUE(commit(folder.text("Notes~.txt")));
  EXPECT_EQ(listing(folder), "Notes.txt=new");
}

TEST(NSFileManagerTelvo, TheEarlierVersionGetsTheWorkingFilesName) {
  const TemporaryDirectory folder;
  folder.write("Notes~.txt", "new");
  folder.write("Notes.txt", "old");
  EXPECT_TRUE(commit(folder.text("Notes~.txt")));
  EXPECT_EQ(listing(folder), "Notes.txt=new Notes~.txt=old");
  folder.write("Notes~.txt", "newer");
  EXPECT_TRUE(commit(folder.text("Notes~.txt")));
  EXPECT_EQ(listing(folder), "Notes.txt=newer Notes~.txt=new");
}

TEST(NSFileManagerTelvo, WorkingFilesNeedNoExtension) {
  const TemporaryDirectory folder;
  folder.write("Data~", "1");
  EXPECT_TRUE(commit(folder.text("Data~")));
  EXPECT_EQ(listing(folder), "Data=1");
  folder.write("Data~", "2");
  EXPECT_TRUE(commit(folder.text("Data~")));
  EXPECT_EQ(listing(folder), "Data=2 Data~=1");
}

TEST(NSFileManagerTelvo, TheLastCharacterIsCutWhateverItIs) {
  const TemporaryDirectory folder;
  folder.write("Notes.txt", "1");
  EXPECT_TRUE(commit(folder.text("Notes.txt")));
  EXPECT_EQ(listing(folder), "Note.txt=1");
  folder.write("a😀", "2");
  EXPECT_TRUE(commit(folder.text("a😀")));
  EXPECT_EQ(listing(folder), "Note.txt=1 a=2");
}

TEST(NSFileManagerTelvo, OnlyTheLastExtensionIsKeptApart) {
  const TemporaryDirectory folder;
  folder.write("a~.tar.gz", "1");
  EXPECT_TRUE(commit(folder.text("a~.tar.gz")));
  EXPECT_EQ(listing(folder), "a~.ta.gz=1");
}

TEST(NSFileManagerTelvo, AWorkingFileWithoutAFinalNameStays) {
  const TemporaryDirectory folder;
  folder.write("sub/~", "1");
  folder.write("sub/.~", "2");
  for (const char* name : {"sub/~", "sub/.~"}) {
    Ref<NSError> error;
    EXPECT_FALSE(commit(folder.text(name), &error)) << name;
    ASSERT_NE(error, nil);
    EXPECT_EQ(error->code(), NSFileWriteInvalidFileNameError);
  }
  EXPECT_EQ(listing(folder), "sub/ sub/.~=2 sub/~=1");
  folder.write("~.txt", "3");
  EXPECT_TRUE(commit(folder.text("~.txt")));
  EXPECT_TRUE(folder.has(".txt"));
}

TEST(NSFileManagerTelvo, ALeftoverOfAnEarlierCommitIsReplaced) {
  const TemporaryDirectory folder;
  folder.write("Notes~.txt", "new");
  folder.write("Notes~~.txt", "leftover");
  EXPECT_TRUE(commit(folder.text("Notes~.txt")));
  EXPECT_EQ(listing(folder), "Notes.txt=new");
}

TEST(NSFileManagerTelvo, AMissingWorkingFileChangesNothing) {
  const TemporaryDirectory folder;
  folder.write("Notes.txt", "old");
  folder.write("Notes~~.txt", "leftover");
  Ref<NSError> error;
  EXPECT_FALSE(commit(folder.text("Notes~.txt"), &error));
  EXPECT_NE(error, nil);
  EXPECT_FALSE(commit(nil));
  EXPECT_EQ(listing(folder), "Notes.txt=old Notes~~.txt=leftover");
}

TEST(NSFileManagerTelvo, ACommitThatCannotTakeTheNameOnTheWayLeavesTheWorkingFile) {
  const TemporaryDirectory folder;
  const std::string final(254, 'n');
  folder.write(final + "~", "new");
  folder.write(final, "old");
  EXPECT_FALSE(commit(folder.text(final + "~")));
  EXPECT_EQ(listing(folder), final + "=old " + final + "~=new");
  const std::string shorter(253, 'n');
  folder.write(shorter + "~", "new");
  EXPECT_TRUE(commit(folder.text(shorter + "~")));
  EXPECT_EQ(folder.read(shorter), "new");
}

TEST(NSFileManagerTelvo, ACommitOverABrokenLinkStopsAtTheNameOnTheWay) {
  const TemporaryDirectory folder;
  folder.write("Notes~.txt", "new");
  std::filesystem::create_symlink("nothing", folder / "Notes.txt");
  Ref<NSError> error;
  EXPECT_FALSE(commit(folder.text("Notes~.txt"), &error));
  EXPECT_EQ(listing(folder), "Notes.txt->nothing Notes~~.txt=new");
  EXPECT_EQ(error->code(), NSFileWriteFileExistsError);
}

TEST(NSFileManagerTelvo, ACommitOverALinkKeepsTheLinkAsTheEarlierVersion) {
  const TemporaryDirectory folder;
  folder.write("real", "old");
  folder.write("Notes~.txt", "new");
  std::filesystem::create_symlink("real", folder / "Notes.txt");
  EXPECT_TRUE(commit(folder.text("Notes~.txt")));
  EXPECT_EQ(listing(folder), "Notes.txt=new Notes~.txt->real real=old");
}

TEST(NSFileManagerTelvo, ACommitInAFolderThatCannotBeWrittenLeavesEverything) {
  const TemporaryDirectory folder;
  folder.write("Notes~.txt", "new");
  folder.write("Notes.txt", "old");
  std::filesystem::permissions(folder.path(), std::filesystem::perms{0555});
  const std::string result = withoutPrivileges([&]() -> std::string {
    Ref<NSError> error;
    if (commit(folder.text("Notes~.txt"), &error)) return "committed";
    if (telvo_renameWorkingFile_forSuccess_error(manager(), folder.text("Notes~.txt"), false, nullptr))
      return "removed";
    return std::to_string(error->code());
  });
  EXPECT_EQ(result, std::to_string(NSFileWriteNoPermissionError));
  EXPECT_EQ(listing(folder), "Notes.txt=old Notes~.txt=new");
  std::filesystem::permissions(folder.path(), std::filesystem::perms{0755});
}

TEST(NSFileManagerTelvo, ACommitOnAFullVolumeSucceeds) {
  const TemporaryDirectory folder;
  const std::string result = inChild([&]() -> std::string {
    const SmallVolume volume(folder.path());
    folder.write("sub/Notes~.txt", "new");
    folder.write("sub/Notes.txt", "old");
    volume.fill();
    const std::string answer = commit(folder.text("sub/Notes~.txt")) ? "YES " : "NO ";
    return answer + listing(folder.path() / "sub");
  });
  EXPECT_EQ(result, "YES Notes.txt=new Notes~.txt=old");
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

TEST(NSFileManagerTelvo, CopiesBesideTheOriginalWithASuffixBeforeTheExtension) {
  const TemporaryDirectory folder;
  folder.write("b.txt", "1");
  folder.write("plain", "2");
  folder.write("d.app/x", "3");
  EXPECT_TRUE(copySuffixed(folder.text("b.txt"), " backup"_ns, false));
  EXPECT_TRUE(copySuffixed(folder.text("plain"), " 2"_ns, false));
  EXPECT_TRUE(copySuffixed(folder.text("d.app/"), "~"_ns, false));
  EXPECT_EQ(listing(folder), "b backup.txt=1 b.txt=1 d.app/ d.app/x=3 d~.app/ d~.app/x=3 plain 2=2 plain=2");
}

TEST(NSFileManagerTelvo, WithoutASuffixOrASourceNothingIsCopied) {
  const TemporaryDirectory folder;
  folder.write("b.txt", "1");
  std::filesystem::create_symlink("nothing", folder / "broken");
  Ref<NSError> error;
  EXPECT_FALSE(copySuffixed(folder.text("b.txt"), ""_ns, true, &error));
  EXPECT_NE(error, nil);
  EXPECT_FALSE(copySuffixed(folder.text("b.txt"), nil, true));
  EXPECT_FALSE(copySuffixed(folder.text("missing"), " 2"_ns, true));
  EXPECT_FALSE(copySuffixed(folder.text("broken"), " 2"_ns, true));
  EXPECT_FALSE(copySuffixed(nil, " 2"_ns, true));
  EXPECT_EQ(listing(folder), "b.txt=1 broken->nothing");
}

TEST(NSFileManagerTelvo, ASuffixThatLeadsElsewhereIsRefused) {
  const TemporaryDirectory folder;
  folder.write("a/file", "1");
  EXPECT_FALSE(copySuffixed(folder.text("a/file"), "/.."_ns, true));
  EXPECT_FALSE(copySuffixed(folder.text("a"), "/../a"_ns, true));
  EXPECT_EQ(listing(folder), "a/ a/file=1");
}

TEST(NSFileManagerTelvo, AnExistingCopyIsReplacedOnlyWhenAsked) {
  const TemporaryDirectory folder;
  folder.write("b.txt", "new");
  folder.write("b 2.txt/old", "old");
  Ref<NSError> error;
  EXPECT_FALSE(copySuffixed(folder.text("b.txt"), " 2"_ns, false, &error));
  EXPECT_EQ(error->code(), NSFileWriteFileExistsError);
  EXPECT_EQ(listing(folder), "b 2.txt/ b 2.txt/old=old b.txt=new");
  EXPECT_TRUE(copySuffixed(folder.text("b.txt"), " 2"_ns, true));
  EXPECT_EQ(listing(folder), "b 2.txt=new b.txt=new");
}

TEST(NSFileManagerTelvo, ABackupReplacesTheEarlierOne) {
  const TemporaryDirectory folder;
  folder.write("a.txt", "1");
  EXPECT_TRUE(telvo_backupPath(folder.text("a.txt")));
  folder.write("a.txt", "2");
  EXPECT_TRUE(telvo_backupPath(folder.text("a.txt")));
  EXPECT_EQ(listing(folder), "a backup.txt=2 a.txt=2");
  EXPECT_FALSE(telvo_backupPath(folder.text("missing")));
  EXPECT_FALSE(telvo_backupPath(nil));
}

TEST(NSFileManagerTelvo, ACopyThatDoesNotFitLeavesTheOriginalAndNoPart) {
  const TemporaryDirectory folder;
  const std::string result = inChild([&]() -> std::string {
    const SmallVolume volume(folder.path());
    folder.write("sub/big", std::string(100000, 'x'));
    folder.write("sub/tree/1", "small");
    folder.write("sub/tree/2", std::string(100000, 'y'));
    volume.fill();
    Ref<NSError> error;
    const bool file = copySuffixed(folder.text("sub/big"), " 2"_ns, false, &error);
    const bool tree = copySuffixed(folder.text("sub/tree"), " 2"_ns, true);
    const bool kept = folder.read("sub/big").size() == 100000 && folder.read("sub/tree/2").size() == 100000;
    return std::string(file || tree ? "copied" : "failed") + (error ? " error" : "") + (kept ? " kept" : " lost") +
           (folder.has("sub/big 2") || folder.has("sub/tree 2") ? " part" : "");
  });
  EXPECT_EQ(result, "failed error kept");
}

// The earlier copy goes first: its room may be what the new one needs.
TEST(NSFileManagerTelvo, ABackupOnAFullVolumeUsesTheRoomOfTheEarlierOne) {
  const TemporaryDirectory folder;
  const std::string result = inChild([&]() -> std::string {
    const SmallVolume volume(folder.path());
    folder.write("sub/big", std::string(3000, 'x'));
    folder.write("sub/big backup", std::string(3000, 'o'));
    volume.fill();
    const bool copied = telvo_backupPath(folder.text("sub/big"));
    return (copied ? "YES " : "NO ") +
           std::string(folder.read("sub/big backup") == folder.read("sub/big") ? "new" : "");
  });
  EXPECT_EQ(result, "YES new");
}

TEST(NSFileManagerTelvo, ABackupThatDoesNotFitLeavesTheOriginalOnly) {
  const TemporaryDirectory folder;
  const std::string result = inChild([&]() -> std::string {
    const SmallVolume volume(folder.path());
    folder.write("sub/big", std::string(100000, 'x'));
    folder.write("sub/big backup", "old");
    volume.fill();
    const bool copied = telvo_backupPath(folder.text("sub/big"));
    return (copied ? "YES " : "NO ") + std::to_string(folder.read("sub/big").size()) +
           (folder.has("sub/big backup") ? " and a part" : "");
  });
  EXPECT_EQ(result, "NO 100000");
}

TEST(NSFileManagerTelvo, ACopyWhoseNameIsTooLongFails) {
  const TemporaryDirectory folder;
  const std::string name = std::string(251, 'n') + ".txt";
  folder.write(name, "1");
  EXPECT_FALSE(telvo_backupPath(folder.text(name)));
  EXPECT_EQ(listing(folder), name + "=1");
}

TEST(NSFileManagerTelvo, ACopyInAFolderThatCannotBeWrittenFailsAndLeavesTheEarlierOne) {
  const TemporaryDirectory folder;
  folder.write("a.txt", "new");
  folder.write("a backup.txt", "old");
  std::filesystem::permissions(folder.path(), std::filesystem::perms{0555});
  const std::string result =
      withoutPrivileges([&]() -> std::string { return telvo_backupPath(folder.text("a.txt")) ? "copied" : "failed"; });
  EXPECT_EQ(result, "failed");
  EXPECT_EQ(listing(folder), "a backup.txt=old a.txt=new");
  std::filesystem::permissions(folder.path(), std::filesystem::perms{0755});
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
