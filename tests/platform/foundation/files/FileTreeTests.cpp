#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "foundation/files/FileTree.h"
#include "testing/ChildProcess.h"
#include "testing/TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;

struct stat statusOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status;
}

void setDate(const std::string& path, time_t seconds) {
  const timespec times[] = {{seconds - 5, 0}, {seconds, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

constexpr mode_t permissionBits = 07777;

TEST(FileTree, ListsParentsBeforeTheirContentsInTheOrderOfTheFileSystem) {
  const TemporaryDirectory folder;
  for (const char* name : {"t/b/1", "t/b/2", "t/a/x/y", "t/c"}) folder.write(name);
  std::vector<std::string> expected;
  for (const auto& entry : fs::recursive_directory_iterator(folder / "t")) {
    expected.push_back(fs::relative(entry.path(), folder / "t"));
  }
  EXPECT_EQ(foundation::pathsBelow(folder / "t"), expected);
  EXPECT_EQ(expected.size(), 7U);
}

// The date of a folder changes with its contents, and nothing can be put into one that may not be written.
TEST(FileTree, ACopyKeepsDatesAndPermissionsOfFoldersThatMayNotBeWritten) {
  const TemporaryDirectory folder;
  fs::permissions(folder.path(), fs::perms(0777));
  const std::string result = withoutPrivileges([&]() -> std::string {
    fs::create_directories(folder / "from/inner");
    folder.write("from/inner/file", "content");
    for (const char* name : {"from/inner/file", "from/inner", "from"}) setDate(folder / name, 1000000000);
    fs::permissions(folder / "from/inner", fs::perms(0555));
    if (foundation::copyTree(folder / "from", folder / "to")) return "failed";
    std::string dates;
    for (const char* name : {"to/inner/file", "to/inner", "to"}) {
      const struct stat status = statusOf(folder / name);
      dates += std::to_string(status.st_mtim.tv_sec) + " " + std::to_string(status.st_atim.tv_sec) + ", ";
    }
    // Last, since looking into a file may count as reading it.
    const bool isSame =
        folder.read("to/inner/file") == "content" && (statusOf(folder / "to/inner").st_mode & permissionBits) == 0555;
    // So that whoever made it can remove it.
    for (const char* name : {"from/inner", "to/inner"}) fs::permissions(folder / name, fs::perms(0777));
    return isSame ? dates : "differs";
  });
  EXPECT_EQ(result, "1000000000 999999995, 1000000000 999999995, 1000000000 999999995, ");
}

TEST(FileTree, PipesAreCopiedAsPipes) {
  const TemporaryDirectory folder;
  fs::create_directory(folder / "from");
  ASSERT_EQ(mkfifo((folder / "from/pipe").c_str(), 0600), 0);
  fs::permissions(folder / "from/pipe", fs::perms(0640));
  setDate(folder / "from/pipe", 1000000000);
  EXPECT_FALSE(foundation::copyTree(folder / "from", folder / "to"));
  const struct stat status = statusOf(folder / "to/pipe");
  EXPECT_TRUE(S_ISFIFO(status.st_mode));
  EXPECT_EQ(status.st_mode & permissionBits, 0640U);
  EXPECT_EQ(status.st_mtim.tv_sec, 1000000000);
}

TEST(FileTree, SlashesAtTheEndDoNotCount) {
  const TemporaryDirectory folder;
  folder.write("from/file", "content");
  EXPECT_FALSE(foundation::copyTree(folder / "from/", folder / "to//"));
  EXPECT_EQ(folder.read("to/file"), "content");
  EXPECT_FALSE(foundation::moveTree(folder / "to/", folder / "moved/"));
  EXPECT_FALSE(folder.has("to"));
  EXPECT_FALSE(foundation::removeTree(folder / "moved//"));
  EXPECT_FALSE(folder.has("moved"));
}

TEST(FileTree, AFailureNamesTheItemAndTheReason) {
  const TemporaryDirectory folder;
  folder.write("file", "x");
  folder.write("other", "y");
  const auto of = [](const std::optional<foundation::FileTreeFailure>& failure) {
    if (!failure) return std::string("none");
    return fs::path(failure->path).filename().string() + (failure->reading ? " read " : " write ") +
           std::to_string(failure->code);
  };
  const std::string noSuchFile = std::to_string(ENOENT);
  const std::string exists = std::to_string(EEXIST);
  EXPECT_EQ(of(foundation::copyTree(folder / "missing", folder / "to")), "missing read " + noSuchFile);
  EXPECT_EQ(of(foundation::copyTree(folder / "file", folder / "other")), "other write " + exists);
  EXPECT_EQ(of(foundation::copyTree(folder / "file", folder / "no/to")), "to write " + noSuchFile);
  EXPECT_EQ(of(foundation::moveTree(folder / "missing", folder / "to")), "missing write " + noSuchFile);
  EXPECT_EQ(of(foundation::moveTree(folder / "file", folder / "no/to")), "to write " + noSuchFile);
  EXPECT_EQ(of(foundation::moveTree(folder / "file", folder / "other")), "other write " + exists);
  EXPECT_EQ(of(foundation::removeTree(folder / "missing")), "missing write " + noSuchFile);
  EXPECT_EQ(folder.read("file") + folder.read("other"), "xy") << "nothing was touched";
}

TEST(FileTree, AnEmptyFolderThatMayNotBeListedIsRemovedAndAFullOneStays) {
  const TemporaryDirectory folder;
  fs::permissions(folder.path(), fs::perms(0777));
  const std::string result = withoutPrivileges([&]() -> std::string {
    fs::create_directories(folder / "tree/empty");
    folder.write("tree/full/file");
    for (const char* name : {"tree/empty", "tree/full"}) fs::permissions(folder / name, fs::perms(0));
    const auto failure = foundation::removeTree(folder / "tree");
    fs::permissions(folder / "tree/full", fs::perms(0777));
    if (!failure) return "removed";
    return fs::path(failure->path).filename().string() + (folder.has("tree/full/file") ? " kept" : " lost");
  });
  EXPECT_EQ(result, "full kept");
}

TEST(FileTree, AFolderIsNotCopiedIntoItself) {
  const TemporaryDirectory folder;
  folder.write("from/inner/file");
  for (const char* destination : {"from/copy", "from/inner/copy"}) {
    const auto failure = foundation::copyTree(folder / "from", folder / destination);
    ASSERT_TRUE(failure) << destination;
    EXPECT_EQ(failure->code, EINVAL);
    EXPECT_FALSE(folder.has(destination));
  }
  fs::create_directory(folder / "from2");
  EXPECT_FALSE(foundation::copyTree(folder / "from", folder / "from2/copy")) << "only alike by name";
}

}  // namespace
