#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "categories/NSArray+Telvo.h"
#include "foundation/Foundation.h"
#include "foundation/coding/NSPropertyList.h"
#include "foundation/files/FileIO.h"
#include "foundation/runtime/WeakRef.h"
#include "streams/TelvoFTPData.h"
#include "testing/TemporaryDirectory.h"
#include "tests/streams/ProgressObserver.h"

namespace {

namespace fs = std::filesystem;

std::string utf8(const id& object) { return object ? object->description()->UTF8String() : "(nil)"; }

Ref<NSDictionary> recordAt(const Ref<NSArray>& records, NSUInteger index) {
  return as<NSDictionary>(records->objectAtIndex(index));
}

std::vector<std::string> values(const Ref<NSArray>& records, const Ref<NSString>& key) {
  std::vector<std::string> result;
  for (const id& record : *records) result.push_back(utf8(as<NSDictionary>(record)->objectForKey(key)));
  return result;
}

Ref<NSMutableDictionary> fileRecord(const Ref<NSString>& path, const Ref<NSString>& directory, double date) {
  return NSMutableDictionary::dictionary({{"LocalPath"_ns, path},
                                          {"RemoteDirectory"_ns, directory},
                                          {"IsDirectory"_ns, NSNumber::numberWithBool(false)},
                                          {"ModificationDate"_ns, NSDate::dateWithTimeIntervalSince1970(date)}});
}

Ref<NSMutableDictionary> folderRecord(const Ref<NSString>& path, const Ref<NSString>& directory) {
  return NSMutableDictionary::dictionary(
      {{"LocalPath"_ns, path}, {"RemoteDirectory"_ns, directory}, {"IsDirectory"_ns, NSNumber::numberWithBool(true)}});
}

void setDate(const std::string& path, time_t seconds, long nanoseconds = 0) {
  const timespec times[] = {{0, UTIME_OMIT}, {seconds, nanoseconds}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

Ref<TelvoFTPData> scanned(const Ref<NSString>& path, const Ref<NSString>& directory = "/"_ns) {
  const auto job = TelvoFTPData::ftpData();
  job->setUploadInfo(NSMutableArray::array());
  job->recursivelyScanLocalPath_forRemoteDirectory(path, directory);
  return job;
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

// ---- The cache file ----

// Without a host a job stops before its first item, after the cache file has been written.
Ref<TelvoFTPData> planned(const Ref<NSString>& source, const Ref<NSString>& cachePath) {
  const auto job = TelvoFTPData::ftpData();
  job->uploadPath_toHost_directory_username_password_cachedInfoPath_debugMode(source, ""_ns, "/"_ns, nil, nil,
                                                                              cachePath, false);
  return job;
}

TEST(TelvoFTPDataCache, ASecondRunPlansNothingAndWritesTheSameFile) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  folder.write("Site/b/c");
  setDate(folder / "Site/a", 1700000000, 999999999);
  const auto cache = folder.text("cache.plist");
  EXPECT_EQ(planned(folder.text("Site"), cache)->count(), 4U);
  const std::string written = folder.read("cache.plist");
  EXPECT_EQ(NSArray::arrayWithContentsOfFile(cache)->count(), 4U);
  EXPECT_EQ(planned(folder.text("Site"), cache)->count(), 0U);
  EXPECT_EQ(folder.read("cache.plist"), written);
}

TEST(TelvoFTPDataCache, ATouchedFileAloneIsPlannedAgain) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  folder.write("Site/b/c");
  planned(folder.text("Site"), folder.text("cache.plist"));
  setDate(folder / "Site/b/c", 1000000000);
  const auto job = planned(folder.text("Site"), folder.text("cache.plist"));
  EXPECT_EQ(values(job->uploadInfo(), "LocalPath"_ns), (std::vector<std::string>{folder / "Site/b/c"}));
  EXPECT_EQ(job->cachedInfo()->count(), 4U);
}

TEST(TelvoFTPDataCache, IsAnArrayOfRecordsInAnXMLPropertyList) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  setDate(folder / "Site/a", 1000000000, 500000000);
  planned(folder.text("Site"), folder.text("cache.plist"));
  EXPECT_TRUE(folder.read("cache.plist").starts_with("<?xml"));
  const auto records = NSArray::arrayWithContentsOfFile(folder.text("cache.plist"));
  EXPECT_TRUE(NSEqualObjects(records, NSArray::arrayWithObjects({folderRecord(folder.text("Site"), "/"_ns),
                                                                 fileRecord(folder.text("Site/a"), "/Site"_ns, 1e9)})));
}

TEST(TelvoFTPDataCache, AFileThatIsNoCacheFiltersNothingAndIsReplaced) {
  for (const char* content : {"", "garbage", "<plist><array>", "<plist><dict/></plist>"}) {
    const TemporaryDirectory folder;
    folder.write("Site/a");
    folder.write("cache.plist", content);
    EXPECT_EQ(planned(folder.text("Site"), folder.text("cache.plist"))->count(), 2U) << content;
    EXPECT_EQ(NSArray::arrayWithContentsOfFile(folder.text("cache.plist"))->count(), 2U) << content;
  }
}

void writeBinary(const id& list, const Ref<NSString>& path) {
  NSPropertyListSerialization::dataWithPropertyList_format_options_error(list, NSPropertyListBinaryFormat_v1_0, 0,
                                                                         nullptr)
      ->writeToFile_atomically(path, false);
}

// Comparing by descriptions would make 400 MB of such a record.
TEST(TelvoFTPDataCache, AFileThatUnfoldsWithoutProportionIsNoCache) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  const auto cache = folder.text("cache.plist");
  const auto records = as<NSMutableArray>(planned(folder.text("Site"), nil)->cachedInfo()->mutableCopy());
  writeBinary(records, cache);
  EXPECT_EQ(planned(folder.text("Site"), cache)->count(), 0U) << "a binary cache is one";
  const auto text = NSString::stringWithUnits(std::u16string(100'000, u'x'));
  const auto references = NSMutableArray::array();
  for (int i = 0; i < 2'000; ++i) references->addObject(text);
  records->addObject(NSDictionary::dictionary({{"LocalPath"_ns, references}}));
  writeBinary(records, cache);
  EXPECT_LT(fs::file_size(folder / "cache.plist"), 175'000U);
  EXPECT_EQ(planned(folder.text("Site"), cache)->count(), 2U);
  EXPECT_EQ(NSArray::arrayWithContentsOfFile(cache)->count(), 2U) << "it has been replaced";
}

TEST(TelvoFTPDataCache, IsWrittenInPlace) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  folder.write("real.plist");
  ASSERT_EQ(chmod((folder / "real.plist").c_str(), 0640), 0);
  fs::create_symlink("real.plist", folder / "cache.plist");
  fs::create_hard_link(folder / "real.plist", folder / "second.plist");
  planned(folder.text("Site"), folder.text("cache.plist"));
  EXPECT_TRUE(fs::is_symlink(folder / "cache.plist"));
  EXPECT_EQ(NSArray::arrayWithContentsOfFile(folder.text("second.plist"))->count(), 2U);
  EXPECT_EQ(fs::status(folder / "real.plist").permissions(), fs::perms(0640));
}

TEST(TelvoFTPDataCache, AWriteThatFailsIsIgnored) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  for (const auto& path : {folder.text("missing/cache.plist"), folder.text(), "/dev/full"_ns}) {
    EXPECT_EQ(planned(folder.text("Site"), path)->count(), 2U);
  }
}

// Each of the two could be opened and written to; neither may be.
TEST(TelvoFTPDataCache, APipeAndATerminalAreLeftAlone) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  const foundation::FileDescriptor pipe = foundation::openFile(folder / "pipe", O_RDWR);
  const foundation::FileDescriptor terminal(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK));
  ASSERT_TRUE(pipe && terminal && grantpt(terminal.get()) == 0 && unlockpt(terminal.get()) == 0);
  ASSERT_EQ(write(pipe.get(), "<plist><array/></plist>", 23), 23);
  EXPECT_EQ(planned(folder.text("Site"), folder.text("pipe"))->count(), 2U);
  EXPECT_EQ(planned(folder.text("Site"), NSString::stringWithUTF8String(ptsname(terminal.get())))->count(), 2U);
  std::array<char, 100> bytes{};
  EXPECT_EQ(read(pipe.get(), bytes.data(), bytes.size()), 23) << "what was in it still is, and nothing else";
  EXPECT_LT(read(terminal.get(), bytes.data(), bytes.size()), 0);
}

// A file of less than 100 KB that describes 2,000 times 60,000 characters.
TEST(TelvoFTPDataCache, AFileThatUnfoldsWithoutEndIsNoCache) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  const id text = NSString::stringWithUnits(std::u16string(60000, u'x'));
  const auto writeBinary = [&](const id& root) {
    const auto data = NSPropertyListSerialization::dataWithPropertyList_format_options_error(
        root, NSPropertyListBinaryFormat_v1_0, 0, nullptr);
    ASSERT_LT(data->length(), 100000U);
    ASSERT_TRUE(data->writeToFile_atomically(folder.text("cache.plist"), false));
  };
  const auto many = NSMutableArray::array();
  for (int i = 0; i < 2000; ++i) many->addObject(text);
  for (const auto& root : {many, NSMutableArray::arrayWithObjects({many})}) {
    writeBinary(root);
    EXPECT_EQ(planned(folder.text("Site"), folder.text("cache.plist"))->count(), 2U);
    EXPECT_EQ(NSArray::arrayWithContentsOfFile(folder.text("cache.plist"))->count(), 2U);
  }
}

TEST(TelvoFTPDataCache, WithoutAPathNothingIsReadOrWritten) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  for (const auto& path : {Ref<NSString>(), ""_ns}) EXPECT_EQ(planned(folder.text("Site"), path)->count(), 2U);
  EXPECT_EQ(scanned(folder.text())->count(), 3U) << "no file has appeared";
}

TEST(TelvoFTPDataCache, OnlyNamesThatXMLCannotHoldAreSentAgain) {
  const TemporaryDirectory folder;
  folder.write("Site/plain");
  folder.write("Site/caf\xe9");
  folder.write("Site/control\x01");
  folder.write("Site/<&> \"quoted\"\r\n\t'é'");
  planned(folder.text("Site"), folder.text("cache.plist"));
  ASSERT_TRUE(NSArray::arrayWithContentsOfFile(folder.text("cache.plist")));
  auto again = values(planned(folder.text("Site"), folder.text("cache.plist"))->uploadInfo(), "LocalPath"_ns);
  std::ranges::sort(again);
  EXPECT_EQ(again, (std::vector<std::string>{folder / "Site/caf\xe9", folder / "Site/control\x01"}));
}

// ---- The run ----

void run(const Ref<TelvoFTPData>& job, const Ref<NSString>& source, const Ref<NSString>& host,
         const Ref<NSString>& cachePath = nil) {
  job->uploadPath_toHost_directory_username_password_cachedInfoPath_debugMode(source, host, "/"_ns, nil, nil, cachePath,
                                                                              true);
}

using Strings = std::vector<std::string>;

// A space makes a name that no URL can hold, so that these items end at once, unsent, and no network is needed.
TEST(TelvoFTPData, ReportsEachItemWhateverBecomesOfIt) {
  const TemporaryDirectory folder;
  folder.write("my site/a");
  folder.write("my site/b");
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  run(job, folder.text("my site"), "host"_ns);
  EXPECT_EQ(observer->all("Nth"_ns), (Strings{"1", "2", "3"}));
  EXPECT_EQ(observer->all("Total"_ns), (Strings{"3", "3", "3"}));
  EXPECT_EQ(observer->all("Percent"_ns), (Strings{"33", "66", "100"}));
  EXPECT_EQ(observer->all("IsMore"_ns), (Strings{"1", "1", "0"}));
  EXPECT_EQ(observer->all("LocalPath"_ns).front(), folder / "my site");
  EXPECT_EQ(observer->all("RemoteDirectory"_ns), (Strings{"/", "/my site", "/my site"}));
  EXPECT_TRUE(as<NSNumber>(observer->records[0]->objectForKey("IsMore"_ns))->isBool());
  EXPECT_FALSE(job->isWorking());
  EXPECT_EQ(job->index(), 3U);
  EXPECT_FALSE(job->currentInfo()) << "a job that has ended has no current item";
  EXPECT_FALSE(job->debugMode()) << "the flag is not taken over";
}

TEST(TelvoFTPData, PercentIsCutToAWholeNumber) {
  const auto job = TelvoFTPData::ftpData();
  const auto percents = [&](int count) {
    const auto plan = NSMutableArray::array();
    for (int i = 0; i < count; ++i) plan->addObject(folderRecord("/a"_ns, "/"_ns));
    job->setUploadInfo(plan);
    job->resetIndex();
    Strings result;
    for (; job->currentInfo(); job->incrementIndex())
      result.push_back(utf8(job->currentInfo()->objectForKey("Percent"_ns)));
    return result;
  };
  EXPECT_EQ(percents(7), (Strings{"14", "28", "42", "57", "71", "85", "100"}));
  const Strings many = percents(101);
  EXPECT_EQ(many[0], "0");
  EXPECT_EQ(many[1], "1");
  EXPECT_EQ(many[99], "99");
  EXPECT_EQ(many[100], "100");
}

TEST(TelvoFTPData, NothingToSendIsOneNotificationWithoutARecord) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  planned(folder.text("Site"), folder.text("cache.plist"));
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  run(job, folder.text("Site"), "host"_ns, folder.text("cache.plist"));
  EXPECT_EQ(observer->all("Nth"_ns), (Strings{"(no record)"}));
  EXPECT_FALSE(job->isWorking());
  EXPECT_EQ(job->index(), 1U);
}

TEST(TelvoFTPData, AMissingSourceIsReportedWithAnEmptyPath) {
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  run(job, nil, "host"_ns);
  EXPECT_EQ(observer->all("LocalPath"_ns), (Strings{""}));
  EXPECT_EQ(observer->all("Percent"_ns), (Strings{"100"}));
}

TEST(TelvoFTPData, AFreshJobIsIdle) {
  const auto job = TelvoFTPData::ftpData();
  EXPECT_FALSE(job->isWorking());
  EXPECT_FALSE(job->isMore());
  EXPECT_EQ(job->index(), 0U);
  EXPECT_EQ(job->count(), 0U);
  EXPECT_FALSE(job->currentInfo());
  EXPECT_FALSE(job->host());
  EXPECT_FALSE(job->username());
  EXPECT_FALSE(job->password());
  job->setUploadInfo(NSMutableArray::arrayWithObjects({folderRecord("/a"_ns, "/"_ns), folderRecord("/b"_ns, "/"_ns)}));
  EXPECT_FALSE(job->isMore()) << "more items, but not working";
  job->stop();
  EXPECT_FALSE(job->isWorking());
}

// Deliberate: such a job stalls, and nothing that it can be told moves it on.
TEST(TelvoFTPData, WithoutAHostAJobPostsNothingAndStaysWorking) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  for (const auto& host : {Ref<NSString>(), ""_ns}) {
    const auto job = TelvoFTPData::ftpData();
    const auto observer = ProgressObserver::of(job);
    run(job, folder.text("Site"), host, folder.text("cache.plist"));
    EXPECT_TRUE(job->isWorking());
    EXPECT_EQ(job->index(), 0U);
    EXPECT_TRUE(folder.has("cache.plist"));
    job->stop();
    NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(0.05));
    EXPECT_TRUE(observer->records.empty());
    fs::remove(folder / "cache.plist");
  }
}

TEST(TelvoFTPData, NothingToSendEndsAJobWithoutAHostToo) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  planned(folder.text("Site"), folder.text("cache.plist"));
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  run(job, folder.text("Site"), nil, folder.text("cache.plist"));
  EXPECT_EQ(observer->records.size(), 1U);
  EXPECT_FALSE(job->isWorking());
}

TEST(TelvoFTPData, TheCacheFileIsWrittenBeforeTheFirstItemIsSentAndWhateverBecomesOfIt) {
  const TemporaryDirectory folder;
  folder.write("my site/a");
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  Strings sizes;
  observer->then = [&] {
    sizes.push_back(std::to_string(NSArray::arrayWithContentsOfFile(folder.text("cache.plist"))->count()));
  };
  run(job, folder.text("my site"), "host"_ns, folder.text("cache.plist"));
  EXPECT_EQ(sizes, (Strings{"2", "2"})) << "the items failed and are recorded all the same";
}

TEST(TelvoFTPData, TheStackStaysFlatHoweverManyItemsThereAre) {
  const TemporaryDirectory folder;
  for (int i = 0; i < 3000; ++i) folder.write("my site/" + std::to_string(i));
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  std::uintptr_t lowest = UINTPTR_MAX;
  std::uintptr_t highest = 0;
  observer->then = [&] {
    const char here = 0;
    lowest = std::min(lowest, reinterpret_cast<std::uintptr_t>(&here));
    highest = std::max(highest, reinterpret_cast<std::uintptr_t>(&here));
  };
  run(job, folder.text("my site"), "host"_ns);
  EXPECT_EQ(observer->records.size(), 3001U);
  EXPECT_LT(highest - lowest, 4096U);
}

// A server that refuses the first connection after all and says nothing on those that follow.
class SilentServer {
 public:
  SilentServer() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool ready = bind(listener_, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
                       listen(listener_, 16) == 0 &&
                       getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    EXPECT_TRUE(ready);
    port_ = ntohs(address.sin_port);
    thread_ = std::jthread([this] {
      close(accept(listener_, nullptr, nullptr));
      for (int connection = 0; (connection = accept(listener_, nullptr, nullptr)) >= 0;)
        connections_.push_back(connection);
    });
  }
  ~SilentServer() {
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
    for (const int connection : connections_) close(connection);
  }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;

  Ref<NSString> host() const { return NSString::stringWithFormat("127.0.0.1:%d"_ns, port_); }

 private:
  int listener_ = -1;
  int port_ = 0;
  std::vector<int> connections_;
  std::jthread thread_;
};

TEST(TelvoFTPData, AStopDuringTheSecondOfFiveItemsEndsTheJobWithItsRecord) {
  const TemporaryDirectory folder;
  for (const char* name : {"a", "b", "c", "d"}) folder.write(std::string("site/") + name);
  const SilentServer server;
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  observer->then = [&] {
    // Once the second item is on its way.
    if (observer->records.size() == 1) job->performSelector_withObject_afterDelay("stop"_sel, nil, 0.05);
  };
  run(job, folder.text("site"), server.host());
  EXPECT_EQ(observer->all("Nth"_ns), (Strings{"1", "2"}));
  EXPECT_EQ(observer->all("IsMore"_ns), (Strings{"1", "0"}));
  EXPECT_EQ(observer->all("Percent"_ns), (Strings{"20", "40"}));
  EXPECT_FALSE(job->isWorking());
  NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(0.05));
  EXPECT_EQ(observer->records.size(), 2U) << "nothing more comes";
}

// A tree and a cache so large that the run loop gets its turn in each step of making the plan.
class TelvoFTPDataPlanning : public testing::Test {
 protected:
  static constexpr int files = 20000;
  static constexpr int cached = 40000;

  TelvoFTPDataPlanning() {
    for (int number = 0; number < files; ++number) folder.write("site/" + std::to_string(number));
    const auto records = NSMutableArray::array();
    for (int number = 0; number < cached; ++number) {
      records->addObject(fileRecord(NSString::stringWithFormat("/gone/%d"_ns, number), "/gone"_ns, 5));
    }
    records->writeToFile_atomically(cache, false);
    content = folder.read("cache.plist");
  }

  // Stops the job in the first turn of the run loop in which the condition holds.
  void stopWhen(const std::function<bool()>& condition) {
    NSRunLoop::currentRunLoop()->performBlock([this, condition] {
      if (!condition()) return stopWhen(condition);
      stopped = true;
      job->stop();
    });
  }
  bool isScanned() const { return job->count() == files + 1; }
  bool isFiltered() const { return job->cachedInfo() && job->cachedInfo()->count() != cached; }

  void expectAbandoned() const {
    EXPECT_TRUE(stopped) << "the run loop had no turn in this step";
    EXPECT_EQ(observer->all("Nth"_ns), Strings{"(no record)"}) << "as when there is nothing to send";
    EXPECT_FALSE(job->isWorking());
    // Not compared by the test library, which would look for the differences of two long texts.
    EXPECT_TRUE(folder.read("cache.plist") == content) << "what was not sent is not recorded";
  }

  const TemporaryDirectory folder;
  const Ref<NSString> cache = folder.text("cache.plist");
  const Ref<TelvoFTPData> job = TelvoFTPData::ftpData();
  const Ref<ProgressObserver> observer = ProgressObserver::of(job);
  const SilentServer server;
  std::string content;
  bool stopped = false;
};

TEST_F(TelvoFTPDataPlanning, AStopWhileTheCacheIsReadEndsTheJobWithoutARecord) {
  stopWhen([] { return true; });
  run(job, folder.text("site"), server.host(), cache);
  expectAbandoned();
}

TEST_F(TelvoFTPDataPlanning, AStopDuringTheScanEndsTheJobWithoutARecord) {
  stopWhen([this] { return job->count() > 1; });
  run(job, folder.text("site"), server.host(), cache);
  expectAbandoned();
  EXPECT_FALSE(isFiltered()) << "the filter was not reached";
}

TEST_F(TelvoFTPDataPlanning, AStopDuringTheFilterEndsTheJobWithoutARecord) {
  stopWhen([this] { return isScanned(); });
  run(job, folder.text("site"), server.host(), cache);
  expectAbandoned();
  EXPECT_FALSE(isFiltered());
}

// Of a tree that holds the same files several times, so that the writing takes many turns of the run loop.
TEST_F(TelvoFTPDataPlanning, AStopWhileTheCacheIsWrittenEndsTheJobWithoutARecord) {
  fs::create_directory(folder / "wide");
  for (const char* name : {"a", "b", "c", "d", "e", "f"}) {
    fs::create_symlink("../site", folder / (std::string("wide/") + name));
  }
  stopWhen([this] { return isFiltered(); });
  run(job, folder.text("wide"), server.host(), cache);
  expectAbandoned();
}

TEST_F(TelvoFTPDataPlanning, AStopOfAnUnchangedTreeIsNoHundredPercent) {
  planned(folder.text("site"), cache);
  content = folder.read("cache.plist");
  stopWhen([this] { return job->count() > 1; });
  run(job, folder.text("site"), server.host(), cache);
  expectAbandoned();
}

TEST_F(TelvoFTPDataPlanning, AStopMovesAJobWithoutAHostNowhere) {
  stopWhen([this] { return job->count() > 1; });
  run(job, folder.text("site"), ""_ns, cache);
  EXPECT_TRUE(stopped);
  EXPECT_TRUE(observer->records.empty());
  EXPECT_TRUE(isScanned());
  EXPECT_EQ(NSArray::arrayWithContentsOfFile(cache)->count(), static_cast<NSUInteger>(files) + 1);
}

TEST(TelvoFTPData, AStopBeforeTheStartDoesNotCount) {
  const TemporaryDirectory folder;
  folder.write("my site/a");
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  job->stop();
  run(job, folder.text("my site"), "host"_ns);
  EXPECT_EQ(observer->all("Nth"_ns), (Strings{"1", "2"}));
}

// Names that no URL can hold: none of these items turns the run loop itself.
TEST(TelvoFTPData, TheRunLoopHasItsTurnBetweenItemsThatEndAtOnce) {
  const TemporaryDirectory folder;
  constexpr int files = 5000;
  for (int i = 0; i < files; ++i) folder.write("my site/" + std::to_string(i));
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  observer->then = [&] {
    if (observer->records.size() == 1) NSRunLoop::currentRunLoop()->performBlock([&] { job->stop(); });
  };
  run(job, folder.text("my site"), "host"_ns);
  const std::size_t reported = observer->records.size();
  EXPECT_GT(reported, 1U);
  EXPECT_LT(reported, static_cast<std::size_t>(files));
  EXPECT_EQ(observer->all("Nth"_ns).back(), std::to_string(reported)) << "the record of the item that was due";
  EXPECT_EQ(observer->all("IsMore"_ns).back(), "0");
  EXPECT_EQ(observer->all("IsMore"_ns)[reported - 2], "1");
  EXPECT_FALSE(job->isWorking());
}

TEST(TelvoFTPData, AJobThatIsOverIsReleasedWithItsStream) {
  const TemporaryDirectory folder;
  folder.write("a b");
  for (const auto& host : {"host"_ns, ""_ns}) {
    auto job = TelvoFTPData::ftpData();
    const WeakRef<TelvoFTPData> weak(job);
    run(job, folder.text("a b"), host);
    job = nil;
    EXPECT_FALSE(weak.lock()) << "the stream does not keep its delegate";
  }
}

TEST(TelvoFTPData, WithoutAPlanNothingIsScannedOrFiltered) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  const auto job = TelvoFTPData::ftpData();
  job->recursivelyScanLocalPath_forRemoteDirectory(folder.text("Site"), "/"_ns);
  EXPECT_FALSE(job->uploadInfo());
  job->filterUploadInfoUsingCachedInfo();
  EXPECT_FALSE(job->uploadInfo());
  job->setCachedInfo(NSArray::arrayWithObjects({folderRecord("/a"_ns, "/"_ns)}));
  job->filterUploadInfoUsingCachedInfo();
  EXPECT_EQ(job->count(), 0U);
  EXPECT_TRUE(job->uploadInfo()) << "what was kept, which is nothing";
  EXPECT_FALSE(job->cachedInfo()) << "the complete plan, which there was none of";
}

TEST(TelvoFTPData, AJobGoesOnToItsEndWhenItsOwnerLetsGoOfIt) {
  const TemporaryDirectory folder;
  folder.write("my site/a");
  auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  observer->then = [&] { job = nil; };
  run(job, folder.text("my site"), "host"_ns);
  EXPECT_EQ(observer->all("Nth"_ns), (Strings{"1", "2"}));
}

}  // namespace
