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
    options.reportsOutcomes = defaults_.boolForKey("reportOutcomes"_ns);
    options.remembersSentOnly = defaults_.boolForKey("rememberSentOnly"_ns);
    options.escapesNames = defaults_.boolForKey("escapeNames"_ns);
    options.contentsOnly = defaults_.boolForKey("contentsOnly"_ns);
    options.deletesMissing = defaults_.boolForKey("deleteMissing"_ns);
    options.allowsEmptySource = defaults_.boolForKey("allowEmptySource"_ns);
    options.reportsBytes = defaults_.boolForKey("reportBytes"_ns);
    options.isDryRun = defaults_.boolForKey("dryRun"_ns);
    parameters_.announces = defaults_.boolForKey("announce"_ns);
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

  NSUInteger number(const Ref<NSString>& key, NSInteger smallest) {
    if (!defaults_.objectForKey(key)) return static_cast<NSUInteger>(smallest);
    const NSInteger value = defaults_.integerForKey(key);
    if (value >= smallest) return static_cast<NSUInteger>(value);
    complain(NSString::stringWithFormat("%@ is a number from %ld on"_ns, key, smallest));
    return static_cast<NSUInteger>(smallest);
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
