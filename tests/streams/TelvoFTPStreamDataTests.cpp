#include <algorithm>
#include <atomic>
#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cfnetwork/CFFTPStream.h"
#include "cfnetwork/FTPWriteStream.h"
#include "cfnetwork/FileReadStream.h"
#include "foundation/Foundation.h"
#include "streams/TelvoFTPStreamData.h"
#include "systemconfiguration/SCDynamicStore.h"
#include "testing/EnvironmentVariable.h"
#include "testing/ScriptedFTPServer.h"
#include "testing/TemporaryDirectory.h"
#include "tests/streams/NotificationRecorder.h"
#include "tests/streams/TestStreams.h"

namespace {

using Texts = std::vector<std::string>;

Ref<NSString> text(const std::string& utf8) { return NSString::stringWithUTF8String(utf8); }

class TelvoUploadFTPStreamDataTest : public testing::Test {
 protected:
  TelvoUploadFTPStreamDataTest() { connection->setDelegate(recorder); }

  static Ref<NSDictionary> parameters(const std::string& path, const std::string& directory,
                                      const std::string& host = "h", const std::string& username = "",
                                      const std::string& password = "") {
    return NSDictionary::dictionary({{"Path"_ns, text(path)},
                                     {"Host"_ns, text(host)},
                                     {"Directory"_ns, text(directory)},
                                     {"Username"_ns, text(username)},
                                     {"Password"_ns, text(password)},
                                     {"UseSameThread"_ns, NSNumber::numberWithBool(true)}});
  }

  // The remote URL that the streams are made with; empty when none are made.
  std::string urlFor(const std::string& path, const std::string& directory, const std::string& host = "h") {
    connection->setStreamsWithParameters(parameters(path, directory, host));
    const auto writer = as<FTPWriteStream>(connection->outputStream());
    EXPECT_EQ(writer == nil, connection->inputStream() == nil);
    return writer ? writer->URL()->absoluteString()->UTF8String() : "";
  }

  Ref<FTPWriteStream> writerFor(const std::string& username, const std::string& password) {
    connection->setStreamsWithParameters(parameters(folder / "a.txt", "/", "h", username, password));
    return as<FTPWriteStream>(connection->outputStream());
  }

  void upload(const std::string& path, const std::string& host) {
    connection->uploadPath_toHost_directory_username_password_forDelegate_useSameThread(text(path), text(host), "/"_ns,
                                                                                        ""_ns, ""_ns, recorder, true);
  }

  const TemporaryDirectory folder;
  const Ref<NotificationRecorder> recorder = make<NotificationRecorder>();
  const Ref<TelvoUploadFTPStreamData> connection = TelvoUploadFTPStreamData::streamData();
};

TEST_F(TelvoUploadFTPStreamDataTest, StartsWithNothingTransferred) {
  EXPECT_EQ(connection->proxyDict(), nil);
  EXPECT_EQ(connection->fileSize(), 0);
  EXPECT_EQ(connection->totalBytesWritten(), 0U);
  EXPECT_EQ(connection->leftOverByteCount(), 0);
  EXPECT_EQ(TelvoAbstractFTPStreamData::bufferSize, 512000U);
}

TEST_F(TelvoUploadFTPStreamDataTest, RootDirectoryGivesTwoSlashes) {
  EXPECT_EQ(urlFor("/Users/x/a.txt", "/"), "ftp://h//a.txt");
}

TEST_F(TelvoUploadFTPStreamDataTest, DirectoryKeepsItsOwnSlashes) {
  EXPECT_EQ(urlFor("/Users/x/a.txt", "/pub/site"), "ftp://h//pub/site/a.txt");
  EXPECT_EQ(urlFor("/Users/x/a.txt", "pub"), "ftp://h/pub/a.txt");
  EXPECT_EQ(urlFor("/Users/x/a.txt", "//"), "ftp://h////a.txt");
  EXPECT_EQ(urlFor("/Users/x/a.txt", "/pub/"), "ftp://h//pub//a.txt");
}

TEST_F(TelvoUploadFTPStreamDataTest, FolderGetsASlashAtTheEnd) {
  std::filesystem::create_directory(folder / "docs");
  EXPECT_EQ(urlFor(folder / "docs", "/site"), "ftp://h//site/docs/");
  EXPECT_EQ(urlFor(folder / "missing", "/site"), "ftp://h//site/missing");
}

TEST_F(TelvoUploadFTPStreamDataTest, HostIsUsedAsGiven) {
  EXPECT_EQ(urlFor("/a", "/", "h:2121"), "ftp://h:2121//a");
  EXPECT_EQ(urlFor("/a", "/", "[::1]:2121"), "ftp://[::1]:2121//a");
  EXPECT_EQ(urlFor("/a", "/", "user:secret@h"), "ftp://user:secret@h//a");
}

TEST_F(TelvoUploadFTPStreamDataTest, EscapesInNamesStandAsTheyAre) {
  EXPECT_EQ(urlFor("/Users/x/a%20b.txt", "/"), "ftp://h//a%20b.txt");
  EXPECT_EQ(urlFor("/Users/x/100%25", "/"), "ftp://h//100%25");
  EXPECT_EQ(urlFor("/Users/x/a?b#c;d&e=f", "/"), "ftp://h//a?b#c;d&e=f");
}

TEST_F(TelvoUploadFTPStreamDataTest, NamesThatNoURLCanHoldYieldNoStreams) {
  for (const char* name : {"a b", "a|b", "a<b", "a>b", "a\"b", "a\\b", "a^b", "a`b", "a{b", "a}b", "100%", "a%zz",
                           "caf\u00e9", "a\nb", "a\xff"}) {
    EXPECT_EQ(urlFor(std::string("/Users/x/") + name, "/"), "") << name;
    EXPECT_EQ(urlFor("/Users/x/a", std::string("/") + name), "") << name;
  }
}

TEST_F(TelvoUploadFTPStreamDataTest, NameWithASpaceIsReportedAsAConnectionThatEndedAtOnce) {
  folder.write("two words.txt", "x");
  upload(folder / "two words.txt", "127.0.0.1:1");
  EXPECT_EQ(recorder->signatures, (Texts{"streamDataConnecting:", "streamDataEnded:"}));
}

TEST_F(TelvoUploadFTPStreamDataTest, EmptyPathIsReportedAsAConnectionThatEndedAtOnce) {
  upload("", "127.0.0.1:1");
  EXPECT_EQ(recorder->signatures, (Texts{"streamDataConnecting:", "streamDataEnded:"}));
}

TEST_F(TelvoUploadFTPStreamDataTest, EmptyHostReportsOnlyAnError) {
  for (const Ref<NSString>& host : {Ref<NSString>(""_ns), Ref<NSString>()}) {
    recorder->signatures.clear();
    recorder->objects.clear();
    const auto each = TelvoUploadFTPStreamData::streamData();
    each->uploadPath_toHost_directory_username_password_forDelegate_useSameThread(text(folder / "a.txt"), host, "/"_ns,
                                                                                  ""_ns, ""_ns, recorder, true);
    EXPECT_EQ(recorder->signatures, Texts{"streamData:errorOccurred:"});
    EXPECT_EQ(recorder->textAt(0), "Can't connect as no host was specified");
    EXPECT_EQ(each->delegate(), recorder);
  }
}

TEST_F(TelvoUploadFTPStreamDataTest, MissingTextsBesideTheHostAreRefused) {
  EXPECT_THROW(connection->uploadPath_toHost_directory_username_password_forDelegate_useSameThread(
                   "/a"_ns, "h"_ns, "/"_ns, nil, ""_ns, recorder, true),
               Ref<NSException>);
}

TEST_F(TelvoUploadFTPStreamDataTest, SetsTheLoginOnTheStream) {
  const auto writer = writerFor("ann", "secret");
  EXPECT_TRUE(NSEqualObjects(writer->propertyForKey(kCFStreamPropertyFTPUserName()), "ann"_ns));
  EXPECT_TRUE(NSEqualObjects(writer->propertyForKey(kCFStreamPropertyFTPPassword()), "secret"_ns));
}

TEST_F(TelvoUploadFTPStreamDataTest, SetsAnEmptyPasswordBesideALogin) {
  const auto writer = writerFor("ann", "");
  EXPECT_TRUE(NSEqualObjects(writer->propertyForKey(kCFStreamPropertyFTPPassword()), ""_ns));
}

TEST_F(TelvoUploadFTPStreamDataTest, WithoutALoginThePasswordIsNotSetEither) {
  const auto writer = writerFor("", "secret");
  EXPECT_EQ(writer->propertyForKey(kCFStreamPropertyFTPUserName()), nil);
  EXPECT_EQ(writer->propertyForKey(kCFStreamPropertyFTPPassword()), nil);
  connection->setUsername_andPassword_forStream(nil, "secret"_ns, writer);
  EXPECT_EQ(writer->propertyForKey(kCFStreamPropertyFTPPassword()), nil);
  connection->setUsername_andPassword_forStream("ann"_ns, "secret"_ns, nil);
  connection->setProxyForStream(nil);
}

TEST_F(TelvoUploadFTPStreamDataTest, SetsTheSystemsProxySettingsAsTheyAreNow) {
  {
    const EnvironmentVariable proxy("ftp_proxy", "socks5://127.0.0.1:1080");
    const EnvironmentVariable mode("FTP_PASSIVE_MODE", "no");
    const auto writer = writerFor("", "");
    const auto settings = connection->proxyDict();
    EXPECT_EQ(writer->propertyForKey(kCFStreamPropertyFTPProxy()), settings);
    EXPECT_TRUE(NSEqualObjects(settings->objectForKey(kSCPropNetProxiesFTPProxy()), "socks5://127.0.0.1:1080"_ns));
    EXPECT_FALSE(foundation::boolFromObject(writer->propertyForKey(kCFStreamPropertyFTPUsePassiveMode())));
  }
  const EnvironmentVariable mode("FTP_PASSIVE_MODE", "yes");
  const auto writer = writerFor("", "");
  EXPECT_TRUE(foundation::boolFromObject(writer->propertyForKey(kCFStreamPropertyFTPUsePassiveMode())));
}

TEST_F(TelvoUploadFTPStreamDataTest, TheOtherFTPConnectionsAddNothing) {
  EXPECT_EQ(TelvoListingFTPStreamData::classObject()->superclass(), TelvoAbstractFTPStreamData::classObject());
  EXPECT_EQ(TelvoDownloadFTPStreamData::classObject()->superclass(), TelvoAbstractFTPStreamData::classObject());
}

// A file on a disk that fails behind its first `readable` bytes.
class FailingFile : public FileReadStream {
  NS_OBJECT(FailingFile, FileReadStream)

 public:
  FailingFile(std::string path, std::size_t readable) : FileReadStream(std::move(path)), readable_(readable) {}
  NSInteger read_maxLength(std::uint8_t* buffer, NSUInteger length) override {
    if (readable_ > 0) {
      const NSInteger size = FileReadStream::read_maxLength(buffer, std::min<NSUInteger>(length, readable_));
      readable_ -= static_cast<std::size_t>(size);
      return size;
    }
    fail(NSError::errorWithPOSIXCode(EIO));
    return -1;
  }
  int fileDescriptor() const override { return -1; }

 private:
  std::size_t readable_;
};

Class FailingFile::classObject() {
  static const NSClass object("FailingFile", FileReadStream::classObject(), {});
  return &object;
}

class UploadOfFailingFile : public TelvoUploadFTPStreamData {
  NS_OBJECT(UploadOfFailingFile, TelvoUploadFTPStreamData)

 public:
  explicit UploadOfFailingFile(std::size_t readable) : readable_(readable) {}
  void setStreamsWithParameters(const Ref<NSDictionary>& parameters) override {
    TelvoUploadFTPStreamData::setStreamsWithParameters(parameters);
    setInputStream(
        make<FailingFile>(as<NSString>(parameters->objectForKey("Path"_ns))->fileSystemRepresentation(), readable_));
  }

 private:
  const std::size_t readable_;
};

Class UploadOfFailingFile::classObject() {
  static const NSClass object("UploadOfFailingFile", TelvoUploadFTPStreamData::classObject(), {});
  return &object;
}

TEST_F(TelvoUploadFTPStreamDataTest, AFileThatCannotBeReadToItsEndNeverCountsAsWholeForTheServer) {
  const std::string content(4'000'000, 'x');
  const std::string path = folder.write("a.bin", content);
  for (const std::size_t readable : {std::size_t{0}, std::size_t{1}, std::size_t{512'000}, std::size_t{3'000'000}}) {
    ScriptedFTPServer server;
    const auto failing = make<UploadOfFailingFile>(readable);
    recorder->signatures.clear();
    recorder->objects.clear();
    failing->uploadPath_toHost_directory_username_password_forDelegate_useSameThread(
        text(path), text("127.0.0.1:" + std::to_string(server.port())), "/"_ns, "telvo"_ns, "secret"_ns, recorder,
        true);
    const auto error = std::ranges::find(recorder->signatures, "streamData:errorOccurred:");
    ASSERT_NE(error, recorder->signatures.end()) << readable;
    EXPECT_EQ(recorder->textAt(static_cast<std::size_t>(error - recorder->signatures.begin())),
              "Error while reading: -1");
    EXPECT_EQ(std::ranges::count(recorder->signatures, "streamData:errorOccurred:"), 1) << readable;
    EXPECT_EQ(std::ranges::count(recorder->signatures, "streamDataConnectionTerminated:"), 0) << readable;
    EXPECT_EQ(recorder->signatures.back(), "streamDataEnded:");
    // Whatever the server was asked to store, it has seen the end of by now or does so soon.
    EXPECT_TRUE(server.waitUntil([&] { return server.transfers().size() >= server.count("STOR"); })) << readable;
    EXPECT_EQ(server.file("/a.bin"), std::nullopt) << readable;
  }
}

TEST_F(TelvoUploadFTPStreamDataTest, AfterAStopNoFurtherByteOfTheItemLeavesAndNothingIsReported) {
  const std::string path = folder.write("a.bin", std::string(40'000'000, 'x'));
  std::atomic<bool> isStopped = false;
  ScriptedFTPServer server;
  server.setReceiveBuffer(4096);
  server.on("STOR", [&](scripted::Session& session, const std::string& name) {
    session.reply("150 Send it.");
    session.openData();
    std::string content = session.receive(1000);
    server.waitUntil([&] { return isStopped.load(); });
    content += session.receive();
    session.note(name, content);
  });
  recorder->react = [](const std::string& sent, const Ref<TelvoStreamData>& sender) {
    if (sent == "streamData:uploadedBytes:") sender->disconnect();
  };
  const auto stopped = TelvoUploadFTPStreamData::streamData();
  stopped->uploadPath_toHost_directory_username_password_forDelegate_useSameThread(
      text(path), text("127.0.0.1:" + std::to_string(server.port())), "/"_ns, "telvo"_ns, "secret"_ns, recorder, true);
  recorder->react = nullptr;
  EXPECT_EQ(recorder->signatures.back(), "streamDataEnded:");
  EXPECT_EQ(std::ranges::count(recorder->signatures, "streamDataDisconnected:"), 1);
  // The streams are open until they are let go of, and the loop goes on running for others.
  EXPECT_TRUE(stopped->isConnected());
  const std::size_t reports = recorder->signatures.size();
  NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(0.5));
  EXPECT_EQ(recorder->signatures.size(), reports);
  isStopped = true;
  EXPECT_TRUE(server.waitUntil([&] { return server.transfers().size() == 1; }));
  // Ours alone would have held megabytes; what the server's system had taken by then is less.
  EXPECT_EQ(server.transfers()[0].end, ScriptedFTPServer::End::Reset);
  EXPECT_LT(server.transfers()[0].content.size(), 100'000U);
}

// A stop that comes before the run is forgotten, and what is under way goes on.
TEST_F(TelvoUploadFTPStreamDataTest, AStopBeforeTheRunChangesNothing) {
  const std::string path = folder.write("a.bin", "content");
  ScriptedFTPServer server;
  recorder->react = [](const std::string& sent, const Ref<TelvoStreamData>& sender) {
    if (sent == "streamDataConnecting:") sender->disconnect();
  };
  const auto uploading = TelvoUploadFTPStreamData::streamData();
  uploading->uploadPath_toHost_directory_username_password_forDelegate_useSameThread(
      text(path), text("127.0.0.1:" + std::to_string(server.port())), "/"_ns, "telvo"_ns, "secret"_ns, recorder, true);
  recorder->react = nullptr;
  EXPECT_EQ(server.file("/a.bin"), "content");
  EXPECT_EQ(std::ranges::count(recorder->signatures, "streamDataConnectionTerminated:"), 1);
}

// The transfer pump between two streams that do as they are told.
class TransferPumpTest : public TelvoUploadFTPStreamDataTest {
 protected:
  TransferPumpTest() {
    connection->setInputStream(input);
    connection->setOutputStream(output);
  }
  void burst() { connection->handleHasSpaceAvailableForStream(output); }
  NSUInteger reportedAt(std::size_t index) const {
    return as<NSNumber>(recorder->objects.at(index))->unsignedIntegerValue();
  }

  const Ref<TestInputStream> input = make<TestInputStream>();
  const Ref<TestOutputStream> output = make<TestOutputStream>();
};

TEST_F(TransferPumpTest, ShortWriteLeavesTheRestForTheNextWriteBeforeAnythingIsRead) {
  std::string content;
  for (int i = 0; i < 4096; ++i) content += static_cast<char>('a' + i % 26);
  input->bytes = content;
  output->takes = {1000};
  output->fullAfter = 1;
  burst();
  EXPECT_EQ(connection->leftOverByteCount(), 3096);
  EXPECT_EQ(connection->totalBytesWritten(), 1000U);
  input->bytes = "more";
  output->takes = {3096};
  burst();
  EXPECT_EQ(input->asked.size(), 1U);
  EXPECT_EQ(output->offered.at(1), content.substr(1000));
  EXPECT_EQ(connection->leftOverByteCount(), 0);
  burst();
  EXPECT_EQ(output->written, content + "more");
}

TEST_F(TransferPumpTest, RepeatsWhileThereIsSpaceAndReportsOncePerBurst) {
  input->bytes = std::string(1200000, 'x');
  output->fullAfter = 1200000;
  burst();
  EXPECT_EQ(input->asked, (std::vector<NSUInteger>{512000, 512000, 512000}));
  EXPECT_EQ(output->written.size(), 1200000U);
  EXPECT_EQ(recorder->signatures, Texts{"streamData:uploadedBytes:"});
  EXPECT_EQ(reportedAt(0), 1200000U);
}

TEST_F(TransferPumpTest, ReportsARunningTotal) {
  input->bytes = "abcdef";
  output->takes = {2, 4};
  output->fullAfter = 1;
  burst();
  burst();
  EXPECT_EQ(reportedAt(0), 2U);
  EXPECT_EQ(reportedAt(1), 6U);
}

TEST_F(TransferPumpTest, EndOfTheFileEndsTheBurstWithoutEndingTheConnection) {
  input->bytes = "abc";
  burst();
  EXPECT_EQ(output->written, "abc");
  EXPECT_EQ(output->offered.size(), 2U);
  EXPECT_EQ(output->offered.back(), "");
  EXPECT_EQ(recorder->signatures, Texts{"streamData:uploadedBytes:"});
  EXPECT_EQ(output->closed, 0);
}

TEST_F(TransferPumpTest, EmptyFileReportsZeroBytes) {
  burst();
  EXPECT_EQ(recorder->signatures, Texts{"streamData:uploadedBytes:"});
  EXPECT_EQ(reportedAt(0), 0U);
}

TEST_F(TransferPumpTest, ReadErrorTerminatesAndIsReportedBeforeTheBytes) {
  input->readResult = -1;
  burst();
  EXPECT_EQ(recorder->signatures, (Texts{"streamData:errorOccurred:", "streamData:uploadedBytes:"}));
  EXPECT_EQ(recorder->textAt(0), "Error while reading: -1");
  EXPECT_EQ(connection->outputStream(), nil);
  EXPECT_EQ(input->closed, 1);
  EXPECT_EQ(output->closed, 1);
  EXPECT_TRUE(output->offered.empty());
}

TEST_F(TransferPumpTest, WriteErrorIsReportedAndLeavesTheConnectionOpen) {
  input->bytes = "abc";
  output->writeResult = -1;
  burst();
  EXPECT_EQ(recorder->signatures, (Texts{"streamData:errorOccurred:", "streamData:uploadedBytes:"}));
  EXPECT_EQ(recorder->textAt(0), "Error while uploading: -1");
  EXPECT_EQ(connection->outputStream(), output);
  EXPECT_EQ(output->closed, 0);
}

TEST_F(TransferPumpTest, WriteOfNothingIsNotReportedAndLosesNothing) {
  input->bytes = "abc";
  output->writeResult = 0;
  burst();
  EXPECT_EQ(recorder->signatures, Texts{"streamData:uploadedBytes:"});
  output->writeResult.reset();
  burst();
  EXPECT_EQ(output->written, "abc");
}

TEST_F(TransferPumpTest, WhatTheStreamsMoveThemselvesDoesNotPassThroughTheBuffer) {
  input->bytes = "abc";
  output->moves = {300000, 200000};
  burst();
  EXPECT_EQ(output->written, "abc");
  EXPECT_EQ(recorder->signatures, Texts{"streamData:uploadedBytes:"});
  EXPECT_EQ(reportedAt(0), 500003U);
  // More at a time would keep the run loop from its other work.
  EXPECT_EQ(output->largestMove, 8U * 1024 * 1024);
}

TEST_F(TransferPumpTest, NothingIsReadWhenTheStreamsHaveNoRoomToMoveIt) {
  input->bytes = "abc";
  output->moves = {300000, 0};
  burst();
  EXPECT_TRUE(input->asked.empty());
  EXPECT_TRUE(output->offered.empty());
  EXPECT_EQ(reportedAt(0), 300000U);
}

TEST_F(TransferPumpTest, WhatWasReadGoesBeforeWhatTheStreamsMoveThemselves) {
  input->bytes = "abcd";
  output->takes = {1};
  output->fullAfter = 1;
  burst();
  output->moves = {500};
  burst();
  EXPECT_EQ(output->written, "abcd");
  EXPECT_EQ(output->moves.size(), 1U);
}

TEST_F(TransferPumpTest, SpaceOnAnotherStreamIsNotUsed) {
  input->bytes = "abc";
  connection->handleHasSpaceAvailableForStream(make<TestOutputStream>());
  connection->handleHasSpaceAvailableForStream(input);
  EXPECT_TRUE(input->asked.empty());
  EXPECT_TRUE(recorder->signatures.empty());
}

}  // namespace
