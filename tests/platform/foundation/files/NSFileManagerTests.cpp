#include <algorithm>
#include <cerrno>
#include <set>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/Foundation.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/NSURL.h"
#include "testing/TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;

const NSFileManager& manager() { return *NSFileManager::defaultManager(); }

std::multiset<std::string> texts(const Ref<NSArray>& array) {
  std::multiset<std::string> result;
  for (const id& each : *array) result.insert(each->description()->UTF8String());
  return result;
}

std::size_t position(const Ref<NSArray>& array, const char* text) {
  return static_cast<std::size_t>(array->indexOfObject(NSString::stringWithUTF8String(text)));
}

void setDate(const std::string& path, time_t seconds, long nanoseconds = 0) {
  const timespec times[] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

struct stat statusOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status;
}

void expectError(const Ref<NSError>& error, NSInteger code, int posixCode) {
  ASSERT_TRUE(error);
  EXPECT_TRUE(NSEqualObjects(error->domain(), NSCocoaErrorDomain()));
  EXPECT_EQ(error->code(), code);
  const auto underlying = as<NSError>(error->userInfo()->objectForKey(NSUnderlyingErrorKey()));
  ASSERT_TRUE(underlying);
  EXPECT_TRUE(NSEqualObjects(underlying->domain(), NSPOSIXErrorDomain()));
  EXPECT_EQ(underlying->code(), posixCode);
}

const Ref<NSString> textWithNUL = NSString::stringWithUnits(std::u16string(u"/etc\0/x", 7));

TEST(NSFileManager, ExistenceFollowsLinks) {
  const TemporaryDirectory folder;
  folder.write("file");
  fs::create_directory(folder / "sub");
  fs::create_symlink("sub", folder / "toFolder");
  fs::create_symlink("file", folder / "toFile");
  fs::create_symlink("nothing", folder / "broken");
  fs::create_symlink("loop", folder / "loop");
  bool isDirectory = false;
  EXPECT_TRUE(manager().fileExistsAtPath_isDirectory(folder.text("toFolder"), &isDirectory));
  EXPECT_TRUE(isDirectory);
  EXPECT_TRUE(manager().fileExistsAtPath_isDirectory(folder.text("toFile"), &isDirectory));
  EXPECT_FALSE(isDirectory);
  EXPECT_TRUE(manager().fileExistsAtPath(folder.text("sub")));
  isDirectory = true;
  EXPECT_FALSE(manager().fileExistsAtPath_isDirectory(folder.text("broken"), &isDirectory));
  EXPECT_FALSE(isDirectory);
  EXPECT_FALSE(manager().fileExistsAtPath(folder.text("loop")));
  EXPECT_FALSE(manager().fileExistsAtPath(folder.text("file/below")));
}

TEST(NSFileManager, PathsThatCannotNameAnythingFailCleanly) {
  const auto tooLong = NSString::stringWithUTF8String("/" + std::string(5000, 'a'));
  for (const auto& path : {Ref<NSString>(), textWithNUL, ""_ns, tooLong}) {
    Ref<NSError> error;
    EXPECT_FALSE(manager().fileExistsAtPath(path));
    EXPECT_FALSE(manager().isReadableFileAtPath(path));
    EXPECT_FALSE(manager().attributesOfItemAtPath_error(path, &error));
    EXPECT_TRUE(error);
    EXPECT_FALSE(manager().contentsOfDirectoryAtPath_error(path, nullptr));
    EXPECT_FALSE(manager().subpathsAtPath(path));
    EXPECT_FALSE(manager().contentsAtPath(path));
    EXPECT_FALSE(manager().createFileAtPath_contents_attributes(path, nil, nil));
    EXPECT_FALSE(manager().createDirectoryAtPath_withIntermediateDirectories_attributes_error(path, true, nil, &error));
    EXPECT_FALSE(manager().removeItemAtPath_error(path, &error));
    EXPECT_FALSE(manager().moveItemAtPath_toPath_error(path, "/tmp/telvo-nowhere"_ns, &error));
    EXPECT_FALSE(manager().moveItemAtPath_toPath_error("/etc/hostname"_ns, path, &error));
    EXPECT_FALSE(manager().copyItemAtPath_toPath_error(path, "/tmp/telvo-nowhere"_ns, &error));
    EXPECT_FALSE(manager().copyItemAtPath_toPath_error("/etc/hostname"_ns, path, &error));
    EXPECT_FALSE(manager().setAttributes_ofItemAtPath_error(
        NSDictionary::dictionary({{NSFilePosixPermissions(), NSNumber::numberWithInteger(0644)}}), path, &error));
  }
  EXPECT_TRUE(fs::exists("/etc/hostname"));
}

TEST(NSFileManager, AttributesAreTheItemsOwn) {
  const TemporaryDirectory folder;
  folder.write("file", "12345");
  fs::create_symlink("file", folder / "link");
  ASSERT_EQ(chmod((folder / "file").c_str(), 0640), 0);
  setDate(folder / "file", 1600000000, 500000000);
  setDate(folder / "link", 12345);
  const auto file = manager().attributesOfItemAtPath_error(folder.text("file"), nullptr);
  EXPECT_TRUE(NSEqualObjects(file->objectForKey(NSFileType()), NSFileTypeRegular()));
  EXPECT_TRUE(NSEqualObjects(file->objectForKey(NSFileSize()), NSNumber::numberWithInteger(5)));
  EXPECT_TRUE(NSEqualObjects(file->objectForKey(NSFilePosixPermissions()), NSNumber::numberWithInteger(0640)));
  EXPECT_TRUE(NSEqualObjects(file->objectForKey(NSFileReferenceCount()), NSNumber::numberWithInteger(1)));
  EXPECT_TRUE(
      NSEqualObjects(file->objectForKey(NSFileOwnerAccountID()), NSNumber::numberWithUnsignedInteger(getuid())));
  EXPECT_DOUBLE_EQ(as<NSDate>(file->objectForKey(NSFileModificationDate()))->timeIntervalSince1970(), 1600000000.5);
  const auto link = manager().attributesOfItemAtPath_error(folder.text("link"), nullptr);
  EXPECT_TRUE(NSEqualObjects(link->objectForKey(NSFileType()), NSFileTypeSymbolicLink()));
  EXPECT_DOUBLE_EQ(as<NSDate>(link->objectForKey(NSFileModificationDate()))->timeIntervalSince1970(), 12345.0);
}

TEST(NSFileManager, TheLastMomentOfASecondDoesNotBecomeTheNextSecond) {
  const TemporaryDirectory folder;
  folder.write("file");
  setDate(folder / "file", 1700000000, 999999999);
  const auto file = manager().attributesOfItemAtPath_error(folder.text("file"), nullptr);
  EXPECT_EQ(file->objectForKey(NSFileModificationDate())->description()->UTF8String(), "2023-11-14 22:13:20 +0000");
}

TEST(NSFileManager, TellsEveryTypeOfItem) {
  const TemporaryDirectory folder;
  ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
  ASSERT_EQ(mknod((folder / "socket").c_str(), S_IFSOCK | 0600, 0), 0);
  const auto type = [&](const Ref<NSString>& path) {
    return manager().attributesOfItemAtPath_error(path, nullptr)->objectForKey(NSFileType());
  };
  EXPECT_TRUE(NSEqualObjects(type(folder.text()), NSFileTypeDirectory()));
  EXPECT_TRUE(NSEqualObjects(type(folder.text("fifo")), NSFileTypeUnknown()));
  EXPECT_TRUE(NSEqualObjects(type(folder.text("socket")), NSFileTypeSocket()));
  EXPECT_TRUE(NSEqualObjects(type("/dev/null"_ns), NSFileTypeCharacterSpecial()));
}

TEST(NSFileManager, AMissingItemHasNoAttributesAndSaysWhy) {
  const TemporaryDirectory folder;
  const Ref<NSString> missing = folder.text("missing");
  Ref<NSError> error;
  EXPECT_FALSE(manager().attributesOfItemAtPath_error(missing, &error));
  expectError(error, NSFileReadNoSuchFileError, ENOENT);
  EXPECT_TRUE(NSEqualObjects(error->userInfo()->objectForKey(NSFilePathErrorKey()), missing));
  EXPECT_EQ(error->localizedDescription()->UTF8String(), (folder / "missing") + ": No such file or directory");
}

TEST(NSFileManager, SetsPermissionsAndModificationDate) {
  const TemporaryDirectory folder;
  folder.write("file");
  const auto attributes =
      NSDictionary::dictionary({{NSFilePosixPermissions(), NSNumber::numberWithInteger(0600)},
                                {NSFileModificationDate(), NSDate::dateWithTimeIntervalSince1970(-1.5)}});
  EXPECT_TRUE(manager().setAttributes_ofItemAtPath_error(attributes, folder.text("file"), nullptr));
  const struct stat status = statusOf(folder / "file");
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  EXPECT_EQ(status.st_mtim.tv_sec, -2);
  EXPECT_EQ(status.st_mtim.tv_nsec, 500000000);
}

TEST(NSFileManager, ListsEveryNameOfAFolderLosslessly) {
  const TemporaryDirectory folder;
  const std::string latin1 = "caf\xe9";
  folder.write("a");
  folder.write(".hidden");
  folder.write(latin1);
  folder.write("new\nline");
  folder.write("sub/below");
  const auto names = manager().contentsOfDirectoryAtPath_error(folder.text(), nullptr);
  EXPECT_EQ(texts(names), (std::multiset<std::string>{".hidden", "a", latin1, "new\nline", "sub"}));
}

TEST(NSFileManager, ListsInTheOrderOfTheFileSystem) {
  const TemporaryDirectory folder;
  for (int i = 0; i < 50; ++i) folder.write(std::to_string(i * 7919 % 1000));
  std::vector<std::string> expected;
  for (const auto& entry : fs::directory_iterator(folder.path())) expected.push_back(entry.path().filename());
  std::vector<std::string> listed;
  const auto names = manager().contentsOfDirectoryAtPath_error(folder.text(), nullptr);
  for (const id& name : *names) {
    listed.push_back(as<NSString>(name)->UTF8String());
  }
  EXPECT_EQ(listed, expected);
}

TEST(NSFileManager, AFileOrAMissingFolderCannotBeListed) {
  const TemporaryDirectory folder;
  folder.write("file");
  Ref<NSError> error;
  EXPECT_FALSE(manager().contentsOfDirectoryAtPath_error(folder.text("missing"), &error));
  expectError(error, NSFileReadNoSuchFileError, ENOENT);
  EXPECT_FALSE(manager().contentsOfDirectoryAtPath_error(folder.text("file"), &error));
  EXPECT_FALSE(manager().subpathsOfDirectoryAtPath_error(folder.text("file"), &error));
  EXPECT_TRUE(manager().contentsOfDirectoryAtPath_error(folder.text(), nullptr));
}

TEST(NSFileManager, SubpathsAreRelativeWithFoldersFirstAndLinksNotEntered) {
  const TemporaryDirectory folder;
  folder.write("a/b/c");
  folder.write("a/d");
  folder.write("e");
  fs::create_directory(folder / "empty");
  fs::create_symlink("..", folder / "a/up");
  const auto paths = manager().subpathsAtPath(folder.text());
  EXPECT_EQ(texts(paths), (std::multiset<std::string>{"a", "a/b", "a/b/c", "a/d", "a/up", "e", "empty"}));
  EXPECT_LT(position(paths, "a"), position(paths, "a/b"));
  EXPECT_LT(position(paths, "a/b"), position(paths, "a/b/c"));
  EXPECT_EQ(texts(manager().subpathsAtPath(folder.text("a/"))), (std::multiset<std::string>{"b", "b/c", "d", "up"}));
}

TEST(NSFileManager, CreatesFoldersWithAndWithoutThoseAbove) {
  const TemporaryDirectory folder;
  folder.write("file");
  Ref<NSError> error;
  const auto create = [&](const Ref<NSString>& path, bool intermediates) {
    return manager().createDirectoryAtPath_withIntermediateDirectories_attributes_error(path, intermediates, nil,
                                                                                        &error);
  };
  EXPECT_FALSE(create(folder.text("x/y/z"), false));
  expectError(error, NSFileNoSuchFileError, ENOENT);
  EXPECT_TRUE(create(folder.text("x//y/z/"), true));
  EXPECT_TRUE(fs::is_directory(folder / "x/y/z"));
  EXPECT_TRUE(create(folder.text("x/y/z"), true));
  EXPECT_FALSE(create(folder.text("x/y/z"), false));
  expectError(error, NSFileWriteFileExistsError, EEXIST);
  EXPECT_FALSE(create(folder.text("file"), true));
  expectError(error, NSFileWriteFileExistsError, EEXIST);
  EXPECT_FALSE(create(folder.text("file/below"), true));
}

TEST(NSFileManager, SetsAttributesOnTheLastFolderOnly) {
  const TemporaryDirectory folder;
  const auto attributes = NSDictionary::dictionary({{NSFilePosixPermissions(), NSNumber::numberWithInteger(0700)}});
  EXPECT_TRUE(manager().createDirectoryAtPath_withIntermediateDirectories_attributes_error(folder.text("p/q"), true,
                                                                                           attributes, nullptr));
  const mode_t mask = umask(0);
  umask(mask);
  EXPECT_EQ(statusOf(folder / "p/q").st_mode & 07777, 0700U);
  EXPECT_EQ(statusOf(folder / "p").st_mode & 07777, 0777U & ~mask);
}

TEST(NSFileManager, CreatesAndReadsFiles) {
  const TemporaryDirectory folder;
  const auto data = NSData::dataWithBytes(std::string("a\0b", 3));
  EXPECT_TRUE(manager().createFileAtPath_contents_attributes(folder.text("file"), data, nil));
  EXPECT_TRUE(NSEqualObjects(manager().contentsAtPath(folder.text("file")), data));
  EXPECT_TRUE(manager().createFileAtPath_contents_attributes(folder.text("file"), nil, nil));
  EXPECT_EQ(manager().contentsAtPath(folder.text("file"))->length(), 0U);
  EXPECT_FALSE(manager().contentsAtPath(folder.text()));
  EXPECT_FALSE(manager().contentsAtPath(folder.text("missing")));
}

TEST(NSFileManager, RemovesTreesAndLeavesTheTargetsOfLinks) {
  const TemporaryDirectory folder;
  folder.write("tree/a/b/c");
  folder.write("tree/.hidden");
  folder.write("kept/file");
  fs::create_symlink("../kept", folder / "tree/link");
  EXPECT_TRUE(manager().removeItemAtPath_error(folder.text("tree/"), nullptr));
  EXPECT_FALSE(folder.has("tree"));
  EXPECT_TRUE(folder.has("kept/file"));
  fs::create_symlink("kept", folder / "link");
  EXPECT_TRUE(manager().removeItemAtPath_error(folder.text("link"), nullptr));
  EXPECT_FALSE(folder.has("link"));
  EXPECT_TRUE(folder.has("kept/file"));
}

TEST(NSFileManager, RemovingAMissingItemFails) {
  const TemporaryDirectory folder;
  Ref<NSError> error;
  EXPECT_FALSE(manager().removeItemAtPath_error(folder.text("missing"), &error));
  expectError(error, NSFileNoSuchFileError, ENOENT);
}

// Lets the process open few files while it lives.
class FewOpenFiles {
 public:
  FewOpenFiles() {
    getrlimit(RLIMIT_NOFILE, &old_);
    const rlimit few{32, old_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
  }
  ~FewOpenFiles() { setrlimit(RLIMIT_NOFILE, &old_); }
  FewOpenFiles(const FewOpenFiles&) = delete;
  FewOpenFiles& operator=(const FewOpenFiles&) = delete;

 private:
  rlimit old_{};
};

TEST(NSFileManager, DeepTreesTakeNoMoreOpenFilesThanShallowOnes) {
  const TemporaryDirectory folder;
  std::string deep = "t";
  for (int level = 0; level < 300; ++level) deep += "/d";
  folder.write(deep + "/file", "x");
  const FewOpenFiles limit;
  EXPECT_TRUE(manager().copyItemAtPath_toPath_error(folder.text("t"), folder.text("u"), nullptr));
  EXPECT_EQ(manager().subpathsAtPath(folder.text("u"))->count(), 301U);
  EXPECT_TRUE(manager().removeItemAtPath_error(folder.text("t"), nullptr));
  EXPECT_TRUE(manager().removeItemAtPath_error(folder.text("u"), nullptr));
  EXPECT_FALSE(folder.has("t"));
  EXPECT_FALSE(folder.has("u"));
}

TEST(NSFileManager, MovesOnlyToAFreePlace) {
  const TemporaryDirectory folder;
  folder.write("a", "A");
  folder.write("b", "B");
  fs::create_symlink("nothing", folder / "broken");
  fs::create_directory(folder / "empty");
  Ref<NSError> error;
  for (const char* taken : {"b", "broken", "empty", "a"}) {
    EXPECT_FALSE(manager().moveItemAtPath_toPath_error(folder.text("a"), folder.text(taken), &error)) << taken;
    expectError(error, NSFileWriteFileExistsError, EEXIST);
  }
  EXPECT_EQ(folder.read("a"), "A");
  EXPECT_EQ(folder.read("b"), "B");
  EXPECT_TRUE(manager().moveItemAtPath_toPath_error(folder.text("a"), folder.text("c"), nullptr));
  EXPECT_FALSE(folder.has("a"));
  EXPECT_EQ(folder.read("c"), "A");
  EXPECT_FALSE(manager().moveItemAtPath_toPath_error(folder.text("a"), folder.text("d"), &error));
  expectError(error, NSFileNoSuchFileError, ENOENT);
}

TEST(NSFileManager, AFolderCannotGoIntoItself) {
  const TemporaryDirectory folder;
  folder.write("a/b/file");
  Ref<NSError> error;
  EXPECT_FALSE(manager().moveItemAtPath_toPath_error(folder.text("a"), folder.text("a/b/c"), &error));
  EXPECT_FALSE(manager().copyItemAtPath_toPath_error(folder.text("a"), folder.text("a/b/c"), &error));
  expectError(error, NSFileWriteUnknownError, EINVAL);
  EXPECT_EQ(manager().subpathsAtPath(folder.text("a"))->count(), 2U);
}

TEST(NSFileManager, MovesBetweenFileSystems) {
  const TemporaryDirectory folder;
  const TemporaryDirectory other("/dev/shm");
  ASSERT_NE(statusOf(other.path()).st_dev, statusOf(folder.path()).st_dev) << "two file systems are needed";
  const auto destination = other.text("tree");
  folder.write("tree/a/file", "content");
  setDate(folder / "tree/a/file", 1000000);
  EXPECT_TRUE(manager().moveItemAtPath_toPath_error(folder.text("tree"), destination, nullptr));
  EXPECT_FALSE(folder.has("tree"));
  EXPECT_EQ(statusOf(other / "tree/a/file").st_mtim.tv_sec, 1000000);
  folder.write("tree/b");
  Ref<NSError> error;
  EXPECT_FALSE(manager().moveItemAtPath_toPath_error(folder.text("tree"), destination, &error));
  expectError(error, NSFileWriteFileExistsError, EEXIST);
  EXPECT_TRUE(folder.has("tree/b"));
  EXPECT_TRUE(other.has("tree/a/file"));
}

TEST(NSFileManager, CopiesKeepContentPermissionsDatesAndLinks) {
  const TemporaryDirectory folder;
  const std::string content(3'000'000, 'x');
  folder.write("tree/sub/file", content);
  folder.write("tree/caf\xe9");
  fs::create_symlink("sub/file", folder / "tree/link");
  fs::create_symlink("nothing", folder / "tree/broken");
  ASSERT_EQ(mkfifo((folder / "tree/fifo").c_str(), 0640), 0);
  ASSERT_EQ(chmod((folder / "tree/sub/file").c_str(), 0751), 0);
  ASSERT_EQ(chmod((folder / "tree/sub").c_str(), 0555), 0);
  setDate(folder / "tree/sub/file", 1111111111, 123456789);
  setDate(folder / "tree/link", 1222222222);
  setDate(folder / "tree/sub", 1333333333);
  setDate(folder / "tree", 1444444444);
  EXPECT_TRUE(manager().copyItemAtPath_toPath_error(folder.text("tree"), folder.text("copy"), nullptr));
  EXPECT_EQ(folder.read("copy/sub/file"), content);
  EXPECT_TRUE(folder.has("copy/caf\xe9"));
  EXPECT_EQ(fs::read_symlink(folder / "copy/link"), "sub/file");
  EXPECT_EQ(fs::read_symlink(folder / "copy/broken"), "nothing");
  EXPECT_TRUE(S_ISFIFO(statusOf(folder / "copy/fifo").st_mode));
  EXPECT_EQ(statusOf(folder / "copy/sub/file").st_mode & 07777, 0751U);
  EXPECT_EQ(statusOf(folder / "copy/sub").st_mode & 07777, 0555U);
  EXPECT_EQ(statusOf(folder / "copy/sub/file").st_mtim.tv_sec, 1111111111);
  EXPECT_EQ(statusOf(folder / "copy/sub/file").st_mtim.tv_nsec, 123456789);
  EXPECT_EQ(statusOf(folder / "copy/link").st_mtim.tv_sec, 1222222222);
  EXPECT_EQ(statusOf(folder / "copy/sub").st_mtim.tv_sec, 1333333333);
  EXPECT_EQ(statusOf(folder / "copy").st_mtim.tv_sec, 1444444444);
  chmod((folder / "tree/sub").c_str(), 0755);
  chmod((folder / "copy/sub").c_str(), 0755);
}

TEST(NSFileManager, CopiesOnlyToAFreePlace) {
  const TemporaryDirectory folder;
  folder.write("a", "A");
  folder.write("b", "B");
  folder.write("tree/file");
  fs::create_symlink("nothing", folder / "broken");
  fs::create_directory(folder / "empty");
  Ref<NSError> error;
  for (const char* source : {"a", "tree"}) {
    for (const char* taken : {"b", "broken", "empty"}) {
      EXPECT_FALSE(manager().copyItemAtPath_toPath_error(folder.text(source), folder.text(taken), &error)) << taken;
      expectError(error, NSFileWriteFileExistsError, EEXIST);
      EXPECT_TRUE(folder.has(taken));
    }
  }
  EXPECT_EQ(folder.read("b"), "B");
  EXPECT_FALSE(manager().copyItemAtPath_toPath_error(folder.text("missing"), folder.text("c"), &error));
  expectError(error, NSFileReadNoSuchFileError, ENOENT);
}

TEST(NSFileManager, ACopyThatFailsHalfWayIsRemoved) {
  const TemporaryDirectory folder;
  // The last level of the copy's path is longer than a path can be.
  std::string path = folder / "t";
  const std::string level = "/" + std::string(100, 'd');
  while (path.size() < 4080) {
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    path += level;
  }
  Ref<NSError> error;
  EXPECT_FALSE(manager().copyItemAtPath_toPath_error(
      folder.text("t"), NSString::stringWithUTF8String(folder / std::string(200, 'n')), &error));
  expectError(error, NSFileWriteInvalidFileNameError, ENAMETOOLONG);
  EXPECT_EQ(texts(manager().contentsOfDirectoryAtPath_error(folder.text(), nullptr)),
            (std::multiset<std::string>{"t"}));
}

TEST(NSFileManager, WorksByURL) {
  const TemporaryDirectory folder;
  const auto url = [&](const char* name) { return NSURL::fileURLWithPath(folder.text(name)); };
  Ref<NSError> error;
  EXPECT_TRUE(
      manager().createDirectoryAtURL_withIntermediateDirectories_attributes_error(url("a b/c%"), true, nil, nullptr));
  EXPECT_TRUE(manager().copyItemAtURL_toURL_error(url("a b"), url("d"), nullptr));
  EXPECT_TRUE(manager().moveItemAtURL_toURL_error(url("d"), url("e"), nullptr));
  EXPECT_TRUE(folder.has("e/c%"));
  const auto contents = manager().contentsOfDirectoryAtURL_error(url("e"), nullptr);
  ASSERT_EQ(contents->count(), 1U);
  EXPECT_TRUE(NSEqualObjects(as<NSURL>(contents->objectAtIndex(0))->path(), folder.text("e/c%")));
  EXPECT_TRUE(manager().removeItemAtURL_error(url("e"), nullptr));
  EXPECT_FALSE(folder.has("e"));
  EXPECT_FALSE(manager().removeItemAtURL_error(NSURL::URLWithString("http://host/a%20b"_ns), &error));
  EXPECT_TRUE(error);
  EXPECT_FALSE(manager().removeItemAtURL_error(nil, nullptr));
}

}  // namespace
