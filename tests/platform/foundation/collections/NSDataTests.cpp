#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/Foundation.h"
#include "foundation/collections/NSData.h"
#include "testing/TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;

Ref<NSData> dataOf(const std::string& bytes) { return NSData::dataWithBytes(bytes); }

std::size_t itemsIn(const TemporaryDirectory& folder) {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()));
}

TEST(NSData, WritesAndReadsFilesBothWays) {
  const TemporaryDirectory folder;
  for (const bool atomically : {false, true}) {
    const std::string bytes = atomically ? std::string("second\0", 7) : std::string(3'000'000, 'a');
    EXPECT_TRUE(dataOf(bytes)->writeToFile_atomically(folder.text("file"), atomically));
    EXPECT_EQ(folder.read("file"), bytes);
    EXPECT_TRUE(NSEqualObjects(NSData::dataWithContentsOfFile(folder.text("file")), dataOf(bytes)));
    EXPECT_EQ(itemsIn(folder), 1U);
  }
}

TEST(NSData, ReadsOnlyRegularFilesAndNeverWaits) {
  const TemporaryDirectory folder;
  ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
  EXPECT_FALSE(NSData::dataWithContentsOfFile(folder.text("fifo")));
  EXPECT_FALSE(NSData::dataWithContentsOfFile(folder.text()));
  EXPECT_FALSE(NSData::dataWithContentsOfFile("/dev/zero"_ns));
  EXPECT_FALSE(NSData::dataWithContentsOfFile(folder.text("missing")));
  EXPECT_FALSE(NSData::dataWithContentsOfFile(nil));
  EXPECT_FALSE(NSData::dataWithContentsOfFile(NSString::stringWithUnits(std::u16string(u"/etc/hostname\0", 14))));
}

TEST(NSData, ReadsFilesThatDoNotTellTheirSize) {
  const auto data = NSData::dataWithContentsOfFile("/proc/self/status"_ns);
  ASSERT_TRUE(data);
  EXPECT_TRUE(data->view().starts_with("Name:"));
}

TEST(NSData, WritingNeverWaitsForAFIFOAndFailsOnFolders) {
  const TemporaryDirectory folder;
  ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
  for (const bool atomically : {false, true}) {
    EXPECT_FALSE(dataOf("x")->writeToFile_atomically(folder.text("fifo"), atomically));
    EXPECT_FALSE(dataOf("x")->writeToFile_atomically(folder.text(), atomically));
    EXPECT_FALSE(dataOf("x")->writeToFile_atomically(folder.text("missing/file"), atomically));
    EXPECT_FALSE(dataOf("x")->writeToFile_atomically(nil, atomically));
    EXPECT_FALSE(dataOf("x")->writeToFile_atomically(""_ns, atomically));
  }
  EXPECT_EQ(itemsIn(folder), 1U);
}

TEST(NSData, AFullDiskFailsTheWrite) { EXPECT_FALSE(dataOf("x")->writeToFile_atomically("/dev/full"_ns, false)); }

TEST(NSData, AtomicWritesKeepPermissionsAndLinks) {
  const TemporaryDirectory folder;
  folder.write("file", "old");
  ASSERT_EQ(chmod((folder / "file").c_str(), 0604), 0);
  fs::create_symlink("file", folder / "link");
  EXPECT_TRUE(dataOf("new")->writeToFile_atomically(folder.text("link"), true));
  EXPECT_TRUE(fs::is_symlink(folder / "link"));
  EXPECT_EQ(folder.read("file"), "new");
  struct stat status {};
  ASSERT_EQ(stat((folder / "file").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0604U);
}

TEST(NSData, AtomicWritesReplaceTheFileInOneStep) {
  const TemporaryDirectory folder;
  folder.write("file", "old");
  std::ifstream reader(folder / "file");
  EXPECT_TRUE(dataOf("new")->writeToFile_atomically(folder.text("file"), true));
  const std::string seen{std::istreambuf_iterator<char>(reader), std::istreambuf_iterator<char>()};
  EXPECT_EQ(seen, "old");
  EXPECT_EQ(folder.read("file"), "new");
}

TEST(NSData, AtomicWritesTakeNamesOfFullLength) {
  const TemporaryDirectory folder;
  const std::string name(255, 'n');
  EXPECT_TRUE(dataOf("x")->writeToFile_atomically(folder.text(name), true));
  EXPECT_EQ(folder.read(name), "x");
}

}  // namespace
