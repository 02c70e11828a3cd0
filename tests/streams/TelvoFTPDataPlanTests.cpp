#include <algorithm>
#include <filesystem>
#include <map>
#include <random>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "categories/NSArray+Telvo.h"
#include "foundation/Foundation.h"
#include "streams/TelvoFTPData.h"
#include "testing/TemporaryDirectory.h"
#include "tests/streams/UploadRecords.h"

// What a job does before anything is sent: the plan and the filter.

namespace {

using namespace records;

Ref<NSDictionary> recordAt(const Ref<NSArray>& records, NSUInteger index) {
  return as<NSDictionary>(records->objectAtIndex(index));
}

// ---- The plan ----

TEST(TelvoFTPDataScan, ASingleFileIsOneRecord) {
  const TemporaryDirectory folder;
  folder.write("report.txt", "x");
  setDate(folder / "report.txt", 1000000000);
  const auto plan = scanned(folder.text("report.txt"))->uploadInfo();
  ASSERT_EQ(plan->count(), 1U);
  EXPECT_TRUE(NSEqualObjects(plan->objectAtIndex(0), fileRecord(folder.text("report.txt"), "/"_ns, 1000000000)));
  EXPECT_TRUE(as<NSMutableDictionary>(plan->objectAtIndex(0)));
}

TEST(TelvoFTPDataScan, AFolderPrecedesItsContentsInTheOrderOfTheFileSystem) {
  const TemporaryDirectory folder;
  folder.write("Site/index.html");
  folder.write("Site/img/x.png");
  folder.write("Site/img/deep/.hidden");
  folder.write("Site/.htaccess");
  fs::create_directory(folder / "Site/empty");
  // What a recursive walk in the file system's order gives.
  std::vector<std::string> expected{folder / "Site"};
  for (const auto& entry : fs::recursive_directory_iterator(folder / "Site")) expected.push_back(entry.path());
  const auto plan = scanned(folder.text("Site"))->uploadInfo();
  EXPECT_EQ(values(plan, "LocalPath"_ns), expected);

  std::map<std::string, std::string> remote;
  for (const id& record : *plan) {
    const auto path = as<NSString>(as<NSDictionary>(record)->objectForKey("LocalPath"_ns));
    remote[path->lastPathComponent()->UTF8String()] =
        utf8(as<NSDictionary>(record)->objectForKey("RemoteDirectory"_ns));
  }
  const std::map<std::string, std::string> expectedRemote{
      {"Site", "/"},         {"index.html", "/Site"},       {"img", "/Site"},       {"x.png", "/Site/img"},
      {"deep", "/Site/img"}, {".hidden", "/Site/img/deep"}, {".htaccess", "/Site"}, {"empty", "/Site"}};
  EXPECT_EQ(remote, expectedRemote);
}

TEST(TelvoFTPDataScan, FoldersHaveNoDateAndFilesHaveTheirs) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  const auto plan = scanned(folder.text("Site"))->uploadInfo();
  ASSERT_EQ(plan->count(), 2U);
  EXPECT_EQ(utf8(recordAt(plan, 0)->objectForKey("IsDirectory"_ns)), "1");
  EXPECT_TRUE(as<NSNumber>(recordAt(plan, 0)->objectForKey("IsDirectory"_ns))->isBool());
  EXPECT_FALSE(recordAt(plan, 0)->objectForKey("ModificationDate"_ns));
  EXPECT_EQ(utf8(recordAt(plan, 1)->objectForKey("IsDirectory"_ns)), "0");
  EXPECT_TRUE(as<NSDate>(recordAt(plan, 1)->objectForKey("ModificationDate"_ns)));
}

TEST(TelvoFTPDataScan, AMissingPathIsPlannedAsAFileWithoutADate) {
  const TemporaryDirectory folder;
  const auto plan = scanned(folder.text("missing/x"))->uploadInfo();
  ASSERT_EQ(plan->count(), 1U);
  EXPECT_EQ(utf8(recordAt(plan, 0)->objectForKey("IsDirectory"_ns)), "0");
  EXPECT_FALSE(recordAt(plan, 0)->objectForKey("ModificationDate"_ns));
}

TEST(TelvoFTPDataScan, ANilPathIsARecordWithoutOne) {
  const auto plan = scanned(nil)->uploadInfo();
  ASSERT_EQ(plan->count(), 1U);
  EXPECT_TRUE(NSEqualObjects(
      plan->objectAtIndex(0),
      NSDictionary::dictionary({{"RemoteDirectory"_ns, "/"_ns}, {"IsDirectory"_ns, NSNumber::numberWithBool(false)}})));
}

TEST(TelvoFTPDataScan, ANilRemoteDirectoryIsLeftOut) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  const auto plan = scanned(folder.text("Site"), nil)->uploadInfo();
  ASSERT_EQ(plan->count(), 2U);
  EXPECT_FALSE(recordAt(plan, 0)->objectForKey("RemoteDirectory"_ns));
}

TEST(TelvoFTPDataScan, NamesComposedInDifferentWaysAreDifferentFiles) {
  const TemporaryDirectory folder;
  std::vector<std::string> expected{folder.write("Site/caf\xc3\xa9"), folder.write("Site/cafe\xcc\x81"),
                                    folder / "Site"};
  auto found = values(scanned(folder.text("Site"))->uploadInfo(), "LocalPath"_ns);
  std::sort(expected.begin(), expected.end());
  std::sort(found.begin(), found.end());
  EXPECT_EQ(found, expected);
}

TEST(TelvoFTPDataScan, SlashesAtTheEndOfThePathDoNotCount) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  const auto plan = scanned(folder.text("Site/"))->uploadInfo();
  EXPECT_EQ(values(plan, "RemoteDirectory"_ns), (std::vector<std::string>{"/", "/Site"}));
  EXPECT_EQ(values(plan, "LocalPath"_ns).back(), folder / "Site/a");
}

TEST(TelvoFTPDataScan, LinksToFoldersAreFoldersAndOtherLinksAreFiles) {
  const TemporaryDirectory folder;
  folder.write("real/a");
  fs::create_directory(folder / "Site");
  fs::create_symlink("../real", folder / "Site/link");
  fs::create_symlink("nothing", folder / "Site/broken");
  setDate(folder / "Site/broken", 12345);
  const auto plan = scanned(folder.text("Site"))->uploadInfo();
  ASSERT_EQ(plan->count(), 4U);
  std::map<std::string, Ref<NSDictionary>> records;
  for (const id& record : *plan) {
    records[utf8(as<NSDictionary>(record)->objectForKey("LocalPath"_ns))] = as<NSDictionary>(record);
  }
  EXPECT_TRUE(NSEqualObjects(records[folder / "Site/link"], folderRecord(folder.text("Site/link"), "/Site"_ns)));
  ASSERT_TRUE(records[folder / "Site/link/a"]);
  EXPECT_EQ(utf8(records[folder / "Site/link/a"]->objectForKey("RemoteDirectory"_ns)), "/Site/link");
  EXPECT_TRUE(
      NSEqualObjects(records[folder / "Site/broken"], fileRecord(folder.text("Site/broken"), "/Site"_ns, 12345)));
}

TEST(TelvoFTPDataScan, ALinkLoopEndsWhereTheSystemEndsIt) {
  const TemporaryDirectory folder;
  fs::create_directory(folder / "Site");
  fs::create_symlink(".", folder / "Site/loop");
  const auto plan = scanned(folder.text("Site"))->uploadInfo();
  EXPECT_GT(plan->count(), 30U);
  EXPECT_LT(plan->count(), 100U);
  EXPECT_EQ(utf8(recordAt(plan, plan->count() - 1)->objectForKey("IsDirectory"_ns)), "0");
}

TEST(TelvoFTPDataScan, NamesThatAreNotUTF8KeepTheirBytes) {
  const TemporaryDirectory folder;
  folder.write("Site/caf\xe9/\x01");
  const auto plan = scanned(folder.text("Site"))->uploadInfo();
  EXPECT_EQ(values(plan, "LocalPath"_ns).back(), folder / "Site/caf\xe9/\x01");
  EXPECT_EQ(values(plan, "RemoteDirectory"_ns).back(), "/Site/caf\xe9");
}

TEST(TelvoFTPDataScan, PipesAndSocketsArePlannedAsFiles) {
  const TemporaryDirectory folder;
  ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
  const auto plan = scanned(folder.text("fifo"))->uploadInfo();
  ASSERT_EQ(plan->count(), 1U);
  EXPECT_EQ(utf8(recordAt(plan, 0)->objectForKey("IsDirectory"_ns)), "0");
}

TEST(TelvoFTPDataScan, DeepTreesNeedNoStack) {
  const TemporaryDirectory folder;
  std::string deep = "t";
  for (int level = 0; level < 500; ++level) deep += "/d";
  folder.write(deep + "/file");
  Ref<NSMutableArray> plan;
  // A thread with hardly more than the smallest stack there can be.
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 512UL * 1024);
  struct Work {
    const TemporaryDirectory& folder;
    Ref<NSMutableArray>& plan;
  } work{folder, plan};
  pthread_t thread{};
  const auto scan = [](void* argument) -> void* {
    const auto& each = *static_cast<Work*>(argument);
    each.plan = scanned(each.folder.text("t"))->uploadInfo();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, scan, &work), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  EXPECT_EQ(plan->count(), 502U);
}

// ---- The filter ----

Ref<TelvoFTPData> filtered(const Ref<NSMutableArray>& plan, const Ref<NSArray>& cache) {
  const auto job = TelvoFTPData::ftpData();
  job->setUploadInfo(plan);
  job->setCachedInfo(cache);
  job->filterUploadInfoUsingCachedInfo();
  return job;
}

TEST(TelvoFTPDataFilter, WithoutACacheEverythingStays) {
  const auto plan = NSMutableArray::arrayWithObjects({fileRecord("/a"_ns, "/"_ns, 1)});
  const auto job = filtered(plan, nil);
  EXPECT_EQ(job->count(), 1U);
  EXPECT_TRUE(NSEqualObjects(job->cachedInfo(), plan)) << "the plan is the new cache all the same";
}

TEST(TelvoFTPDataFilter, WithAnEmptyCacheEverythingStays) {
  EXPECT_EQ(filtered(NSMutableArray::arrayWithObjects({fileRecord("/a"_ns, "/"_ns, 1)}), NSArray::array())->count(),
            1U);
}

TEST(TelvoFTPDataFilter, DropsWhatIsUnchangedAndKeepsTheOrderOfTheRest) {
  const auto plan = NSMutableArray::arrayWithObjects(
      {folderRecord("/s"_ns, "/"_ns), fileRecord("/s/new"_ns, "/s"_ns, 5), fileRecord("/s/same"_ns, "/s"_ns, 5),
       fileRecord("/s/touched"_ns, "/s"_ns, 6), fileRecord("/s/moved"_ns, "/t"_ns, 5)});
  const auto cache = NSArray::arrayWithObjects(
      {fileRecord("/s/moved"_ns, "/s"_ns, 5), fileRecord("/s/gone"_ns, "/s"_ns, 5),
       fileRecord("/s/touched"_ns, "/s"_ns, 5), fileRecord("/s/same"_ns, "/s"_ns, 5), folderRecord("/s"_ns, "/"_ns)});
  const Ref<NSArray> complete = as<NSArray>(plan->copy());
  const auto job = filtered(plan, cache);
  EXPECT_EQ(values(job->uploadInfo(), "LocalPath"_ns), (std::vector<std::string>{"/s/new", "/s/touched", "/s/moved"}));
  EXPECT_TRUE(NSEqualObjects(job->cachedInfo(), complete)) << "the complete plan is the new cache";
}

TEST(TelvoFTPDataFilter, LetterCaseAndFractionsOfSecondsDoNotCount) {
  const auto plan = NSMutableArray::arrayWithObjects(
      {fileRecord("/S/A.HTML"_ns, "/S"_ns, 5.9), folderRecord("/s/STRASSE"_ns, "/"_ns)});
  const auto cache =
      NSArray::arrayWithObjects({fileRecord("/s/a.html"_ns, "/s"_ns, 5.1), folderRecord("/s/straße"_ns, "/"_ns)});
  EXPECT_EQ(filtered(plan, cache)->count(), 0U);
}

TEST(TelvoFTPDataFilter, HowCharactersAreComposedDoesNotCount) {
  const auto plan = NSMutableArray::arrayWithObjects(
      {fileRecord("/s/caf\u00e9/\uac00"_ns, "/s/caf\u00e9"_ns, 5), folderRecord("/s/CAF\u00c9"_ns, "/s"_ns)});
  const auto cache = NSArray::arrayWithObjects(
      {fileRecord("/s/cafe\u0301/\u1100\u1161"_ns, "/s/cafe\u0301"_ns, 5), folderRecord("/s/cafe\u0301"_ns, "/s"_ns)});
  EXPECT_EQ(filtered(plan, cache)->count(), 0U);
}

TEST(TelvoFTPDataFilter, AFileThatBecameAFolderIsSentAgain) {
  const auto plan = NSMutableArray::arrayWithObjects({folderRecord("/a"_ns, "/"_ns)});
  EXPECT_EQ(filtered(plan, NSArray::arrayWithObjects({fileRecord("/a"_ns, "/"_ns, 5)}))->count(), 1U);
}

TEST(TelvoFTPDataFilter, TheOrderOfKeysAndTheKindOfValuesDoNotCount) {
  const auto plan = NSMutableArray::arrayWithObjects({folderRecord("/5"_ns, "/"_ns)});
  const auto cache = NSArray::arrayWithObjects({NSDictionary::dictionary(
      {{"RemoteDirectory"_ns, "/"_ns}, {"IsDirectory"_ns, "1"_ns}, {"LOCALPATH"_ns, "/5"_ns}})});
  EXPECT_EQ(filtered(plan, cache)->count(), 0U);
}

TEST(TelvoFTPDataFilter, ACacheOfOtherThingsDropsNothing) {
  const auto plan = NSMutableArray::arrayWithObjects({folderRecord("/a"_ns, "/"_ns)});
  const auto cache = NSArray::arrayWithObjects(
      {"/a"_ns, NSNumber::numberWithInteger(1), NSArray::array(), NSDictionary::dictionary()});
  EXPECT_EQ(filtered(plan, cache)->count(), 1U);
}

TEST(TelvoFTPDataFilter, GivesExactlyWhatALinearSearchGives) {
  std::minstd_rand random(7);
  const std::vector<Ref<NSString>> names{"a"_ns,  "A"_ns,       "ä"_ns, "Ä"_ns,  "a\u0308"_ns,
                                         "ss"_ns, "b \"q\""_ns, "ﬀ"_ns, "FF"_ns, "ß"_ns};
  const auto anyRecord = [&]() -> id {
    const auto& name = names[random() % names.size()];
    const auto& directory = names[random() % names.size()];
    if (random() % 3 == 0) return folderRecord(name, directory);
    return fileRecord(name, directory, static_cast<double>(random() % 6) / 2);
  };
  for (int run = 0; run < 50; ++run) {
    const auto plan = NSMutableArray::array();
    const auto cache = NSMutableArray::array();
    for (int i = 0; i < 60; ++i) plan->addObject(anyRecord());
    for (int i = 0; i < 100; ++i) cache->addObject(random() % 4 ? anyRecord() : plan->objectAtIndex(random() % 60));
    const auto expected = NSMutableArray::array();
    for (const id& record : *plan) {
      if (!telvo_containsObjectEquivalentTo(cache, record)) expected->addObject(record);
    }
    const auto job = filtered(NSMutableArray::arrayWithArray(plan), cache);
    EXPECT_TRUE(NSEqualObjects(job->uploadInfo(), expected));
  }
}

}  // namespace
