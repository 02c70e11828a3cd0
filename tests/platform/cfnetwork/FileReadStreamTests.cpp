#include <array>
#include <cerrno>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "cfnetwork/CFReadStream.h"
#include "cfnetwork/FileReadStream.h"
#include "foundation/errors/NSError.h"
#include "foundation/files/NSURL.h"
#include "testing/TemporaryDirectory.h"
#include "tests/platform/cfnetwork/StreamRecorder.h"

namespace {

std::string readUpTo(NSInputStream& stream, std::size_t length) {
  std::string bytes(length, '\0');
  const NSInteger size = stream.read_maxLength(reinterpret_cast<std::uint8_t*>(bytes.data()), length);
  bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return bytes;
}

// The errno value that opening the path ends in, as the stream's error event tells it; 0 when it opens.
int errorOfOpening(const std::string& path) {
  const auto stream = make<FileReadStream>(path);
  StreamRecorder recorder(stream);
  stream->open();
  StreamRecorder::settle();
  if (recorder.has(NSStreamEventOpenCompleted)) return 0;
  EXPECT_EQ(recorder.events, std::vector{NSStreamEventErrorOccurred}) << path;
  EXPECT_EQ(stream->streamStatus(), NSStreamStatusError);
  EXPECT_FALSE(stream->hasBytesAvailable());
  EXPECT_LT(stream->read_maxLength(nullptr, 1), 0);
  if (!stream->streamError()) return 0;
  EXPECT_TRUE(stream->streamError()->domain()->isEqualToString(NSPOSIXErrorDomain()));
  return static_cast<int>(stream->streamError()->code());
}

TEST(FileReadStream, ReadsAFileFromItsBeginningToItsEnd) {
  const TemporaryDirectory folder;
  const auto stream = make<FileReadStream>(folder.write("a", "hello"));
  StreamRecorder recorder(stream);
  EXPECT_FALSE(stream->hasBytesAvailable());
  stream->open();
  EXPECT_TRUE(recorder.events.empty());
  StreamRecorder::settle();
  EXPECT_EQ(recorder.events, (std::vector{NSStreamEventOpenCompleted, NSStreamEventHasBytesAvailable}));
  EXPECT_TRUE(stream->hasBytesAvailable());
  EXPECT_EQ(readUpTo(*stream, 3), "hel");
  EXPECT_EQ(readUpTo(*stream, 100), "lo");
}

TEST(FileReadStream, ReportsItsEndOnlyAfterAReadHasGivenNothing) {
  const TemporaryDirectory folder;
  const auto stream = make<FileReadStream>(folder.write("a", "hello"));
  StreamRecorder recorder(stream);
  stream->open();
  EXPECT_EQ(readUpTo(*stream, 5), "hello");
  StreamRecorder::settle();
  EXPECT_FALSE(recorder.has(NSStreamEventEndEncountered));
  EXPECT_EQ(readUpTo(*stream, 5), "");
  EXPECT_FALSE(recorder.has(NSStreamEventEndEncountered)) << "not from inside the read";
  StreamRecorder::settle();
  EXPECT_TRUE(recorder.has(NSStreamEventEndEncountered));
  EXPECT_EQ(stream->streamStatus(), NSStreamStatusAtEnd);
  EXPECT_EQ(readUpTo(*stream, 5), "");
  StreamRecorder::settle();
  EXPECT_EQ(std::count(recorder.events.begin(), recorder.events.end(), NSStreamEventEndEncountered), 1);
}

TEST(FileReadStream, IsAtTheEndOfAnEmptyFileAfterTheFirstRead) {
  const TemporaryDirectory folder;
  const auto stream = make<FileReadStream>(folder.write("empty"));
  StreamRecorder recorder(stream);
  stream->open();
  StreamRecorder::settle();
  EXPECT_FALSE(recorder.has(NSStreamEventEndEncountered));
  EXPECT_EQ(readUpTo(*stream, 10), "");
  StreamRecorder::settle();
  EXPECT_TRUE(recorder.has(NSStreamEventEndEncountered));
  EXPECT_FALSE(recorder.has(NSStreamEventErrorOccurred));
}

// It opens, and is at its end after the first read.
void expectAnEmptyStream(const std::string& path) {
  const auto stream = make<FileReadStream>(path);
  StreamRecorder recorder(stream);
  stream->open();
  EXPECT_EQ(readUpTo(*stream, 10), "");
  StreamRecorder::settle();
  EXPECT_EQ(recorder.events,
            (std::vector{NSStreamEventOpenCompleted, NSStreamEventHasBytesAvailable, NSStreamEventEndEncountered}));
}

TEST(FileReadStream, OpensAFolderAndIsAtItsEndAfterTheFirstRead) {
  const TemporaryDirectory folder;
  expectAnEmptyStream(folder.path());
}

TEST(FileReadStream, ReadingNoBytesIsNotTheEnd) {
  const TemporaryDirectory folder;
  const auto stream = make<FileReadStream>(folder.write("a", "x"));
  StreamRecorder recorder(stream);
  stream->open();
  EXPECT_EQ(stream->read_maxLength(nullptr, 0), 0);
  StreamRecorder::settle();
  EXPECT_FALSE(recorder.has(NSStreamEventEndEncountered));
  EXPECT_EQ(readUpTo(*stream, 1), "x");
}

TEST(FileReadStream, FollowsLinks) {
  const TemporaryDirectory folder;
  folder.write("a", "x");
  std::filesystem::create_symlink("a", folder / "link");
  std::filesystem::create_symlink("loop", folder / "loop");
  EXPECT_EQ(errorOfOpening(folder / "link"), 0);
  EXPECT_EQ(errorOfOpening(folder / "loop"), ELOOP);
}

TEST(FileReadStream, FailsForWhatIsMissingOrNoPath) {
  const TemporaryDirectory folder;
  folder.write("a", "x");
  EXPECT_EQ(errorOfOpening(folder / "missing"), ENOENT);
  EXPECT_EQ(errorOfOpening(folder / "a/b"), ENOTDIR);
  EXPECT_EQ(errorOfOpening(""), ENOENT);
  EXPECT_EQ(errorOfOpening(folder / std::string("a\0b", 3)), EINVAL);
  EXPECT_EQ(errorOfOpening(folder / std::string(256, 'n')), ENAMETOOLONG);
  EXPECT_EQ(errorOfOpening("/" + std::string(5000, 'n')), ENAMETOOLONG);
}

// The administrator may read everything, so that a file cannot be made unreadable for the tests of one.
class OrdinaryUser {
 public:
  OrdinaryUser() {
    if (old_ == 0) changed_ = seteuid(nobody_) == 0;
  }
  ~OrdinaryUser() {
    if (changed_) changed_ = seteuid(old_) != 0;
  }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;

 private:
  static constexpr uid_t nobody_ = 65534;
  uid_t old_ = geteuid();
  bool changed_ = false;
};

TEST(FileReadStream, FailsForAnUnreadableFile) {
  const TemporaryDirectory folder;
  const std::string path = folder.write("secret", "x");
  chmod(folder.path().c_str(), 0755);
  chmod(path.c_str(), 0);
  const OrdinaryUser user;
  EXPECT_EQ(errorOfOpening(path), EACCES);
}

TEST(FileReadStream, OpensAFolderThatMayNotBeRead) {
  const TemporaryDirectory folder;
  std::filesystem::create_directory(folder / "closed");
  chmod(folder.path().c_str(), 0755);
  chmod((folder / "closed").c_str(), 0);
  const OrdinaryUser user;
  expectAnEmptyStream(folder / "closed");
}

TEST(FileReadStream, NeitherWaitsForAPipesWriterNorReadsAPipe) {
  const TemporaryDirectory folder;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(errorOfOpening(folder / "pipe"), EOPNOTSUPP);
}

TEST(FileReadStream, RefusesSocketsAndDevices) {
  const TemporaryDirectory folder;
  const std::string path = folder / "s";
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(errorOfOpening(path), EOPNOTSUPP);
  EXPECT_EQ(errorOfOpening("/dev/null"), EOPNOTSUPP);
  EXPECT_EQ(errorOfOpening("/dev/zero"), EOPNOTSUPP);
  close(listener);
}

TEST(FileReadStream, EndsEarlyWhenTheFileIsTruncatedMeanwhile) {
  const TemporaryDirectory folder;
  const std::string path = folder.write("a", std::string(1000, 'x'));
  const auto stream = make<FileReadStream>(path);
  StreamRecorder recorder(stream);
  stream->open();
  EXPECT_EQ(readUpTo(*stream, 600).size(), 600U);
  ASSERT_EQ(truncate(path.c_str(), 300), 0);
  EXPECT_EQ(readUpTo(*stream, 600), "");
  StreamRecorder::settle();
  EXPECT_TRUE(recorder.has(NSStreamEventEndEncountered));
  EXPECT_FALSE(recorder.has(NSStreamEventErrorOccurred));
}

TEST(FileReadStream, ReadsWhatWasAppendedMeanwhile) {
  const TemporaryDirectory folder;
  const std::string path = folder.write("a", "first");
  const auto stream = make<FileReadStream>(path);
  StreamRecorder recorder(stream);
  stream->open();
  EXPECT_EQ(readUpTo(*stream, 5), "first");
  std::ofstream(path, std::ios::app) << " second";
  EXPECT_EQ(readUpTo(*stream, 100), " second");
}

TEST(FileReadStream, ReadsOnAfterTheFileWasDeleted) {
  const TemporaryDirectory folder;
  const std::string path = folder.write("a", "still here");
  const auto stream = make<FileReadStream>(path);
  StreamRecorder recorder(stream);
  stream->open();
  std::filesystem::remove(path);
  EXPECT_EQ(readUpTo(*stream, 100), "still here");
}

TEST(FileReadStream, ReportsNothingOnceItIsClosed) {
  const TemporaryDirectory folder;
  const auto stream = make<FileReadStream>(folder.write("a", "x"));
  StreamRecorder recorder(stream);
  stream->open();
  stream->close();
  StreamRecorder::settle();
  EXPECT_TRUE(recorder.events.empty());
  EXPECT_EQ(stream->streamStatus(), NSStreamStatusClosed);
  EXPECT_LT(stream->read_maxLength(nullptr, 1), 0);
}

TEST(FileReadStream, OpensOnlyOnce) {
  const TemporaryDirectory folder;
  const auto stream = make<FileReadStream>(folder.write("a", "xy"));
  StreamRecorder recorder(stream);
  stream->open();
  EXPECT_EQ(readUpTo(*stream, 1), "x");
  stream->open();
  EXPECT_EQ(readUpTo(*stream, 1), "y");
  stream->close();
  stream->open();
  EXPECT_EQ(stream->streamStatus(), NSStreamStatusClosed);
}

TEST(FileReadStream, ItsDescriptorStandsWhereItReads) {
  const TemporaryDirectory folder;
  const auto stream = make<FileReadStream>(folder.write("a", "abcdef"));
  StreamRecorder recorder(stream);
  EXPECT_EQ(stream->fileDescriptor(), -1);
  stream->open();
  EXPECT_EQ(readUpTo(*stream, 2), "ab");
  char moved = 0;
  EXPECT_EQ(::read(stream->fileDescriptor(), &moved, 1), 1);
  EXPECT_EQ(moved, 'c');
  EXPECT_EQ(readUpTo(*stream, 9), "def");
  EXPECT_EQ(readUpTo(*stream, 9), "");
  EXPECT_EQ(stream->fileDescriptor(), -1);
  stream->close();
  EXPECT_EQ(stream->fileDescriptor(), -1);
}

TEST(FileReadStream, HasNoDescriptorForAFolder) {
  const TemporaryDirectory folder;
  const auto stream = make<FileReadStream>(folder.path());
  StreamRecorder recorder(stream);
  stream->open();
  EXPECT_EQ(stream->fileDescriptor(), -1);
}

TEST(CFReadStreamCreateWithFile, MakesAStreamForFileURLsOnly) {
  const TemporaryDirectory folder;
  folder.write("50% of it.txt", "x");
  const auto stream = CFReadStreamCreateWithFile(NSURL::fileURLWithPath(folder.text("50% of it.txt")));
  ASSERT_TRUE(stream);
  stream->open();
  EXPECT_EQ(readUpTo(*stream, 9), "x");
  EXPECT_FALSE(CFReadStreamCreateWithFile(NSURL::URLWithString("ftp://h/a"_ns)));
  EXPECT_FALSE(CFReadStreamCreateWithFile(NSURL::URLWithString("a"_ns)));
  EXPECT_FALSE(CFReadStreamCreateWithFile(nil));
}

}  // namespace
