#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "streams/ExcludePatterns.h"
#include "streams/RemovalPlan.h"
#include "streams/SentItems.h"
#include "streams/UploadRecord.h"
#include "testing/TemporaryDirectory.h"

namespace {

using streams::SentItems;

bool goOn() { return true; }

Ref<NSDictionary> file(const Ref<NSString>& path, double date, const Ref<NSString>& directory = "/Site"_ns) {
  return NSDictionary::dictionary({{"LocalPath"_ns, path},
                                   {"RemoteDirectory"_ns, directory},
                                   {"IsDirectory"_ns, NSNumber::numberWithBool(false)},
                                   {"ModificationDate"_ns, NSDate::dateWithTimeIntervalSince1970(date)}});
}

Ref<NSDictionary> folder(const Ref<NSString>& path, const Ref<NSString>& directory = "/"_ns) {
  return NSDictionary::dictionary(
      {{"LocalPath"_ns, path}, {"RemoteDirectory"_ns, directory}, {"IsDirectory"_ns, NSNumber::numberWithBool(true)}});
}

Ref<NSArray> array(std::initializer_list<id> records) { return NSArray::arrayWithObjects(records); }

std::string contentsOf(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

class SentItemsTest : public testing::Test {
 protected:
  // What the file holds after the items' save.
  Ref<NSArray> saved(SentItems& items) {
    items.setPath(path);
    items.save();
    return NSArray::arrayWithContentsOfFile(path);
  }

  const TemporaryDirectory temporary;
  const Ref<NSString> path = temporary.text("cache.plist");
};

TEST_F(SentItemsTest, NothingIsKnownAtFirst) {
  SentItems items;
  const auto plan = array({folder("/a/Site"_ns), file("/a/Site/x"_ns, 1000)});
  EXPECT_EQ(items.missingOf(*plan, goOn)->count(), 2U);
  EXPECT_FALSE(items.knowsPlaceOf(*file("/a/Site/x"_ns, 1000)));
  EXPECT_TRUE(items.leftOvers().empty());
  EXPECT_EQ(saved(items)->count(), 0U);
}

TEST_F(SentItemsTest, WhatWasSentIsKept) {
  SentItems items;
  items.didSend(folder("/a/Site"_ns));
  items.didSend(file("/a/Site/x"_ns, 1000));
  EXPECT_TRUE(NSEqualObjects(saved(items), array({folder("/a/Site"_ns), file("/a/Site/x"_ns, 1000)})));
}

TEST_F(SentItemsTest, OnlyWhatIsDifferentIsMissing) {
  SentItems items(array({folder("/a/Site"_ns), file("/a/Site/x"_ns, 1000), file("/a/Site/y"_ns, 1000)}), goOn);
  const auto plan = array(
      {folder("/a/Site"_ns), file("/a/Site/x"_ns, 1000.9), file("/a/Site/y"_ns, 1001), file("/a/Site/Y"_ns, 1000)});
  const auto missing = items.missingOf(*plan, goOn);
  ASSERT_EQ(missing->count(), 2U);
  EXPECT_TRUE(NSEqualObjects(missing->objectAtIndex(0), file("/a/Site/y"_ns, 1001)));
  // Letter case counts here: these are two files.
  EXPECT_TRUE(NSEqualObjects(missing->objectAtIndex(1), file("/a/Site/Y"_ns, 1000)));
  EXPECT_TRUE(items.knowsPlaceOf(*file("/b/y"_ns, 1)));
  EXPECT_FALSE(items.knowsPlaceOf(*file("/a/Site/Y"_ns, 1)));
}

TEST_F(SentItemsTest, AFileThatIsBeingReplacedIsInNoKnownState) {
  SentItems items(array({file("/a/Site/x"_ns, 1000)}), goOn);
  items.willReplace(*file("/a/Site/x"_ns, 2000));
  SentItems next(saved(items), goOn);
  EXPECT_EQ(next.missingOf(*array({file("/a/Site/x"_ns, 1000)}), goOn)->count(), 1U);
  items.didSend(file("/a/Site/x"_ns, 2000));
  EXPECT_TRUE(NSEqualObjects(saved(items), array({file("/a/Site/x"_ns, 2000)})));
}

TEST_F(SentItemsTest, WhatThePlanDoesNotHaveIsLeftOver) {
  SentItems items(array({folder("/a/Site"_ns), file("/a/Site/x"_ns, 1000), folder("/a/Site/y"_ns, "/Site"_ns)}), goOn);
  items.missingOf(*array({folder("/a/Site"_ns), file("/a/Site/y"_ns, 1000)}), goOn);
  const auto left = items.leftOvers();
  ASSERT_EQ(left.size(), 2U);
  EXPECT_TRUE(NSEqualObjects(left[0], file("/a/Site/x"_ns, 1000)));
  EXPECT_TRUE(NSEqualObjects(left[1], folder("/a/Site/y"_ns, "/Site"_ns)));  // now a file
  items.didRemove(*left[0]);
  EXPECT_EQ(saved(items)->count(), 2U);
}

// Saved again and again while it grows and changes, the file is what it would be if it had been saved once.
TEST_F(SentItemsTest, EverySaveHoldsEverything) {
  const auto name = [](int number) { return NSString::stringWithFormat("/a/Site/%d"_ns, number); };
  SentItems earlier;
  for (int number = 0; number < 1000; ++number) earlier.didSend(file(name(number), 1));
  SentItems items(saved(earlier), goOn);
  items.setPath(path);
  for (int number = 999; number >= 0; number -= 90) {
    items.willReplace(*file(name(number), 2));
    items.save();
    items.didSend(file(name(number), 2));
    for (int added = 0; added < 300; ++added) items.didSend(file(name(1000 + number * 300 + added), 2));
    items.save();
    items.didRemove(*file(name(number / 2), 1));
    const auto whole = saved(items);
    EXPECT_TRUE(whole->writeToFile_atomically(temporary.text("once.plist"), true));
    EXPECT_EQ(contentsOf(temporary / "cache.plist"), contentsOf(temporary / "once.plist"));
    SentItems next(whole, goOn);
    EXPECT_TRUE(next.knowsPlaceOf(*file(name(1000 + number * 300 + 299), 2)));
    EXPECT_FALSE(next.knowsPlaceOf(*file(name(number / 2), 1)));
  }
}

TEST_F(SentItemsTest, AFileThatSomebodyElseHasWrittenIsReplacedAsAWhole) {
  SentItems items;
  for (int number = 0; number < 600; ++number) {
    items.didSend(file(NSString::stringWithFormat("/a/Site/%d"_ns, number), 1));
  }
  EXPECT_EQ(saved(items)->count(), 600U);
  std::ofstream(temporary / "cache.plist") << "somebody else's";
  items.didSend(file("/a/Site/last"_ns, 1));
  ASSERT_TRUE(saved(items));
  EXPECT_EQ(saved(items)->count(), 601U);
  std::filesystem::remove(temporary / "cache.plist");
  items.didSend(file("/a/Site/very last"_ns, 1));
  EXPECT_EQ(saved(items)->count(), 602U);
}

TEST_F(SentItemsTest, WhatCannotBeSavedIsSavedTheNextTime) {
  SentItems items;
  items.didSend(file("/a/Site/x"_ns, 1));
  items.setPath(temporary.text("folder/cache.plist"));
  items.save();
  std::filesystem::create_directory(temporary / "folder");
  items.save();
  EXPECT_EQ(NSArray::arrayWithContentsOfFile(temporary.text("folder/cache.plist"))->count(), 1U);
}

TEST_F(SentItemsTest, NothingIsWrittenWithoutAChange) {
  SentItems items(array({file("/a/Site/x"_ns, 1000)}), goOn);
  items.setPath(path);
  items.save();
  EXPECT_FALSE(std::filesystem::exists(temporary / "cache.plist"));
}

TEST_F(SentItemsTest, NamesThatXMLCannotHoldComeBack) {
  for (const char* name : {"\xFF\xFE", "bell\x07", "half\xC3", "return\r", "\xED\xA0\x80", "\xEF\xBF\xBF", "plain"}) {
    const auto record = file(NSString::stringWithUTF8String(std::string("/a/Site/") + name), 1000);
    SentItems items;
    items.didSend(record);
    SentItems next(saved(items), goOn);
    EXPECT_EQ(next.missingOf(*array({record}), goOn)->count(), 0U) << name;
  }
}

TEST_F(SentItemsTest, WhatIsNoRecordIsPassedOver) {
  SentItems items(array({"text"_ns, NSNumber::numberWithBool(true), NSDictionary::dictionary()}), goOn);
  EXPECT_EQ(items.missingOf(*array({file("/a/Site/x"_ns, 1)}), goOn)->count(), 1U);
}

// ---- Removals ----

class RemovalPlanTest : public testing::Test {
 protected:
  std::vector<std::string> removed(const std::vector<Ref<NSDictionary>>& leftOvers, const Ref<NSString>& lines = nil) {
    std::vector<std::string> paths;
    for (const auto& record : streams::removals(leftOvers, source, streams::ExcludePatterns(lines))) {
      EXPECT_TRUE(streams::isRemoval(*record));
      paths.push_back(streams::remotePathOf(*record)->UTF8String());
    }
    return paths;
  }
  Ref<NSString> local(const char* name) const { return temporary.text(std::string("Site/") + name); }

  const TemporaryDirectory temporary;
  const Ref<NSString> source = temporary.text("Site");
};

using Paths = std::vector<std::string>;

TEST_F(RemovalPlanTest, FoldersComeAfterTheirContents) {
  temporary.write("Site/other");
  EXPECT_EQ(removed({folder(local("x"), "/Site"_ns), file(local("x/a"), 1, "/Site/x"_ns),
                     folder(local("x/y"), "/Site/x"_ns), file(local("x/y/b"), 1, "/Site/x/y"_ns)}),
            (Paths{"/Site/x/y/b", "/Site/x/y", "/Site/x/a", "/Site/x"}));
}

TEST_F(RemovalPlanTest, WhatIsThereIsNotGone) {
  temporary.write("Site/x");
  EXPECT_EQ(removed({file(local("x"), 1)}), Paths{});
  EXPECT_EQ(removed({folder(local("x"), "/Site"_ns)}), Paths{"/Site/x"});  // a file is there now
  std::filesystem::create_symlink("nowhere", temporary / "Site/link");
  EXPECT_EQ(removed({file(local("link"), 1)}), Paths{});
  EXPECT_EQ(removed({folder(local("link"), "/Site"_ns)}), Paths{});
}

TEST_F(RemovalPlanTest, WhatBelongsToAnotherSourceStays) {
  EXPECT_EQ(removed({file("/elsewhere/x"_ns, 1), file(temporary.text("Site2/x"), 1)}), Paths{});
}

TEST_F(RemovalPlanTest, WhatIsLeftOutNowStays) {
  EXPECT_EQ(removed({file(local("x.txt"), 1), file(local("build/x"), 1)}, "*.txt\nbuild/"_ns), Paths{});
  EXPECT_EQ(removed({file(local("x.txt"), 1)}, "*.html"_ns), Paths{"/Site/x.txt"});
}

TEST_F(RemovalPlanTest, AnEmptyFolderAndNothingHaveNoContents) {
  EXPECT_FALSE(streams::hasContents(source));
  std::filesystem::create_directory(temporary / "Site");
  EXPECT_FALSE(streams::hasContents(source));
  temporary.write("Site/.hidden");
  EXPECT_TRUE(streams::hasContents(source));
  EXPECT_TRUE(streams::hasContents(local(".hidden")));
}

}  // namespace
