#include <filesystem>

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include "foundation/Foundation.h"
#include "testing/EnvironmentVariable.h"
#include "testing/TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;

std::string utf8(const Ref<NSString>& text) { return text ? text->UTF8String() : "(nil)"; }
Ref<NSString> path(std::string_view bytes) { return NSString::stringWithUTF8String(bytes); }

std::string described(const Ref<NSArray>& components) {
  std::string text;
  for (const id& component : *components) text += "[" + utf8(as<NSString>(component)) + "]";
  return text;
}

std::string standardized(std::string_view bytes) { return utf8(path(bytes)->stringByStandardizingPath()); }

// ---- Components

TEST(NSPathUtilities, TakesTheLastComponentWhateverSlashesFollow) {
  EXPECT_EQ(utf8("/tmp/a.txt"_ns->lastPathComponent()), "a.txt");
  EXPECT_EQ(utf8("/tmp/lib///"_ns->lastPathComponent()), "lib");
  EXPECT_EQ(utf8("a"_ns->lastPathComponent()), "a");
  EXPECT_EQ(utf8("/"_ns->lastPathComponent()), "/");
  EXPECT_EQ(utf8("///"_ns->lastPathComponent()), "/");
  EXPECT_EQ(utf8(""_ns->lastPathComponent()), "");
}

TEST(NSPathUtilities, DeletesTheLastComponent) {
  EXPECT_EQ(utf8("/tmp/a.txt"_ns->stringByDeletingLastPathComponent()), "/tmp");
  EXPECT_EQ(utf8("/tmp//lib//"_ns->stringByDeletingLastPathComponent()), "/tmp");
  EXPECT_EQ(utf8("/tmp"_ns->stringByDeletingLastPathComponent()), "/");
  EXPECT_EQ(utf8("/"_ns->stringByDeletingLastPathComponent()), "/");
  EXPECT_EQ(utf8("a"_ns->stringByDeletingLastPathComponent()), "");
  EXPECT_EQ(utf8(""_ns->stringByDeletingLastPathComponent()), "");
}

TEST(NSPathUtilities, AppendsWithOneSlash) {
  EXPECT_EQ(utf8("/tmp"_ns->stringByAppendingPathComponent("a"_ns)), "/tmp/a");
  EXPECT_EQ(utf8("/tmp/"_ns->stringByAppendingPathComponent("/a//b/"_ns)), "/tmp/a/b");
  EXPECT_EQ(utf8("/"_ns->stringByAppendingPathComponent("a"_ns)), "/a");
  EXPECT_EQ(utf8(""_ns->stringByAppendingPathComponent("a/"_ns)), "a");
  EXPECT_EQ(utf8("/tmp"_ns->stringByAppendingPathComponent(""_ns)), "/tmp");
  EXPECT_THROW("/tmp"_ns->stringByAppendingPathComponent(nil), Ref<NSException>);
}

TEST(NSPathUtilities, SplitsIntoComponentsAndJoinsThem) {
  EXPECT_EQ(described("/tmp//a/"_ns->pathComponents()), "[/][tmp][a][/]");
  EXPECT_EQ(described("tmp/a"_ns->pathComponents()), "[tmp][a]");
  EXPECT_EQ(described("/"_ns->pathComponents()), "[/]");
  EXPECT_EQ(described("//"_ns->pathComponents()), "[/]");
  EXPECT_EQ(described(""_ns->pathComponents()), "");
  for (const auto& whole : {"/tmp/a"_ns, "tmp/a/b"_ns, "/"_ns, ""_ns, "a"_ns}) {
    EXPECT_EQ(utf8(NSString::pathWithComponents(whole->pathComponents())), utf8(whole));
  }
  EXPECT_EQ(utf8(NSString::pathWithComponents("/tmp//a/"_ns->pathComponents())), "/tmp/a");
  EXPECT_EQ(utf8(NSString::pathWithComponents(NSArray::arrayWithObjects({""_ns, "a"_ns, ""_ns, "b/"_ns}))), "a/b");
  EXPECT_EQ(utf8(NSString::pathWithComponents(nil)), "");
  EXPECT_THROW(NSString::pathWithComponents(NSArray::arrayWithObjects({NSNull::null()})), Ref<NSException>);
}

// ---- Extensions

TEST(NSPathUtilities, ExtensionsBeginAtTheLastDotOfTheName) {
  EXPECT_EQ(utf8("/tmp/a.tar.gz"_ns->pathExtension()), "gz");
  EXPECT_EQ(utf8("/tmp/a.tar.gz//"_ns->pathExtension()), "gz");
  EXPECT_EQ(utf8("/tmp/a.tar.gz"_ns->stringByDeletingPathExtension()), "/tmp/a.tar");
  for (const auto& without : {"/tmp.d/a"_ns, "/tmp/.hidden"_ns, "/tmp/a."_ns, ".."_ns, "."_ns, ""_ns, "/"_ns}) {
    EXPECT_EQ(utf8(without->pathExtension()), "") << utf8(without);
    EXPECT_EQ(utf8(without->stringByDeletingPathExtension()), utf8(without));
  }
}

TEST(NSPathUtilities, AppendsExtensions) {
  EXPECT_EQ(utf8("/tmp/a/"_ns->stringByAppendingPathExtension("txt"_ns)), "/tmp/a.txt");
  EXPECT_EQ("/"_ns->stringByAppendingPathExtension("txt"_ns), nil);
  EXPECT_EQ(""_ns->stringByAppendingPathExtension("txt"_ns), nil);
  EXPECT_THROW("a"_ns->stringByAppendingPathExtension(nil), Ref<NSException>);
}

// ---- Home folders

TEST(NSPathUtilities, HomeFolderIsTheEnvironmentsOrTheAccounts) {
  {
    const EnvironmentVariable home("HOME", "/home//someone/");
    EXPECT_EQ(utf8(NSHomeDirectory()), "/home/someone");
  }
  const EnvironmentVariable home("HOME", nullptr);
  const passwd* account = getpwuid(getuid());
  EXPECT_EQ(utf8(NSHomeDirectory()), account ? account->pw_dir : "/");
}

TEST(NSPathUtilities, TildeIsTheUsersHomeFolder) {
  const EnvironmentVariable home("HOME", "/home/someone");
  EXPECT_EQ(utf8("~"_ns->stringByExpandingTildeInPath()), "/home/someone");
  EXPECT_EQ(utf8("~/a/"_ns->stringByExpandingTildeInPath()), "/home/someone/a");
  EXPECT_EQ(utf8("a/~/b"_ns->stringByExpandingTildeInPath()), "a/~/b");
  EXPECT_EQ(utf8("/a/"_ns->stringByExpandingTildeInPath()), "/a");
  EXPECT_TRUE("~/a"_ns->isAbsolutePath());
  EXPECT_TRUE("/a"_ns->isAbsolutePath());
  EXPECT_FALSE("a"_ns->isAbsolutePath());
}

TEST(NSPathUtilities, TildeWithANameIsThatUsersHomeFolder) {
  const passwd* root = getpwuid(0);
  ASSERT_TRUE(root);
  const std::string name = root->pw_name;
  const std::string home = root->pw_dir;
  EXPECT_EQ(utf8(path("~" + name)->stringByExpandingTildeInPath()), home);
  EXPECT_EQ(utf8(path("~" + name + "/a")->stringByExpandingTildeInPath()), home + "/a");
  EXPECT_EQ(utf8("~no such user/a"_ns->stringByExpandingTildeInPath()), "~no such user/a");
  const std::string longer = "~" + name + std::string(1, '\0') + "x/a";
  EXPECT_EQ(utf8(path(longer)->stringByExpandingTildeInPath()), longer);
}

TEST(NSPathUtilities, NamesThatNoUserCanHaveAreNotLookedUp) {
  for (const std::size_t length : {255U, 256U, 1'000'000U, 10'000'000U}) {
    const auto name = path("~" + std::string(length, 'a'));
    EXPECT_TRUE(name->stringByExpandingTildeInPath()->isEqualToString(name)) << length;
  }
}

TEST(NSPathUtilities, AbbreviatesTheHomeFolderOnlyAsAWholeComponent) {
  const EnvironmentVariable home("HOME", "/home/someone/");
  EXPECT_EQ(utf8("/home/someone"_ns->stringByAbbreviatingWithTildeInPath()), "~");
  EXPECT_EQ(utf8("/home/someone/a/"_ns->stringByAbbreviatingWithTildeInPath()), "~/a");
  EXPECT_EQ(utf8("/home/someoneelse"_ns->stringByAbbreviatingWithTildeInPath()), "/home/someoneelse");
  EXPECT_EQ(utf8("/x/home/someone"_ns->stringByAbbreviatingWithTildeInPath()), "/x/home/someone");
  setenv("HOME", "/", 1);
  EXPECT_EQ(utf8("/a"_ns->stringByAbbreviatingWithTildeInPath()), "/a");
}

// ---- Standardizing

TEST(NSPathUtilities, StandardizingTakesOutWhatSaysNothing) {
  EXPECT_EQ(standardized("/a/./b//c/"), "/a/b/c");
  EXPECT_EQ(standardized("./a/."), "a");
  EXPECT_EQ(standardized("/"), "/");
  EXPECT_EQ(standardized("//."), "/");
  EXPECT_EQ(standardized(""), "");
  EXPECT_EQ(standardized("/\xff/./\xfe"), "/\xff/\xfe");
}

TEST(NSPathUtilities, StandardizingResolvesParentsOfAbsolutePaths) {
  EXPECT_EQ(standardized("/no such/b/../../c"), "/c");
  EXPECT_EQ(standardized("/.."), "/");
  EXPECT_EQ(standardized("/../../a/.."), "/");
  EXPECT_EQ(standardized("a/../b"), "a/../b") << "relative to a place that is not known";
  EXPECT_EQ(standardized("../a"), "../a");
}

TEST(NSPathUtilities, TheParentOfALinkIsThatOfTheFolderItLeadsTo) {
  const TemporaryDirectory folder;
  const std::string real = fs::canonical(folder.path());
  fs::create_directories(folder / "far/away/target");
  fs::create_symlink("far/away/target", folder / "link");
  fs::create_symlink("nowhere", folder / "broken");
  fs::create_symlink("loop", folder / "loop");
  EXPECT_EQ(standardized(folder / "link/../x"), real + "/far/away/x");
  EXPECT_EQ(standardized(folder / "link/../../x"), real + "/far/x");
  EXPECT_EQ(standardized(folder / "link/inside/../x"), folder / "link/x") << "only the parents of links move";
  EXPECT_EQ(standardized(folder / "link/x"), folder / "link/x");
  EXPECT_EQ(standardized(folder / "broken/../x"), folder / "x");
  EXPECT_EQ(standardized(folder / "loop/../x"), folder / "x");
  EXPECT_EQ(standardized(folder / "link" + std::string(1, '\0') + "/../x"), folder / "x") << "another name";
}

TEST(NSPathUtilities, PathsTooLongForTheSystemAreTextsOnly) {
  const TemporaryDirectory folder;
  fs::create_directories(folder / "far/away");
  fs::create_symlink("far/away", folder / "link");
  std::string longPath = folder / "link/../x";
  for (int component = 0; component < 3000; ++component) longPath += "/a/..";
  EXPECT_EQ(standardized(longPath), folder / "x");
}

TEST(NSPathUtilities, SpacesAndInvisibleMarksMakeNoExtension) {
  for (const auto& name : {"name. with spaces"_ns, "a.b c"_ns, "Dr. No"_ns, "a.\u200Etxt"_ns, "a.tx\u200F"_ns,
                           "a.\u202Etxt"_ns, "a.t\u2066xt"_ns, "a.\u061Ctxt"_ns}) {
    EXPECT_EQ(utf8(name->pathExtension()), "") << utf8(name);
    EXPECT_EQ(utf8(name->stringByDeletingPathExtension()), utf8(name));
  }
  EXPECT_EQ(utf8("Dr. No.txt"_ns->pathExtension()), "txt");
  EXPECT_EQ(utf8("a.\u00E9t\u00E9"_ns->pathExtension()), "\u00E9t\u00E9");
}

}  // namespace
