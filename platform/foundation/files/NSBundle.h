#pragma once

#include <map>
#include <mutex>
#include <string>

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSDictionary;
class NSString;

// A folder with what belongs to a program: texts in several languages in Resources/<language>.lproj/<table>.strings.
// Immutable, any thread.
class NSBundle : public NSObject {
  NS_OBJECT(NSBundle, NSObject)

 public:
  explicit NSBundle(Ref<NSString> path);
  ~NSBundle() override;

  // The program's own: the nearest folder at or above its executable that holds a folder Resources, else the
  // executable's folder.
  static const Ref<NSBundle>& mainBundle();
  // Nil when the path is not a folder.
  static Ref<NSBundle> bundleWithPath(const Ref<NSString>& path);

  const Ref<NSString>& bundlePath() const { return path_; }
  // What the program is known by to others: "CFBundleIdentifier" in Resources/Info.plist, a property list. Without one
  // the main bundle has its executable's name, another bundle nil.
  Ref<NSString> bundleIdentifier() const;
  Ref<NSString> resourcePath() const;

  // The text of that key in the table (nil or empty: "Localizable"), in the first of the user's languages that has it
  // (see PreferredLanguages.h), English being the last. Without one: the value when it is not empty, else the key; ""
  // when all are nil. Tables are read once.
  Ref<NSString> localizedStringForKey_value_table(const Ref<NSString>& key, const Ref<NSString>& value,
                                                  const Ref<NSString>& table) const;

  Ref<NSString> description() const override;

 private:
  Ref<NSDictionary> tableAtPath(const std::string& path) const;

  Ref<NSString> path_;
  mutable std::mutex mutex_;
  mutable std::map<std::string, Ref<NSDictionary>> tables_;  // by path; nil for those that cannot be read
};

TELVO_NAMESPACE_END
