#include <string>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "streams/ExcludePatterns.h"

namespace {

using streams::ExcludePatterns;

struct Case {
  std::string patterns;
  std::string path;  // a slash at the end: a folder
  bool isExcluded;
};

void PrintTo(const Case& value, std::ostream* output) { *output << value.patterns << " on " << value.path; }

class ExcludePatternsTest : public testing::TestWithParam<Case> {};

bool excludes(const std::string& patterns, std::string path) {
  const bool isFolder = path.ends_with('/');
  if (isFolder) path.pop_back();
  return ExcludePatterns(NSString::stringWithUTF8String(patterns))
      .exclude(NSString::stringWithUTF8String(path), isFolder);
}

TEST_P(ExcludePatternsTest, FitsWhatItShould) {
  EXPECT_EQ(excludes(GetParam().patterns, GetParam().path), GetParam().isExcluded);
}

INSTANTIATE_TEST_SUITE_P(
    Names, ExcludePatternsTest,
    testing::Values(Case{"a.txt", "a.txt", true}, Case{"a.txt", "deep/down/a.txt", true},
                    Case{"a.txt", "a.txt/inside", true}, Case{"a.txt", "ba.txt", false}, Case{"a.txt", "A.txt", false},
                    Case{"*.txt", "x/a.txt", true}, Case{"*.txt", ".txt", true}, Case{"*.txt", "a.txt.gz", false},
                    Case{"a*b*c", "aXXbYYc", true}, Case{"a*b*c", "abcb", false}, Case{"?.txt", "\xC3\xBC.txt", true},
                    Case{"?.txt", "\xF0\x9F\x98\x80.txt", true}, Case{"?.txt", "\xFF.txt", true},
                    Case{"?.txt", "ab.txt", false}, Case{"*", "x", true}, Case{"**", "x/y", true}));

INSTANTIATE_TEST_SUITE_P(Sets, ExcludePatternsTest,
                         testing::Values(Case{"[abc].o", "b.o", true}, Case{"[a-c].o", "d.o", false},
                                         Case{"[!a-c].o", "d.o", true}, Case{"[^a-c].o", "a.o", false},
                                         Case{"[]x]", "]", true}, Case{"[a-]", "-", true}, Case{"[\\]]", "]", true},
                                         Case{"[[:digit:]x]", "7", true}, Case{"[[:digit:]]", "x", false},
                                         Case{"[[:digit:]]", "\xC3\xBC", false}, Case{"[abc", "a", false},
                                         Case{"[\xC3\xA4-\xC3\xBC]", "\xC3\xB6", true}));

INSTANTIATE_TEST_SUITE_P(Places, ExcludePatternsTest,
                         testing::Values(Case{"/a", "a", true}, Case{"/a", "x/a", false}, Case{"x/a", "x/a", true},
                                         Case{"x/a", "y/x/a", false}, Case{"x/*", "x/a/b", true},
                                         Case{"x/*/b", "x/a/b", true}, Case{"x/*/b", "x/a/c/b", false},
                                         Case{"build/", "build/", true}, Case{"build/", "build", false},
                                         Case{"build/", "x/build/", true}, Case{"build/", "x/build/file", true},
                                         Case{"/build/", "x/build/", false}, Case{"x/build/", "x/build/", true},
                                         Case{"x/build/", "y/x/build/", false}));

INSTANTIATE_TEST_SUITE_P(AnyFolders, ExcludePatternsTest,
                         testing::Values(Case{"**/a", "a", true}, Case{"**/a", "x/y/a", true},
                                         Case{"x/**", "x/a", true}, Case{"x/**", "x/a/b", true},
                                         Case{"x/**", "x/", false}, Case{"x/**/b", "x/b", true},
                                         Case{"x/**/b", "x/1/2/b", true}, Case{"x/**/b", "y/b", false},
                                         Case{"x**y", "xaay", true}, Case{"/x**y", "xa/ay", false}));

// As in a .gitignore, where nothing has an empty name.
INSTANTIATE_TEST_SUITE_P(Slashes, ExcludePatternsTest,
                         testing::Values(Case{"x//a", "x/a", false}, Case{"//a", "a", false}, Case{"a//", "a/", false},
                                         Case{"**//a", "x/a", false}, Case{"//", "a/", false},
                                         Case{"x\\/a", "x/a", true}, Case{"x\\/a", "y/x/a", false},
                                         Case{"**\\/a", "x/y/a", true}, Case{"\\/a", "a", false}));

INSTANTIATE_TEST_SUITE_P(Lines, ExcludePatternsTest,
                         testing::Values(Case{"", "a", false}, Case{"\n\n#a\n", "a", false}, Case{"#a", "#a", false},
                                         Case{"\\#a", "#a", true}, Case{"\\!a", "!a", true}, Case{"a  ", "a", true},
                                         Case{"a\\ ", "a ", true}, Case{"a\\ ", "a", false},
                                         Case{"a\r\nb\r\n", "b", true}, Case{"\\*", "x", false}, Case{"\\*", "*", true},
                                         Case{"/", "a", false}));

INSTANTIATE_TEST_SUITE_P(Order, ExcludePatternsTest,
                         testing::Values(Case{"*.txt\n!keep.txt", "keep.txt", false},
                                         Case{"!keep.txt\n*.txt", "keep.txt", true},
                                         Case{"*.txt\n!keep.txt", "x/keep.txt", false},
                                         Case{"x/\n!x/keep.txt", "x/keep.txt", true},
                                         Case{"x/*\n!x/keep.txt", "x/keep.txt", false}));

TEST(ExcludePatterns, NoPatternsLeaveNothingOut) {
  EXPECT_TRUE(ExcludePatterns().isEmpty());
  EXPECT_TRUE(ExcludePatterns(nil).isEmpty());
  EXPECT_FALSE(ExcludePatterns().exclude("a"_ns, false));
}

TEST(ExcludePatterns, AnItemByItselfIsNotAskedForItsFolders) {
  const ExcludePatterns patterns("x/"_ns);
  EXPECT_FALSE(patterns.excludeItem("x/a"_ns, false));
  EXPECT_TRUE(patterns.exclude("x/a"_ns, false));
}

// Would take longer than the universe has if every star were tried with every other.
TEST(ExcludePatterns, ManyStarsAreNoTrouble) {
  std::string stars;
  for (int index = 0; index < 60; ++index) stars += "*a";
  EXPECT_FALSE(excludes(stars + "b", std::string(200, 'a')));
  std::string folders;
  for (int index = 0; index < 30; ++index) folders += "**/a/";
  std::string path;
  for (int index = 0; index < 60; ++index) path += "a/";
  EXPECT_FALSE(excludes(folders + "b", path));
}

}  // namespace
