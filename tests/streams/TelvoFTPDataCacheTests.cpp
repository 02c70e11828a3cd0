#include <algorithm>
#include <array>
#include <filesystem>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/Foundation.h"
#include "foundation/coding/NSPropertyList.h"
#include "foundation/files/FileIO.h"
#include "streams/TelvoFTPData.h"
#include "testing/TemporaryDirectory.h"
#include "tests/streams/UploadRecords.h"

// The cached-information file of a job.

namespace {

using namespace records;

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

}  // namespace
