#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "testing/EnvironmentVariable.h"
#include "testing/TemporaryDirectory.h"

namespace {

std::string utf8(const Ref<NSString>& text) { return text ? text->UTF8String() : "(nil)"; }

// The user's languages, and nothing else that could name one.
struct Languages {
  Languages(const char* locale, const char* list = nullptr) : lcAll("LC_ALL", locale), language("LANGUAGE", list) {}
  EnvironmentVariable lcAll;
  EnvironmentVariable language;
};

class NSBundleTest : public testing::Test {
 protected:
  NSBundleTest() {
    folder_.write("Resources/en.lproj/Localizable.strings", "\"Hello\" = \"Hello there\";\n\"Bye\" = \"Good bye\";");
    folder_.write("Resources/de.lproj/Localizable.strings", "\"Hello\" = \"Grüß Gott\";");
    folder_.write("Resources/de-AT.lproj/Localizable.strings", "\"Hello\" = \"Servus\";");
    folder_.write("Resources/zh_Hant.lproj/Localizable.strings", "\"Hello\" = \"你好（繁體）\";");
    folder_.write("Resources/de.lproj/Sizes.strings", "\"%ld bytes\" = \"%ld Byte\";");
    bundle_ = NSBundle::bundleWithPath(folder_.text());
  }

  std::string text(const Ref<NSString>& key, const Ref<NSString>& value = nil, const Ref<NSString>& table = nil) {
    return utf8(bundle_->localizedStringForKey_value_table(key, value, table));
  }

  TemporaryDirectory folder_;
  Ref<NSBundle> bundle_;
};

TEST_F(NSBundleTest, AnswersInTheUsersLanguage) {
  const Languages languages("de_DE.UTF-8");
  EXPECT_EQ(text("Hello"_ns), "Grüß Gott");
  EXPECT_EQ(text("%ld bytes"_ns, nil, "Sizes"_ns), "%ld Byte");
  EXPECT_EQ(text("Hello"_ns, nil, ""_ns), "Grüß Gott") << "an empty table name is the usual table";
}

TEST_F(NSBundleTest, PrefersTheRegionsOwnTable) {
  const Languages languages("de_AT.UTF-8@euro");
  EXPECT_EQ(text("Hello"_ns), "Servus");
}

TEST_F(NSBundleTest, FallsBackToEnglishTextByText) {
  {
    const Languages languages("de_DE.UTF-8");
    EXPECT_EQ(text("Bye"_ns), "Good bye");
  }
  const Languages languages("fi_FI.UTF-8");
  EXPECT_EQ(text("Hello"_ns), "Hello there");
}

TEST_F(NSBundleTest, AnswersTheValueOrTheKeyWhenThereIsNoText) {
  const Languages languages("de_DE.UTF-8");
  EXPECT_EQ(text("Missing"_ns), "Missing");
  EXPECT_EQ(text("Missing"_ns, ""_ns), "Missing");
  EXPECT_EQ(text("Missing"_ns, "value"_ns), "value");
  EXPECT_EQ(text("Hello"_ns, nil, "NoTable"_ns), "Hello");
  EXPECT_EQ(text(nil, "value"_ns), "value");
  EXPECT_EQ(text(nil), "");
}

TEST_F(NSBundleTest, FollowsTheListOfLanguages) {
  {
    const Languages languages("en_US.UTF-8", "fi:de");
    EXPECT_EQ(text("Hello"_ns), "Grüß Gott");
  }
  const Languages languages("C", "fi:de");
  EXPECT_EQ(text("Hello"_ns), "Hello there") << "the list counts only where there is a language at all";
}

TEST_F(NSBundleTest, TellsScriptsByTheRegion) {
  {
    const Languages languages("zh_TW.UTF-8");
    EXPECT_EQ(text("Hello"_ns), "你好（繁體）");
  }
  const Languages languages("zh_CN.UTF-8");
  EXPECT_EQ(text("Hello"_ns), "Hello there");
}

TEST_F(NSBundleTest, LanguageNamesCannotLeaveTheResources) {
  folder_.write("secret.lproj/Localizable.strings", "\"Hello\" = \"secret\";");
  const Languages languages("en_US.UTF-8", "../secret:.:/");
  EXPECT_EQ(text("Hello"_ns), "Hello there");
}

TEST_F(NSBundleTest, KnowsItsFolders) {
  EXPECT_EQ(utf8(bundle_->bundlePath()), folder_.path());
  EXPECT_EQ(utf8(bundle_->resourcePath()), folder_ / "Resources");
  EXPECT_EQ(NSBundle::bundleWithPath(nil), nil);
  EXPECT_EQ(NSBundle::bundleWithPath(folder_.text("missing")), nil);
}

TEST(NSBundle, TheMainBundleHoldsTheExecutable) {
  const std::string executable = std::filesystem::read_symlink("/proc/self/exe");
  const std::string path = utf8(NSBundle::mainBundle()->bundlePath());
  EXPECT_TRUE(executable.starts_with(path + "/")) << path;
  EXPECT_EQ(NSBundle::mainBundle(), NSBundle::mainBundle());
}

TEST_F(NSBundleTest, IsIdentifiedByItsInformation) {
  EXPECT_FALSE(bundle_->bundleIdentifier());
  folder_.write("Resources/Info.plist",
                "<plist><dict><key>CFBundleIdentifier</key><string>a.b</string></dict></plist>");
  EXPECT_EQ(utf8(bundle_->bundleIdentifier()), "a.b");
  folder_.write("Resources/Info.plist", "<plist><dict><key>CFBundleIdentifier</key><string/></dict></plist>");
  EXPECT_FALSE(bundle_->bundleIdentifier());
}

TEST(NSBundle, TheMainBundleGoesByTheExecutablesNameWithoutInformation) {
  EXPECT_EQ(utf8(NSBundle::mainBundle()->bundleIdentifier()), "foundation_tests");
}

}  // namespace
