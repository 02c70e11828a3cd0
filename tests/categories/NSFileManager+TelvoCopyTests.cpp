#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "categories/NSFileManager+Telvo.h"
#include "foundation/Foundation.h"
#include "testing/ChildProcess.h"
#include "testing/TemporaryDirectory.h"
#include "tests/categories/FolderListing.h"

// Working files that are committed, and copies beside the original.

namespace {

using namespace folders;

bool commit(const Ref<NSString>& path, Ref<NSError>* error = nullptr) {
  return telvo_renameWorkingFile_forSuccess_error(manager(), path, true, error);
}

bool copySuffixed(const Ref<NSString>& path, const Ref<NSString>& suffix, bool replaceExisting,
                  Ref<NSError>* error = nullptr) {
  return telvo_copyPath_withSuffix_replaceExisting_error(manager(), path, suffix, replaceExisting, error);
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

}  // namespace
