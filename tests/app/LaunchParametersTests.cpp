#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "app/CommandLine.h"
#include "app/LaunchParameters.h"
#include "foundation/Foundation.h"
#include "foundation/preferences/NSUserDefaults.h"

namespace {

using streams::TemporaryNames;

// Read from defaults that hold nothing but these.
LaunchParameters parametersFrom(std::initializer_list<NSDictionary::Entry> entries) {
  const auto defaults = make<NSUserDefaults>("com.example.telvo.LaunchParametersTests"_ns);
  defaults->registerDefaults(NSDictionary::dictionary(entries));
  return LaunchParameters::from(*defaults);
}

TEST(LaunchParameters, NothingIsOnUnlessAskedFor) {
  const auto parameters = parametersFrom({{"host"_ns, "example.org"_ns}, {"debug"_ns, "YES"_ns}});
  EXPECT_TRUE(parameters.options.isUsualUpload());
  EXPECT_FALSE(parameters.announces);
  EXPECT_TRUE(parameters.complaints.empty());
}

TEST(LaunchParameters, EverySwitchIsRead) {
  const auto has = [](const Ref<NSString>& key, bool streams::UploadOptions::*option) {
    const auto parameters = parametersFrom({{key, "YES"_ns}, {"rememberSentOnly"_ns, "YES"_ns}});
    return parameters.options.*option && !parameters.options.isUsualUpload();
  };
  EXPECT_TRUE(has("reportOutcomes"_ns, &streams::UploadOptions::reportsOutcomes));
  EXPECT_TRUE(has("rememberSentOnly"_ns, &streams::UploadOptions::remembersSentOnly));
  EXPECT_TRUE(has("escapeNames"_ns, &streams::UploadOptions::escapesNames));
  EXPECT_TRUE(has("contentsOnly"_ns, &streams::UploadOptions::contentsOnly));
  EXPECT_TRUE(has("deleteMissing"_ns, &streams::UploadOptions::deletesMissing));
  EXPECT_TRUE(has("allowEmptySource"_ns, &streams::UploadOptions::allowsEmptySource));
  EXPECT_TRUE(has("reportBytes"_ns, &streams::UploadOptions::reportsBytes));
  EXPECT_TRUE(has("dryRun"_ns, &streams::UploadOptions::isDryRun));
  EXPECT_TRUE(parametersFrom({{"announce"_ns, "YES"_ns}}).announces);
}

TEST(LaunchParameters, NumbersAreNumbersFromTheirSmallestOn) {
  EXPECT_EQ(parametersFrom({{"attempts"_ns, "3"_ns}}).options.attempts, 3U);
  EXPECT_EQ(parametersFrom({{"bytesPerSecond"_ns, "1000"_ns}}).options.bytesPerSecond, 1000U);
  for (const char* wrong : {"0", "-1", "many", "", "3x", " 3"}) {
    const auto parameters = parametersFrom({{"attempts"_ns, NSString::stringWithUTF8String(wrong)}});
    EXPECT_EQ(parameters.options.attempts, 1U) << wrong;
    EXPECT_EQ(parameters.complaints.size(), 1U) << wrong;
  }
  const auto parameters = parametersFrom({{"bytesPerSecond"_ns, "10k"_ns}});
  EXPECT_EQ(parameters.options.bytesPerSecond, 0U);
  ASSERT_EQ(parameters.complaints.size(), 1U);
  EXPECT_EQ(parameters.complaints[0]->UTF8String(), "bytesPerSecond is a number from 0 on, not 10k");
}

TEST(LaunchParameters, ASwitchIsYesOrNo) {
  for (const char* off : {"NO", "no", "False", "0"}) {
    const auto parameters = parametersFrom({{"escapeNames"_ns, NSString::stringWithUTF8String(off)}});
    EXPECT_FALSE(parameters.options.escapesNames) << off;
    EXPECT_TRUE(parameters.complaints.empty()) << off;
  }
  for (const char* wrong : {"on", "maybe", ""}) {
    const auto parameters = parametersFrom({{"escapeNames"_ns, NSString::stringWithUTF8String(wrong)}});
    EXPECT_FALSE(parameters.options.escapesNames) << wrong;
    EXPECT_EQ(parameters.complaints.size(), 1U) << wrong;
  }
}

TEST(LaunchParameters, TheEncryptionIsHandedOnAsItIs) {
  const auto parameters = parametersFrom({{"security"_ns, "tls"_ns}, {"tlsFingerprint"_ns, ":"_ns}});
  EXPECT_FALSE(parameters.options.isUsualUpload());
  EXPECT_EQ(parameters.options.security->objectForKey("Level"_ns)->description()->UTF8String(), "tls");
  EXPECT_EQ(parameters.options.security->objectForKey("Fingerprint"_ns)->description()->UTF8String(), ":");
  EXPECT_EQ(parameters.options.security->count(), 2U);
  EXPECT_EQ(parametersFrom({{"host"_ns, "example.org"_ns}}).options.security, nil);
}

// Whoever asks for it must not be served in the clear because of a slip.
TEST(LaunchParameters, AnEncryptionWithoutAMeaningIsToldAndKept) {
  const std::vector<std::pair<Ref<NSString>, Ref<NSString>>> slips{
      {"security"_ns, "TLS"_ns},
      {"security"_ns, ""_ns},
      {"tlsFingerprint"_ns, "aa"_ns},
      {"tlsCertificateAuthority"_ns, "/nonexistent.pem"_ns},
      {"tlsCertificate"_ns, "/nonexistent.pem"_ns},
      {"tlsKey"_ns, "/nonexistent.pem"_ns},
  };
  for (const auto& [key, value] : slips) {
    const auto parameters = parametersFrom({{key, value}});
    EXPECT_EQ(parameters.complaints.size(), 1U) << key->UTF8String();
    EXPECT_NE(parameters.options.security, nil) << key->UTF8String();
  }
  EXPECT_TRUE(parametersFrom({{"security"_ns, "implicit"_ns}}).complaints.empty());
  EXPECT_TRUE(parametersFrom({{"security"_ns, "none"_ns}}).complaints.empty());
}

TEST(LaunchParameters, TheRemoteDirectoryIsMadeAbsolute) {
  const std::vector<std::pair<std::string, std::string>> expected{
      {"/", "/"},           {"", "/"},          {"/a", "/a"},    {"a/b", "/a/b"}, {"/a/", "/a"},
      {"//a//b//", "/a/b"}, {"/a/./b", "/a/b"}, {"/a b", "/a b"}};
  for (const auto& [given, path] : expected) {
    const auto options = parametersFrom({{"remoteDirectory"_ns, NSString::stringWithUTF8String(given)}}).options;
    EXPECT_EQ(options.remoteDirectory->UTF8String(), path) << given;
    EXPECT_EQ(options.isUsualUpload(), path == "/") << given;
  }
}

TEST(LaunchParameters, TemporaryNamesAreForAllForLargeOrForNoFiles) {
  EXPECT_EQ(parametersFrom({{"temporaryNames"_ns, "always"_ns}}).options.temporaryNames, TemporaryNames::AllFiles);
  EXPECT_EQ(parametersFrom({{"temporaryNames"_ns, "large"_ns}}).options.temporaryNames, TemporaryNames::LargeFiles);
  EXPECT_EQ(parametersFrom({{"temporaryNames"_ns, "never"_ns}}).options.temporaryNames, TemporaryNames::Never);
  const auto wrong = parametersFrom({{"temporaryNames"_ns, "YES"_ns}});
  EXPECT_EQ(wrong.options.temporaryNames, TemporaryNames::Never);
  EXPECT_EQ(wrong.complaints.size(), 1U);
}

TEST(LaunchParameters, PatternsAreRead) {
  EXPECT_TRUE(parametersFrom({{"exclude"_ns, "*.o\n*.tmp"_ns}}).options.excluded.exclude("a.tmp"_ns, false));
}

TEST(LaunchParameters, NothingIsRemovedWithoutKnowingWhatWasSent) {
  const auto parameters = parametersFrom({{"deleteMissing"_ns, "YES"_ns}});
  EXPECT_FALSE(parameters.options.deletesMissing);
  ASSERT_EQ(parameters.complaints.size(), 1U);
  EXPECT_EQ(parameters.complaints[0]->UTF8String(), "deleteMissing needs rememberSentOnly");
}

// ---- What is printed ----

std::string answer(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "TelvoFTPHelper");
  return answerToArguments(static_cast<int>(arguments.size()), arguments.data()).value_or("");
}

TEST(CommandLine, HelpAndVersionAreAnsweredWhenTheyStandAlone) {
  EXPECT_TRUE(answer({"--help"}).starts_with("Usage: TelvoFTPHelper"));
  EXPECT_EQ(answer({"--version"}), "TelvoFTPHelper " + helperVersion() + "\n");
  EXPECT_EQ(answer({}), "");
  EXPECT_EQ(answer({"-password", "--help"}), "");
  EXPECT_EQ(answer({"--help", "--version"}), "");
}

// What is not in it nobody would find.
TEST(CommandLine, HelpNamesEveryParameter) {
  const std::string help = answer({"--help"});
  for (const char* key : {"bundleIdentifier", "notificationIdentifier",
                          "sourcePath",       "host",
                          "username",         "password",
                          "cachedInfoPath",   "debug",
                          "reportOutcomes",   "rememberSentOnly",
                          "escapeNames",      "remoteDirectory",
                          "contentsOnly",     "exclude",
                          "temporaryNames",   "attempts",
                          "deleteMissing",    "allowEmptySource",
                          "reportBytes",      "announce",
                          "bytesPerSecond",   "dryRun"}) {
    EXPECT_NE(help.find(std::string("-") + key + " "), std::string::npos) << key;
  }
}

}  // namespace
