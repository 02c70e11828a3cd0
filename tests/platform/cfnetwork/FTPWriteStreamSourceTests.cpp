#include <csignal>
#include <memory>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "cfnetwork/FileReadStream.h"
#include "foundation/files/FileIO.h"
#include "testing/ScriptedFTPServer.h"
#include "testing/TemporaryDirectory.h"
#include "tests/platform/cfnetwork/TestContent.h"
#include "tests/platform/cfnetwork/Upload.h"

// What the stream takes from a file without its passing through the writer.

namespace {

constexpr std::size_t keptSize = 512000;  // what is kept for being sent again must pass through the writer

class FTPWriteStreamSource : public testing::Test {
 protected:
  // Sends a file of that content.
  std::unique_ptr<Upload> uploadOf(const std::string& content) {
    const auto file = make<FileReadStream>(folder_.write("file", content));
    file->open();
    auto upload = std::make_unique<Upload>(server, "/file");
    upload->source = file;
    return upload;
  }

  ScriptedFTPServer server;

 private:
  TemporaryDirectory folder_;
};

TEST_F(FTPWriteStreamSource, GivesWhatComesAfterTheKeptPartOfALargeFile) {
  for (const std::size_t size : {keptSize + 1, 2 * keptSize, std::size_t{20'000'000}}) {
    const std::string content = contentOfSize(size);
    const auto upload = uploadOf(content);
    EXPECT_TRUE(upload->stores()) << upload->errorText();
    EXPECT_EQ(server.file("/file") == content, true) << size;
    EXPECT_GT(upload->moved, 0U) << size;
    EXPECT_EQ(upload->moved + upload->content.size(), size);
    EXPECT_GE(upload->content.size(), keptSize);
  }
}

// In a process that was started with its standard input closed, the first file gets its number.
TEST_F(FTPWriteStreamSource, MayBeTheDescriptorZero) {
  const std::string content = contentOfSize(2 * keptSize);
  const foundation::FileDescriptor input(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
  ::close(STDIN_FILENO);
  auto upload = uploadOf(content);
  EXPECT_EQ(upload->source->fileDescriptor(), STDIN_FILENO);
  EXPECT_TRUE(upload->stores()) << upload->errorText();
  EXPECT_GT(upload->moved, 0U);
  EXPECT_EQ(server.file("/file") == content, true);
  upload.reset();
  if (input) dup2(input.get(), STDIN_FILENO);
}

TEST_F(FTPWriteStreamSource, GivesNothingOfAFileThatCanBeKeptWhole) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{1000}, keptSize}) {
    const std::string content = contentOfSize(size);
    const auto upload = uploadOf(content);
    EXPECT_TRUE(upload->stores()) << upload->errorText();
    EXPECT_EQ(server.file("/file") == content, true) << size;
    EXPECT_EQ(upload->moved, 0U) << size;
  }
}

TEST_F(FTPWriteStreamSource, WaitsForRoomHoweverSlowlyTheServerReads) {
  server.setReceiveBuffer(4096);
  const std::string content = contentOfSize(10'000'000);
  const auto upload = uploadOf(content);
  EXPECT_TRUE(upload->stores()) << upload->errorText();
  EXPECT_EQ(server.file("/file") == content, true);
  EXPECT_GT(upload->moved, 0U);
}

TEST_F(FTPWriteStreamSource, ABrokenConnectionIsAnErrorAndNoSignal) {
  const auto before = std::signal(SIGPIPE, SIG_DFL);
  server.always("STOR", scripted::storePart(1'000'000, scripted::resetData()));
  const auto upload = uploadOf(contentOfSize(40'000'000));
  EXPECT_FALSE(upload->stores());
  EXPECT_TRUE(upload->error);
  EXPECT_GT(upload->moved, 0U);
  EXPECT_EQ(server.file("/file"), std::nullopt);
  std::signal(SIGPIPE, before);
}

// A file by all appearances, whose bytes the system does not move.
class ImmovableFile : public FileReadStream {
  NS_OBJECT(ImmovableFile, FileReadStream)

 public:
  using FileReadStream::FileReadStream;
  int fileDescriptor() const override { return unreadable_.get(); }

 private:
  foundation::FileDescriptor unreadable_ = foundation::openFile("/dev/null", O_WRONLY);
};

Class ImmovableFile::classObject() {
  static const NSClass object("ImmovableFile", FileReadStream::classObject(), {});
  return &object;
}

TEST_F(FTPWriteStreamSource, WhatTheSystemCannotMoveIsLeftToTheWriter) {
  const std::string content = contentOfSize(3'000'000);
  const TemporaryDirectory folder;
  const auto file = make<ImmovableFile>(folder.write("file", content));
  file->open();
  Upload upload(server, "/file");
  upload.source = file;
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  EXPECT_EQ(server.file("/file") == content, true);
  EXPECT_EQ(upload.moved, 0U);
}

TEST_F(FTPWriteStreamSource, IsNotUsedBeforeTheStreamIsOpenNorForAFolder) {
  const TemporaryDirectory folder;
  const auto file = make<FileReadStream>(folder.write("file", "content"));
  file->open();
  Upload made(server, "/folder/");
  EXPECT_LT(made.stream->writeFromStream_maxLength(*file, 100), 0);
  made.whenSpace = [&] { EXPECT_LT(made.stream->writeFromStream_maxLength(*file, 100), 0); };
  EXPECT_TRUE(made.stores());
  EXPECT_LT(made.stream->writeFromStream_maxLength(*file, 100), 0);
}

}  // namespace
