#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/files/FileIO.h"
#include "testing/TemporaryDirectory.h"

namespace {

TEST(FileIO, AFolderIsListedWithACheckpointAgainAndAgain) {
  const TemporaryDirectory folder;
  for (int i = 0; i < 1000; ++i) folder.write(std::to_string(i));
  int passed = 0;
  const auto names = foundation::namesInDirectory(folder.path(), [&] { return ++passed > 0; });
  ASSERT_TRUE(names);
  EXPECT_EQ(names->size(), 1000U);
  EXPECT_GE(passed, 3);
  int left = 2;
  EXPECT_FALSE(foundation::namesInDirectory(folder.path(), [&] { return --left > 0; }));
  EXPECT_EQ(errno, ECANCELED);
  EXPECT_EQ(left, 0) << "given up at once";
}

TEST(FileIO, OnlyARegularFileIsOpenedAsOne) {
  const TemporaryDirectory folder;
  folder.write("file", "content");
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_TRUE(foundation::openRegularFile(folder / "file", O_RDONLY));
  const auto code = [](const std::string& path) {
    errno = 0;
    return foundation::openRegularFile(path, O_RDONLY) ? 0 : errno;
  };
  EXPECT_EQ(code(folder / "pipe"), EINVAL);
  EXPECT_EQ(code("/dev/null"), EINVAL);
  EXPECT_EQ(code(folder.path()), EISDIR);
  EXPECT_EQ(code(folder / "missing"), ENOENT);
}

TEST(FileIO, OnlyARegularFileIsRewritten) {
  const TemporaryDirectory folder;
  folder.write("file", "a long content");
  EXPECT_TRUE(foundation::rewriteRegularFile(folder / "file", "short"));
  EXPECT_EQ(folder.read("file"), "short");
  EXPECT_TRUE(foundation::rewriteRegularFile(folder / "new", "made"));
  EXPECT_EQ(folder.read("new"), "made");
  EXPECT_FALSE(foundation::rewriteRegularFile("/dev/null", "x"));
  EXPECT_EQ(errno, EINVAL);
}

// A lease of this very process, which breaks it as it would any other's.
class Lease {
 public:
  explicit Lease(const std::string& path) : file_(foundation::openFile(path, O_RDWR)) {
    std::signal(SIGIO, SIG_IGN);
    EXPECT_EQ(fcntl(file_.get(), F_SETLEASE, F_WRLCK), 0);
  }
  void giveUp() const { fcntl(file_.get(), F_SETLEASE, F_UNLCK); }

 private:
  foundation::FileDescriptor file_;
};

TEST(FileIO, ALeaseIsWaitedFor) {
  const TemporaryDirectory folder;
  folder.write("file", "content");
  const Lease lease(folder / "file");
  int waits = 0;
  const auto file = foundation::openRegularFile(folder / "file", O_RDONLY, 0, [&] {
    if (++waits == 3) lease.giveUp();
    return true;
  });
  EXPECT_TRUE(file);
  EXPECT_GE(waits, 3);
}

TEST(FileIO, TheWaitForALeaseCanBeGivenUp) {
  const TemporaryDirectory folder;
  folder.write("file", "content");
  const Lease lease(folder / "file");
  int waits = 0;
  EXPECT_FALSE(foundation::openRegularFile(folder / "file", O_RDONLY, 0, [&] { return ++waits < 2; }));
  EXPECT_EQ(errno, ECANCELED);
  EXPECT_EQ(waits, 2);
  lease.giveUp();
}

TEST(FileIO, ReadingAFileWaitsForALeaseToo) {
  const TemporaryDirectory folder;
  folder.write("file", "content");
  const Lease lease(folder / "file");
  std::jthread holder([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    lease.giveUp();
  });
  EXPECT_EQ(foundation::contentsOfFile(folder / "file"), "content");
}

}  // namespace
