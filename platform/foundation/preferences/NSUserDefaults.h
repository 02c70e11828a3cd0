#pragma once

#include <memory>
#include <mutex>

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSArray;
class NSData;
class NSDictionary;
class NSString;

namespace foundation {
class PreferencesFile;
}

// Names of the volatile domains.
const Ref<NSString>& NSArgumentDomain();
const Ref<NSString>& NSRegistrationDomain();

// An application's settings. A key is looked up in the launch arguments, then in the application's own domain, which is
// kept in the file ${XDG_CONFIG_HOME:-~/.config}/preferences/<bundle identifier>.plist, then among the registered
// defaults. Only the application's domain is ever written.
//
// What is set is in the file when the call returns, and what other processes have set is seen by the next look-up.
// Processes that write at the same time lose no key of each other's. While the file cannot be written, changes are kept
// in memory and written with a later one. A file that turns out damaged is kept aside under another name, and a line is
// logged. Any thread.
class NSUserDefaults : public NSObject {
  NS_OBJECT(NSUserDefaults, NSObject)

 public:
  // The settings of the application with that bundle identifier.
  explicit NSUserDefaults(const Ref<NSString>& bundleIdentifier);
  ~NSUserDefaults() override;

  // Those of this application (the main bundle's identifier).
  static const Ref<NSUserDefaults>& standardUserDefaults();

  // Makes the arguments of the process its argument domain: each "-key" takes the very next argument, whatever that
  // begins with, as its value, a text; the last one of a key counts; other arguments are passed over. All but the first
  // are then overwritten with zeroes where they stand, so that a password does not stay readable in the process list,
  // and the process cannot be dumped from then on.
  static void takeArguments(int argc, char** argv);

  // Nil when there is none. The typed ones give nil, or 0, for a value of another type; a text for a number counts as
  // one of that number, and a number for a text as its text.
  id objectForKey(const Ref<NSString>& key) const;
  Ref<NSString> stringForKey(const Ref<NSString>& key) const;
  Ref<NSArray> arrayForKey(const Ref<NSString>& key) const;
  Ref<NSDictionary> dictionaryForKey(const Ref<NSString>& key) const;
  Ref<NSData> dataForKey(const Ref<NSString>& key) const;
  // True for numbers other than 0 and for texts such as "YES", "true" and "1" (NSString::boolValue).
  bool boolForKey(const Ref<NSString>& key) const;
  NSInteger integerForKey(const Ref<NSString>& key) const;
  double doubleForKey(const Ref<NSString>& key) const;

  // Sets a copy in the application's domain; nil removes the key. A nil key, and a value that is no property list (see
  // NSPropertyList.h), raise NSInvalidArgumentException.
  void setObject_forKey(const id& object, const Ref<NSString>& key);
  void setBool_forKey(bool value, const Ref<NSString>& key);
  void setInteger_forKey(NSInteger value, const Ref<NSString>& key);
  void setDouble_forKey(double value, const Ref<NSString>& key);
  void removeObjectForKey(const Ref<NSString>& key);

  // Adds a copy, in depth, to the registered defaults, which last as long as this object. Collections nested endlessly
  // raise NSInvalidArgumentException.
  void registerDefaults(const Ref<NSDictionary>& defaults);

  // The launch arguments or the registered defaults; nil for other names.
  Ref<NSDictionary> volatileDomainForName(const Ref<NSString>& name) const;
  // The saved settings of the application with that bundle identifier, this or another one; nil when it has none.
  Ref<NSDictionary> persistentDomainForName(const Ref<NSString>& name) const;
  // Every key with the value that a look-up gives.
  Ref<NSDictionary> dictionaryRepresentation() const;

  // objectForKey() and setObject_forKey(), so that key paths lead into the settings.
  id valueForKey(const Ref<NSString>& key) const override;
  void setValue_forKey(const id& value, const Ref<NSString>& key) override;

  // Writes what could not be written so far. False when that fails again.
  bool synchronize();

 private:
  const Ref<NSString> identifier_;
  const std::unique_ptr<foundation::PreferencesFile> file_;
  mutable std::mutex mutex_;  // of what follows
  Ref<NSDictionary> registered_;
};

TELVO_NAMESPACE_END
