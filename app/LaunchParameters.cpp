#include "app/LaunchParameters.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "cfnetwork/CFFTPStream.h"
#include "cfnetwork/FTPSecurity.h"
#include "foundation/Foundation.h"
#include "foundation/preferences/NSUserDefaults.h"

inline namespace telvo {

using streams::TemporaryNames;
using streams::UploadOptions;

namespace {

constexpr std::array<std::string_view, 27> knownKeys{"debug",
                                                     "bundleIdentifier",
                                                     "notificationIdentifier",
                                                     "sourcePath",
                                                     "host",
                                                     "username",
                                                     "password",
                                                     "cachedInfoPath",
                                                     "reportOutcomes",
                                                     "rememberSentOnly",
                                                     "escapeNames",
                                                     "remoteDirectory",
                                                     "contentsOnly",
                                                     "exclude",
                                                     "temporaryNames",
                                                     "attempts",
                                                     "deleteMissing",
                                                     "allowEmptySource",
                                                     "reportBytes",
                                                     "announce",
                                                     "bytesPerSecond",
                                                     "dryRun",
                                                     "security",
                                                     "tlsCertificateAuthority",
                                                     "tlsFingerprint",
                                                     "tlsCertificate",
                                                     "tlsKey"};

// Reads the parameters, and notes what is wrong with them.
class Reader {
 public:
  Reader(const NSUserDefaults& defaults, LaunchParameters& parameters) : defaults_(defaults), parameters_(parameters) {}

  void read() {
    readSwitches();
    UploadOptions& options = parameters_.options;
    options.remoteDirectory = remoteDirectory();
    options.excluded = streams::ExcludePatterns(defaults_.stringForKey("exclude"_ns));
    options.temporaryNames = temporaryNames();
    options.attempts = number("attempts"_ns, 1);
    options.bytesPerSecond = number("bytesPerSecond"_ns, 0);
    options.security = security();
    if (options.deletesMissing && !options.remembersSentOnly) {
      options.deletesMissing = false;
      complain("deleteMissing needs rememberSentOnly"_ns);
    }
  }

  void lookForUnknownKeys() {
    const auto arguments = defaults_.volatileDomainForName(NSArgumentDomain());
    if (!arguments) return;
    for (const auto& [key, value] : *arguments) {
      const std::string name = as<NSString>(key)->UTF8String();
      if (std::find(knownKeys.begin(), knownKeys.end(), name) == knownKeys.end()) {
        complain(NSString::stringWithFormat("unknown launch parameter %@"_ns, key));
      }
    }
  }

 private:
  void readSwitches() {
    UploadOptions& options = parameters_.options;
    options.reportsOutcomes = isOn("reportOutcomes"_ns);
    options.remembersSentOnly = isOn("rememberSentOnly"_ns);
    options.escapesNames = isOn("escapeNames"_ns);
    options.contentsOnly = isOn("contentsOnly"_ns);
    options.deletesMissing = isOn("deleteMissing"_ns);
    options.allowsEmptySource = isOn("allowEmptySource"_ns);
    options.reportsBytes = isOn("reportBytes"_ns);
    options.isDryRun = isOn("dryRun"_ns);
    parameters_.announces = isOn("announce"_ns);
  }

  // Absolute, and without a slash at its end, whatever was given.
  Ref<NSString> remoteDirectory() const {
    const auto given = defaults_.stringForKey("remoteDirectory"_ns);
    Ref<NSString> path = "/"_ns;
    if (!given) return path;
    const auto components = given->pathComponents();
    for (const id& component : *components) {
      const auto name = as<NSString>(component);
      if (name->isEqualToString("/"_ns) || name->isEqualToString("."_ns)) continue;
      path = path->stringByAppendingPathComponent(name);
    }
    return path;
  }

  // A value without a meaning stays: each item fails of it then. Here it must not count as absent.
  Ref<NSDictionary> security() {
    const auto settings = NSMutableDictionary::dictionary();
    const auto read = [&](const Ref<NSString>& parameter, const Ref<NSString>& key) {
      if (const auto value = defaults_.stringForKey(parameter)) settings->setObject_forKey(value, key);
    };
    read("security"_ns, kCFStreamFTPSecurityLevel());
    read("tlsCertificateAuthority"_ns, kCFStreamFTPSecurityCertificateAuthority());
    read("tlsFingerprint"_ns, kCFStreamFTPSecurityFingerprint());
    read("tlsCertificate"_ns, kCFStreamFTPSecurityCertificate());
    read("tlsKey"_ns, kCFStreamFTPSecurityKey());
    if (settings->count() == 0) return nil;
    if (!settings->objectForKey(kCFStreamFTPSecurityLevel())) {
      settings->setObject_forKey("none"_ns, kCFStreamFTPSecurityLevel());
    }
    const auto checked = cfnetwork::FTPSecurityFromSettings(settings);
    if (const auto* error = std::get_if<Ref<NSError>>(&checked)) complain((*error)->localizedDescription());
    return settings;
  }

  TemporaryNames temporaryNames() {
    const auto value = defaults_.stringForKey("temporaryNames"_ns);
    if (!value || value->isEqualToString("never"_ns)) return TemporaryNames::Never;
    if (value->isEqualToString("always"_ns)) return TemporaryNames::AllFiles;
    if (value->isEqualToString("large"_ns)) return TemporaryNames::LargeFiles;
    complain(NSString::stringWithFormat("temporaryNames is always, large or never, not %@"_ns, value));
    return TemporaryNames::Never;
  }

  bool isOn(const Ref<NSString>& key) {
    const bool value = defaults_.boolForKey(key);
    const auto text = defaults_.stringForKey(key);
    if (text && !value && !isNo(*text)) complain(NSString::stringWithFormat("%@ is YES or NO, not %@"_ns, key, text));
    return value;
  }

  static bool isNo(const NSString& text) {
    const std::array words{"no"_ns, "n"_ns, "false"_ns, "f"_ns, "0"_ns};
    return std::any_of(words.begin(), words.end(), [&text](const Ref<NSString>& word) {
      return text.caseInsensitiveCompare(word) == NSOrderedSame;
    });
  }

  NSUInteger number(const Ref<NSString>& key, NSInteger smallest) {
    const auto text = defaults_.stringForKey(key);
    if (!text) return static_cast<NSUInteger>(smallest);
    const NSInteger value = defaults_.integerForKey(key);
    if (isNumber(*text) && value >= smallest) return static_cast<NSUInteger>(value);
    complain(NSString::stringWithFormat("%@ is a number from %ld on, not %@"_ns, key, smallest, text));
    return static_cast<NSUInteger>(smallest);
  }

  // Nothing else: "10k" is not 10.
  static bool isNumber(const NSString& text) {
    const std::u16string_view units = text.units();
    return !units.empty() &&
           std::all_of(units.begin(), units.end(), [](char16_t unit) { return unit >= u'0' && unit <= u'9'; });
  }

  void complain(const Ref<NSString>& text) { parameters_.complaints.push_back(text); }

  const NSUserDefaults& defaults_;
  LaunchParameters& parameters_;
};

}  // namespace

LaunchParameters LaunchParameters::from(const NSUserDefaults& defaults) {
  LaunchParameters parameters;
  Reader reader(defaults, parameters);
  reader.read();
  reader.lookForUnknownKeys();
  return parameters;
}

}  // namespace telvo
