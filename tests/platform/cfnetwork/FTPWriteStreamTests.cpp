#include <gtest/gtest.h>

#include "cfnetwork/CFNetworkErrors.h"
#include "cfnetwork/FTPWriteStream.h"
#include "testing/ScriptedFTPServer.h"
#include "tests/platform/cfnetwork/TestContent.h"
#include "tests/platform/cfnetwork/Upload.h"

// What the stream does on a server that behaves well.

namespace {

using Verbs = std::vector<std::string>;

TEST(FTPWriteStream, StoresAFile) {
  ScriptedFTPServer server;
  Upload upload(server, "/a.txt", "hello");
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  EXPECT_EQ(server.file("/a.txt"), "hello");
  EXPECT_EQ(upload.stream->streamStatus(), NSStreamStatusClosed);
  ASSERT_GE(upload.events.size(), 2U);
  EXPECT_EQ(upload.events[0], NSStreamEventOpenCompleted);
  EXPECT_EQ(upload.events[1], NSStreamEventHasSpaceAvailable);
}

TEST(FTPWriteStream, StoresAnEmptyFile) {
  ScriptedFTPServer server;
  EXPECT_TRUE(Upload(server, "/empty").stores());
  EXPECT_EQ(server.file("/empty"), "");
}

TEST(FTPWriteStream, StoresLargeFilesWhole) {
  ScriptedFTPServer server;
  for (const std::size_t size : {511999UL, 512000UL, 512001UL, 1024000UL, 20000000UL}) {
    const std::string content = contentOfSize(size);
    EXPECT_TRUE(Upload(server, "/large", content).stores());
    EXPECT_EQ(server.file("/large") == content, true) << size;
  }
  EXPECT_EQ(server.logins(), 1U);
}

TEST(FTPWriteStream, StoresAFileWholeHoweverSlowlyTheServerReads) {
  ScriptedFTPServer server;
  server.setReceiveBuffer(4096);
  const std::string content = contentOfSize(3000000);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(Upload(server, "/large", content).stores());
    EXPECT_EQ(server.file("/large") == content, true);
  }
}

TEST(FTPWriteStream, StoresAFileWholeHoweverSmallTheWritesAre) {
  ScriptedFTPServer server;
  const std::string content = contentOfSize(100000);
  for (int i = 0; i < 3; ++i) {
    Upload upload(server, "/a", content);
    upload.pieceSize = 777;
    EXPECT_TRUE(upload.stores());
    EXPECT_EQ(server.file("/a") == content, true);
  }
}

TEST(FTPWriteStream, MakesAFolderForAURLThatEndsInASlash) {
  ScriptedFTPServer server;
  Upload upload(server, "/site/docs/");
  EXPECT_TRUE(upload.stores());
  EXPECT_TRUE(server.folders().contains("/site/docs"));
  EXPECT_TRUE(upload.has(NSStreamEventOpenCompleted));
  EXPECT_TRUE(upload.has(NSStreamEventHasSpaceAvailable));
  EXPECT_EQ(server.count("STOR"), 0U);
  EXPECT_EQ(server.count("CWD"), 0U);
}

TEST(FTPWriteStream, TakesNoDataForAFolder) {
  ScriptedFTPServer server;
  Upload upload(server, "/docs/", "data");
  upload.run([&] { return upload.failedWrites > 0; });
  EXPECT_EQ(upload.failedWrites, 1);
}

TEST(FTPWriteStream, TakesNoDataBeforeItIsOpenAndAfterItIsClosed) {
  ScriptedFTPServer server;
  Upload upload(server, "/a", "data");
  const std::uint8_t byte = 0;
  EXPECT_FALSE(upload.stream->hasSpaceAvailable());
  EXPECT_LT(upload.stream->write_maxLength(&byte, 1), 0);
  EXPECT_TRUE(upload.stores());
  EXPECT_FALSE(upload.stream->hasSpaceAvailable());
  EXPECT_LT(upload.stream->write_maxLength(&byte, 1), 0);
  EXPECT_EQ(server.file("/a"), "data");
}

TEST(FTPWriteStream, LogsInOnceForManyItems) {
  ScriptedFTPServer server;
  EXPECT_TRUE(Upload(server, "/docs/").stores());
  for (int i = 0; i < 20; ++i) {
    const std::string name = "/docs/" + std::to_string(i);
    EXPECT_TRUE(Upload(server, name, name).stores());
    EXPECT_EQ(server.file(name), name);
  }
  EXPECT_EQ(server.logins(), 1U);
  EXPECT_EQ(server.sessions(), 1U);
  EXPECT_EQ(server.count("TYPE"), 1U);
}

TEST(FTPWriteStream, SendsNoCommandBeforeTheReplyToTheLastOne) {
  ScriptedFTPServer server;
  EXPECT_TRUE(Upload(server, "/docs/").stores());
  for (const std::size_t size : {0UL, 2000UL, 511999UL, 5000000UL}) {
    EXPECT_TRUE(Upload(server, "/docs/" + std::to_string(size), contentOfSize(size)).stores());
  }
  EXPECT_EQ(server.timesAhead(), 0U);
  EXPECT_EQ(server.storesWithoutData(), 0U);
  EXPECT_EQ(server.verbs(),
            (Verbs{"USER", "PASS", "TYPE", "MKD", "EPSV", "STOR", "EPSV", "STOR", "EPSV", "STOR", "EPSV", "STOR"}));
}

// The name.

// The path that the server gets for what follows the host in the URL.
std::string storedPath(const std::string& pathOfURL) {
  ScriptedFTPServer server;
  Upload upload(server.url(pathOfURL), "x");
  EXPECT_TRUE(upload.stores()) << pathOfURL << ": " << upload.errorText();
  const auto transfers = server.transfers();
  return transfers.size() == 1 ? transfers[0].path : "";
}

TEST(FTPWriteStreamPath, IsWhatFollowsTheFirstSlashAfterTheHost) {
  EXPECT_EQ(storedPath("//a.txt"), "/a.txt");
  EXPECT_EQ(storedPath("/a.txt"), "a.txt");
  EXPECT_EQ(storedPath("//pub/site/a.txt"), "/pub/site/a.txt");
  EXPECT_EQ(storedPath("/%2Fpub/a.txt"), "/pub/a.txt");
  EXPECT_EQ(storedPath("///a//b"), "//a//b");
  EXPECT_EQ(storedPath("//a/../b/./c"), "/a/../b/./c");
}

TEST(FTPWriteStreamPath, TakesMarksThatMeanNothingInFTPAsPartOfTheName) {
  EXPECT_EQ(storedPath("//what?"), "/what?");
  EXPECT_EQ(storedPath("//a?b/c?d"), "/a?b/c?d");
  EXPECT_EQ(storedPath("//no#1.txt"), "/no#1.txt");
  EXPECT_EQ(storedPath("//a;type=d"), "/a;type=d");
  EXPECT_EQ(storedPath("//a&b=c+d,e@f:g!$'()*~"), "/a&b=c+d,e@f:g!$'()*~");
}

TEST(FTPWriteStreamPath, IsDecoded) {
  EXPECT_EQ(storedPath("//a%20b.txt"), "/a b.txt");
  EXPECT_EQ(storedPath("//50%25"), "/50%");
  EXPECT_EQ(storedPath("//%C3%A9%ff%01"), "/\xC3\xA9\xFF\x01");
  EXPECT_EQ(storedPath("//%252F"), "/%2F");
}

// Servers that still know what RFC 959 has taken from Telnet take a byte 255 for the beginning of a command.
TEST(FTPWriteStreamPath, HasByte255TwiceWhereTheServerReadsTelnetAndNamesAreUTF8) {
  for (const bool announcesUTF8 : {true, false}) {
    ScriptedFTPServer server;
    server.on("GREETING", scripted::reply("220 ProFTPD Server ready.")).always("OPTS", scripted::reply("200 Good."));
    Upload upload(server.url("//a%ffb"), "content");
    upload.stream->setProperty_forKey(NSNumber::numberWithBool(announcesUTF8), kCFStreamPropertyFTPAnnouncesUTF8());
    EXPECT_TRUE(upload.stores()) << upload.errorText();
    const std::string expected = announcesUTF8 ? "/a\xFF\xFF"
                                                 "b"
                                               : "/a\xFF"
                                                 "b";
    EXPECT_EQ(server.file(expected), "content");
  }
}

TEST(FTPWriteStreamPath, MayBeLong) {
  const std::string name(255, 'n');
  std::string path;
  for (int i = 0; i < 16; ++i) path += "/" + name;
  EXPECT_EQ(storedPath("/" + path), path);
}

TEST(FTPWriteStreamPath, OfAFolderLosesItsLastSlashOnly) {
  ScriptedFTPServer server;
  EXPECT_TRUE(Upload(server.url("//docs/")).stores());
  EXPECT_TRUE(Upload(server.url("//a?b/")).stores());
  EXPECT_TRUE(Upload(server.url("//no#1/")).stores());
  EXPECT_TRUE(Upload(server.url("//with%20space/")).stores());
  EXPECT_EQ(server.folders(), (std::set<std::string>{"/", "/docs", "/a?b", "/no#1", "/with space"}));
}

TEST(FTPWriteStreamPath, ThatIsEmptyGivesNoStream) {
  for (const auto& url : {"ftp://host"_ns, "ftp://host/"_ns, "ftp://host//"_ns, "http://host/a"_ns}) {
    EXPECT_EQ(CFWriteStreamCreateWithFTPURL(NSURL::URLWithString(url)), nil) << url->UTF8String();
  }
}

TEST(FTPWriteStreamPath, ThatWouldBreakTheCommandLineIsAnErrorAndNothingIsConnected) {
  ScriptedFTPServer server;
  for (const char* path : {"//a%0D%0ADELE%20b", "//a%0a", "//%0D", "//a%00b", "//a%0D/"}) {
    Upload upload(server.url(path));
    upload.run();
    EXPECT_EQ(upload.errorCode(), kCFURLErrorBadURL) << path;
    EXPECT_EQ(upload.events, std::vector{NSStreamEventErrorOccurred}) << path;
  }
  EXPECT_EQ(server.sessions(), 0U);
}

// The login.

TEST(FTPWriteStreamLogin, ComesFromTheURL) {
  ScriptedFTPServer server;
  EXPECT_TRUE(Upload(server, "/a").stores());
  const auto commands = server.commands();
  EXPECT_EQ(commands[0].argument, "telvo");
  EXPECT_EQ(commands[1].argument, "secret");
}

std::string withoutLogin(std::string url) { return url.erase(6, url.find('@') - 5); }

TEST(FTPWriteStreamLogin, OfThePropertiesGoesBeforeTheURLs) {
  ScriptedFTPServer server;
  Upload upload("ftp://somebody:else@" + withoutLogin(server.url("//a")).substr(6));
  EXPECT_TRUE(upload.stream->setProperty_forKey("telvo"_ns, kCFStreamPropertyFTPUserName()));
  EXPECT_TRUE(upload.stream->setProperty_forKey("secret"_ns, kCFStreamPropertyFTPPassword()));
  EXPECT_TRUE(upload.stores());
}

TEST(FTPWriteStreamLogin, IsAnonymousWhenNoneIsGiven) {
  ScriptedFTPServer server;
  Upload upload(withoutLogin(server.url("//a")));
  // A password alone is no login.
  upload.stream->setProperty_forKey("secret"_ns, kCFStreamPropertyFTPPassword());
  EXPECT_TRUE(upload.stores());
  const auto commands = server.commands();
  EXPECT_EQ(commands[0].argument, "anonymous");
  EXPECT_EQ(commands[1].verb, "PASS");
  EXPECT_NE(commands[1].argument, "secret");
}

TEST(FTPWriteStreamLogin, IsDecodedFromTheURL) {
  ScriptedFTPServer server;
  server.on("PASS", scripted::reply("530 No"));
  Upload("ftp://a%40b:p%3Aw%20d@" + withoutLogin(server.url("//a")).substr(6)).run();
  const auto commands = server.commands();
  EXPECT_EQ(commands[0].argument, "a@b");
  EXPECT_EQ(commands[1].argument, "p:w d");
}

TEST(FTPWriteStreamLogin, ThatWouldBreakTheCommandLineIsAnErrorAndNothingIsConnected) {
  ScriptedFTPServer server;
  const std::string rest = withoutLogin(server.url("//a")).substr(6);
  for (const std::string login : {"a%0D%0ADELE%20b:c", "a:b%0Ac", "a%00:b"}) {
    Upload upload("ftp://" + login + "@" + rest);
    upload.run();
    EXPECT_EQ(upload.errorCode(), kCFURLErrorBadURL) << login;
  }
  for (const auto& key : {kCFStreamPropertyFTPUserName(), kCFStreamPropertyFTPPassword()}) {
    Upload upload(server, "/a");
    upload.stream->setProperty_forKey("telvo"_ns, kCFStreamPropertyFTPUserName());
    upload.stream->setProperty_forKey("x\r\nDELE y"_ns, key);
    upload.run();
    EXPECT_EQ(upload.errorCode(), kCFURLErrorBadURL);
  }
  EXPECT_EQ(server.sessions(), 0U);
}

TEST(FTPWriteStreamLogin, NeedsNoPasswordWhereTheServerAsksForNone) {
  ScriptedFTPServer server;
  server.on("USER", [](scripted::Session& session, const std::string&) {
    session.loggedIn = true;
    session.reply("230 Come in.");
  });
  EXPECT_TRUE(Upload(server, "/a", "x").stores());
  EXPECT_EQ(server.count("PASS"), 0U);
  EXPECT_EQ(server.file("/a"), "x");
}

TEST(FTPWriteStreamLogin, GoesOnAfterAnAnswerThatThePasswordWasSuperfluous) {
  ScriptedFTPServer server;
  server.on("PASS", [](scripted::Session& session, const std::string&) {
    session.loggedIn = true;
    session.reply("202 No need.");
  });
  EXPECT_TRUE(Upload(server, "/a", "x").stores());
}

// Properties.

TEST(FTPWriteStreamProperties, AreReadBackAndRefusedOnceTheStreamIsOpen) {
  ScriptedFTPServer server;
  Upload upload(server, "/a");
  const Ref<FTPWriteStream> stream = upload.stream;
  EXPECT_EQ(stream->propertyForKey(kCFStreamPropertyFTPUserName()), nil);
  EXPECT_TRUE(stream->setProperty_forKey("u"_ns, kCFStreamPropertyFTPUserName()));
  EXPECT_TRUE(stream->setProperty_forKey("p"_ns, kCFStreamPropertyFTPPassword()));
  EXPECT_TRUE(stream->setProperty_forKey(NSDictionary::dictionary({}), kCFStreamPropertyFTPProxy()));
  EXPECT_TRUE(stream->setProperty_forKey(NSNumber::numberWithBool(false), kCFStreamPropertyFTPUsePassiveMode()));
  EXPECT_FALSE(stream->setProperty_forKey("x"_ns, "kCFStreamPropertyFTPResourceSize"_ns));
  EXPECT_TRUE(as<NSString>(stream->propertyForKey(kCFStreamPropertyFTPUserName()))->isEqualToString("u"_ns));
  EXPECT_TRUE(as<NSString>(stream->propertyForKey(kCFStreamPropertyFTPPassword()))->isEqualToString("p"_ns));
  EXPECT_FALSE(as<NSNumber>(stream->propertyForKey(kCFStreamPropertyFTPUsePassiveMode()))->boolValue());
  EXPECT_EQ(stream->propertyForKey("other"_ns), nil);
  stream->open();
  EXPECT_FALSE(stream->setProperty_forKey("v"_ns, kCFStreamPropertyFTPUserName()));
  EXPECT_TRUE(as<NSString>(stream->propertyForKey(kCFStreamPropertyFTPUserName()))->isEqualToString("u"_ns));
}

TEST(FTPWriteStreamProperties, AMissingPassiveModeSettingMeansPassive) {
  ScriptedFTPServer server;
  Upload upload(server, "/a", "x");
  EXPECT_TRUE(upload.stream->setProperty_forKey(nil, kCFStreamPropertyFTPUsePassiveMode()));
  EXPECT_TRUE(upload.stores());
  EXPECT_EQ(server.count("EPSV"), 1U);
}

TEST(CFWriteStreamCreateWithFTPURL, MakesAStreamForFTPURLsWithAHostAndANameOnly) {
  const auto streamFor = [](const char* url) {
    return CFWriteStreamCreateWithFTPURL(NSURL::URLWithString(NSString::stringWithUTF8String(url)));
  };
  EXPECT_TRUE(streamFor("ftp://h//a"));
  EXPECT_TRUE(streamFor("FTP://h/a"));
  EXPECT_TRUE(streamFor("ftp://[::1]:2121/a/"));
  EXPECT_FALSE(streamFor("http://h/a"));
  EXPECT_FALSE(streamFor("ftps://h/a"));
  EXPECT_FALSE(streamFor("ftp:///a"));
  EXPECT_FALSE(streamFor("ftp://h"));
  EXPECT_FALSE(streamFor("ftp://h/"));
  EXPECT_FALSE(streamFor("//h/a"));
  EXPECT_FALSE(CFWriteStreamCreateWithFTPURL(nil));
}

}  // namespace
