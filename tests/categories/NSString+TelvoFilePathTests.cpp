#include <gtest/gtest.h>

#include "categories/NSString+Telvo.h"
#include "foundation/Foundation.h"
#include "foundation/files/NSBundle.h"
#include "testing/EnvironmentVariable.h"
#include "testing/TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;

std::string utf8(const Ref<NSString>& text) { return text ? text->UTF8String() : "(nil)"; }
Ref<NSString> text(std::string_view bytes) { return NSString::stringWithUTF8String(bytes); }

std::string cleaned(std::string_view name, const Ref<NSString>& defaultName = nil) {
  return utf8(telvo_stringByCleaningFilenameWithDefault(text(name), defaultName));
}

// ---- Names

TEST(NSStringTelvoFilePath, CleansFileNames) {
  EXPECT_EQ(cleaned("  ..a/b:c "), "a-b-c");
  EXPECT_EQ(cleaned("Notes.txt"), "Notes.txt");
  EXPECT_EQ(cleaned("a  b"), "a  b");
  EXPECT_EQ(cleaned("/etc/passwd"), "-etc-passwd");
  EXPECT_EQ(cleaned("../../x"), "-..-x");
  EXPECT_EQ(cleaned("\ta\n"), "\ta\n") << "only spaces are trimmed";
  EXPECT_EQ(cleaned(". a"), " a") << "spaces go before dots";
  EXPECT_EQ(cleaned("한글😀é"), "한글😀é");
  EXPECT_EQ(cleaned("\xff/\xfe"), "\xff-\xfe");
}

TEST(NSStringTelvoFilePath, AnEmptyNameGivesTheDefault) {
  EXPECT_EQ(cleaned("...", "default"_ns), "default");
  EXPECT_EQ(cleaned("", "default"_ns), "default");
  EXPECT_EQ(cleaned("  . ", "default"_ns), "default");
  EXPECT_EQ(cleaned("...", ".not/cleaned "_ns), ".not/cleaned ");
  EXPECT_EQ(cleaned("..."), "(nil)");
  EXPECT_EQ(telvo_stringByCleaningFilenameWithDefault(nil, "default"_ns), nil);
}

TEST(NSStringTelvoFilePath, AppendsCleanedComponents) {
  EXPECT_EQ(utf8(telvo_stringByAppendingPathComponent_cleanWithDefault("/a"_ns, " ../b "_ns, "x"_ns)), "/a/-b");
  EXPECT_EQ(utf8(telvo_stringByAppendingPathComponent_cleanWithDefault("/a"_ns, ".."_ns, "x"_ns)), "/a/x");
  EXPECT_EQ(utf8(telvo_stringByAppendingPathComponent_cleanWithDefault("/a"_ns, nil, "x"_ns)), "/a/x");
  EXPECT_EQ(utf8(telvo_stringByAppendingPathComponent_cleanWithDefault("/a"_ns, ".."_ns, nil)), "/a");
  EXPECT_EQ(telvo_stringByAppendingPathComponent_cleanWithDefault(nil, "b"_ns, "x"_ns), nil);
}

TEST(NSStringTelvoFilePath, TakesTheNameWithoutExtension) {
  EXPECT_EQ(utf8(telvo_lastPathComponentWithoutExtension("/a/b.tar.gz"_ns)), "b.tar");
  EXPECT_EQ(utf8(telvo_lastPathComponentWithoutExtension("/a.b/c/"_ns)), "c");
  EXPECT_EQ(utf8(telvo_lastPathComponentWithoutExtension("/a/.hidden"_ns)), ".hidden");
  EXPECT_EQ(utf8(telvo_lastPathComponentWithoutExtension(""_ns)), "");
  EXPECT_EQ(telvo_lastPathComponentWithoutExtension(nil), nil);
}

TEST(NSStringTelvoFilePath, BackupsTakeATildeBeforeTheExtension) {
  EXPECT_EQ(utf8(telvo_backupFilePath("/a/b.txt"_ns)), "/a/b~.txt");
  EXPECT_EQ(utf8(telvo_backupFilePath("/a.d/b"_ns)), "/a.d/b~");
  EXPECT_EQ(utf8(telvo_backupFilePath("Notes.txt"_ns)), "Notes~.txt");
  EXPECT_EQ(utf8(telvo_backupFilePath("/a/.hidden"_ns)), "/a/.hidden~");
  EXPECT_EQ(utf8(telvo_backupFilePath(text("/a/\xff.txt"))), "/a/\xff~.txt");
  EXPECT_EQ(telvo_backupFilePath(nil), nil);
}

// ---- Unique paths

TEST(NSStringTelvoFilePath, APathThatIsFreeIsUnique) {
  const TemporaryDirectory folder;
  const auto path = folder.text("a.txt");
  EXPECT_EQ(telvo_uniquePath(path), path);
  EXPECT_EQ(telvo_uniquePathWithPrefix(path, "copy"_ns), path);
  EXPECT_EQ(telvo_uniquePath(nil), nil);
}

TEST(NSStringTelvoFilePath, CountsUniquePathsFromTwo) {
  const TemporaryDirectory folder;
  folder.write("a.txt");
  EXPECT_EQ(utf8(telvo_uniquePath(folder.text("a.txt"))), folder / "a 2.txt");
  EXPECT_EQ(utf8(telvo_uniquePathWithPrefix(folder.text("a.txt"), ""_ns)), folder / "a 2.txt");
  for (const char* name : {"a 2.txt", "a 3.txt", "a 5.txt"}) folder.write(name);
  EXPECT_EQ(utf8(telvo_uniquePath(folder.text("a.txt"))), folder / "a 4.txt");
}

TEST(NSStringTelvoFilePath, TriesThePrefixAloneFirst) {
  const TemporaryDirectory folder;
  folder.write("a.txt");
  EXPECT_EQ(utf8(telvo_uniquePathWithPrefix(folder.text("a.txt"), "copy"_ns)), folder / "a copy.txt");
  folder.write("a copy.txt");
  EXPECT_EQ(utf8(telvo_uniquePathWithPrefix(folder.text("a.txt"), "copy"_ns)), folder / "a copy 2.txt");
  folder.write("a copy 2.txt");
  EXPECT_EQ(utf8(telvo_uniquePathWithPrefix(folder.text("a.txt"), "copy"_ns)), folder / "a copy 3.txt");
}

TEST(NSStringTelvoFilePath, UniquePathsOfFoldersAndLinksAndOddNames) {
  const TemporaryDirectory folder;
  fs::create_directory(folder / "folder.d");
  folder.write("bare");
  folder.write("\xff.txt");
  fs::create_symlink("nothing", folder / "link");
  EXPECT_EQ(utf8(telvo_uniquePath(folder.text("folder.d"))), folder / "folder 2.d");
  EXPECT_EQ(utf8(telvo_uniquePath(folder.text("bare"))), folder / "bare 2");
  EXPECT_EQ(utf8(telvo_uniquePath(folder.text("\xff.txt"))), folder / "\xff 2.txt");
  EXPECT_EQ(utf8(telvo_uniquePath(folder.text("link"))), folder / "link 2") << "a broken link takes up its name";
}

// ---- Missing folders

TEST(NSStringTelvoFilePath, MakesMissingFolders) {
  const TemporaryDirectory folder;
  EXPECT_EQ(utf8(telvo_validatedDirectoryPath(folder.text("a/b/c"))), folder / "a/b/c");
  EXPECT_TRUE(fs::is_directory(folder / "a/b/c"));
  EXPECT_EQ(utf8(telvo_validatedDirectoryPath(folder.text("a/b/c/"))), folder / "a/b/c") << "nothing is left to do";
  EXPECT_EQ(utf8(telvo_validatedDirectoryPath(folder.text("x/../y/./\xff"))), folder / "y/\xff");
  EXPECT_TRUE(fs::is_directory(folder / "y/\xff"));
  EXPECT_FALSE(folder.has("x"));
}

TEST(NSStringTelvoFilePath, MakesMissingFoldersAboveAFile) {
  const TemporaryDirectory folder;
  EXPECT_EQ(utf8(telvo_validatedFilePath(folder.text("a/b/file.txt"))), folder / "a/b/file.txt");
  EXPECT_TRUE(fs::is_directory(folder / "a/b"));
  EXPECT_FALSE(folder.has("a/b/file.txt"));
}

TEST(NSStringTelvoFilePath, FoldersThatCannotBeMadeAreNotReported) {
  const TemporaryDirectory folder;
  folder.write("file");
  EXPECT_EQ(utf8(telvo_validatedDirectoryPath(folder.text("file/a/b"))), folder / "file/a/b");
  EXPECT_TRUE(fs::is_regular_file(folder / "file"));
  // Not even the superuser makes folders here.
  EXPECT_EQ(utf8(telvo_validatedDirectoryPath("/proc/telvo-test/a"_ns)), "/proc/telvo-test/a");
  EXPECT_FALSE(fs::exists("/proc/telvo-test"));
  EXPECT_EQ(utf8(telvo_validatedFilePath("/proc/telvo-test/a"_ns)), "/proc/telvo-test/a");
}

TEST(NSStringTelvoFilePath, MakesNothingWhereALinkLeadsNowhere) {
  const TemporaryDirectory folder;
  fs::create_symlink("nothing/at/all", folder / "link");
  EXPECT_EQ(utf8(telvo_validatedDirectoryPath(folder.text("link/a"))), folder / "link/a");
  EXPECT_FALSE(folder.has("nothing"));
  fs::create_directory(folder / "real");
  fs::create_symlink("real", folder / "to real");
  EXPECT_EQ(utf8(telvo_validatedDirectoryPath(folder.text("to real/a"))), folder / "to real/a");
  EXPECT_TRUE(fs::is_directory(folder / "real/a"));
}

TEST(NSStringTelvoFilePath, PathsBeyondTheSystemsLimitsAreAnsweredAsAnyOther) {
  const TemporaryDirectory folder;
  const std::string name(300, 'n');  // longer than names can be
  EXPECT_EQ(utf8(telvo_validatedDirectoryPath(folder.text("a/" + name + "/b"))), folder / "a/" + name + "/b");
  EXPECT_TRUE(fs::is_directory(folder / "a"));
  EXPECT_EQ(utf8(telvo_uniquePath(folder.text(name))), folder / name);
  std::string deep = "/proc/telvo-test";
  while (deep.size() < 100'000) deep += "/a";
  EXPECT_EQ(utf8(telvo_validatedDirectoryPath(text(deep))), deep);
}

TEST(NSStringTelvoFilePath, ValidatesRelativeAndEmptyPaths) {
  const TemporaryDirectory folder;
  const fs::path before = fs::current_path();
  fs::current_path(folder.path());
  EXPECT_EQ(utf8(telvo_validatedDirectoryPath("r/s"_ns)), "r/s");
  EXPECT_EQ(utf8(telvo_validatedFilePath("file"_ns)), "file");
  fs::current_path(before);
  EXPECT_TRUE(fs::is_directory(folder / "r/s"));
  EXPECT_EQ(utf8(telvo_validatedDirectoryPath(""_ns)), "");
  EXPECT_EQ(utf8(telvo_validatedDirectoryPath("/"_ns)), "/");
  EXPECT_EQ(telvo_validatedDirectoryPath(nil), nil);
  EXPECT_EQ(telvo_validatedFilePath(nil), nil);
}

TEST(NSStringTelvoFilePath, ValidatesExpandedPaths) {
  const TemporaryDirectory home;
  const EnvironmentVariable variable("HOME", home.path().c_str());
  EXPECT_EQ(utf8(telvo_validatedDirectoryPath("~/a/b"_ns)), home / "a/b");
  EXPECT_TRUE(fs::is_directory(home / "a/b"));
  EXPECT_EQ(utf8(telvo_validatedFilePath("~/c/file"_ns)), home / "c/file");
  EXPECT_TRUE(fs::is_directory(home / "c"));
}

// ---- Expanding and abbreviating

std::string bundlePath() { return utf8(NSBundle::mainBundle()->bundlePath()); }

TEST(NSStringTelvoFilePath, ExpandsTheBundleToken) {
  const auto expanded = telvo_expandedPath("<APP>/Contents"_ns);
  EXPECT_EQ(utf8(expanded), bundlePath() + "/Contents");
  EXPECT_EQ(utf8(telvo_abbreviatedPath(expanded)), "<APP>/Contents");
  EXPECT_EQ(utf8(telvo_expandedPath("<APP>"_ns)), bundlePath());
}

TEST(NSStringTelvoFilePath, ATokenAtTheStartMakesEveryTokenCount) {
  EXPECT_EQ(utf8(telvo_expandedPath("<APP>/a:<APP>/../b"_ns)), bundlePath() + "/a:" + bundlePath() + "/../b");
  EXPECT_EQ(utf8(telvo_abbreviatedPath(text(bundlePath() + "/a:" + bundlePath() + "/b"))), "<APP>/a:<APP>/b");
  EXPECT_EQ(utf8(telvo_expandedPath("/x/<APP>/y"_ns)), "/x/<APP>/y");
  EXPECT_EQ(utf8(telvo_expandedPath("<app>/y"_ns)), "<app>/y");
}

TEST(NSStringTelvoFilePath, ThePathOfTheBundleMayEndInsideAName) {
  EXPECT_EQ(utf8(telvo_abbreviatedPath(text(bundlePath() + "2/a"))), "<APP>2/a");
  EXPECT_EQ(utf8(telvo_expandedPath("<APP>2/a"_ns)), bundlePath() + "2/a");
}

TEST(NSStringTelvoFilePath, WhatFollowsTheTokenStaysAsItIs) {
  EXPECT_EQ(utf8(telvo_expandedPath("<APP>/~/a//./b/"_ns)), bundlePath() + "/~/a//./b/");
  EXPECT_EQ(utf8(telvo_expandedPath("~/<APP>"_ns)), utf8(NSHomeDirectory()) + "/<APP>");
}

TEST(NSStringTelvoFilePath, ExpandsAndAbbreviatesTheHomeFolder) {
  const EnvironmentVariable variable("HOME", "/home/someone");
  EXPECT_EQ(utf8(telvo_expandedPath("~/a"_ns)), "/home/someone/a");
  EXPECT_EQ(utf8(telvo_expandedPath("~"_ns)), "/home/someone");
  EXPECT_EQ(utf8(telvo_abbreviatedPath("/home/someone/a"_ns)), "~/a");
  EXPECT_EQ(utf8(telvo_abbreviatedPath("/home/someone"_ns)), "~");
  EXPECT_EQ(utf8(telvo_abbreviatedPath("/home/someoneelse/a"_ns)), "/home/someoneelse/a");
  EXPECT_EQ(utf8(telvo_abbreviatedPath("/other/home/someone"_ns)), "/other/home/someone");
  EXPECT_EQ(utf8(telvo_expandedPath("~nobody that exists/a"_ns)), "~nobody that exists/a");
  EXPECT_EQ(utf8(telvo_expandedPath("a/~"_ns)), "a/~");
}

TEST(NSStringTelvoFilePath, AbbreviatingUndoesExpandingAndBackAgain) {
  const EnvironmentVariable variable("HOME", "/home/someone");
  for (const char* stored : {"~", "~/a b/\xff", "<APP>", "<APP>/a:<APP>/\xfe", "/etc/x", "relative/x"}) {
    const auto expanded = telvo_expandedPath(text(stored));
    EXPECT_EQ(utf8(telvo_abbreviatedPath(expanded)), stored);
    EXPECT_EQ(utf8(telvo_expandedPath(telvo_abbreviatedPath(expanded))), utf8(expanded));
  }
}

TEST(NSStringTelvoFilePath, ResolvesDotsWhenExpanding) {
  EXPECT_EQ(utf8(telvo_expandedPath("/a/./b/../c"_ns)), "/a/c");
  EXPECT_EQ(utf8(telvo_expandedPath("a/../b"_ns)), "a/../b") << "relative to a place that is not known";
  EXPECT_EQ(utf8(telvo_expandedPath(text("/a/\xff/../\xfe"))), "/a/\xfe");
  EXPECT_EQ(utf8(telvo_expandedPath(""_ns)), "");
  EXPECT_EQ(telvo_expandedPath(nil), nil);
  EXPECT_EQ(telvo_abbreviatedPath(nil), nil);
}

// ---- Property lists

TEST(NSStringTelvoPropertyList, BooleansAreOneAndZero) {
  EXPECT_EQ(utf8(telvo_stringWithBoolValue(true)), "1");
  EXPECT_EQ(utf8(telvo_stringWithBoolValue(false)), "0");
}

TEST(NSStringTelvoFilePath, WhatFollowsADotAndHoldsASpaceIsNoExtension) {
  EXPECT_EQ(telvo_backupFilePath("/a/Dr. No"_ns)->UTF8String(), "/a/Dr. No~");
  EXPECT_EQ(telvo_lastPathComponentWithoutExtension("/a/Dr. No"_ns)->UTF8String(), "Dr. No");
}

}  // namespace
