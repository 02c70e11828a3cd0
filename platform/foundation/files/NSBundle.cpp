#include "foundation/files/NSBundle.h"

#include <algorithm>
#include <filesystem>

#include "foundation/collections/NSDictionary.h"
#include "foundation/files/FileIO.h"
#include "foundation/files/StringTable.h"
#include "foundation/text/NSString.h"
#include "foundation/text/PreferredLanguages.h"

inline namespace telvo {

namespace {

bool isFolder(const std::filesystem::path& path) {
  std::error_code failure;
  return std::filesystem::is_directory(path, failure);
}

std::filesystem::path executablePath() {
  std::error_code failure;
  return std::filesystem::read_symlink("/proc/self/exe", failure);
}

Ref<NSString> pathOfMainBundle() {
  const std::filesystem::path executable = executablePath();
  const std::filesystem::path start = executable.has_parent_path() ? executable.parent_path() : "/";
  for (std::filesystem::path folder = start;; folder = folder.parent_path()) {
    if (isFolder(folder / "Resources")) return NSString::stringWithUTF8String(folder.string());
    if (folder == folder.root_path()) return NSString::stringWithUTF8String(start.string());
  }
}

// Language folders are named with either separator.
std::string withHyphens(std::string language) {
  std::ranges::replace(language, '_', '-');
  return language;
}

}  // namespace

Class NSBundle::classObject() {
  static const NSClass object(
      "NSBundle", NSObject::classObject(),
      {
          method("bundlePath"_sel, &NSBundle::bundlePath),
          method("bundleIdentifier"_sel, &NSBundle::bundleIdentifier),
          method("resourcePath"_sel, &NSBundle::resourcePath),
          method("localizedStringForKey:value:table:"_sel, &NSBundle::localizedStringForKey_value_table),
      });
  return &object;
}

NSBundle::NSBundle(Ref<NSString> path) : path_(std::move(path)) {}
NSBundle::~NSBundle() = default;

const Ref<NSBundle>& NSBundle::mainBundle() {
  static const Ref<NSBundle>& bundle = *new Ref(make<NSBundle>(pathOfMainBundle()));
  return bundle;
}

Ref<NSBundle> NSBundle::bundleWithPath(const Ref<NSString>& path) {
  const std::optional<std::string> bytes = foundation::systemPath(path);
  return bytes && isFolder(*bytes) ? make<NSBundle>(path->stringByStandardizingPath()) : nil;
}

Ref<NSString> NSBundle::bundleIdentifier() const {
  const auto information =
      NSDictionary::dictionaryWithContentsOfFile(resourcePath()->stringByAppendingPathComponent("Info.plist"_ns));
  const auto identifier = information ? as<NSString>(information->objectForKey("CFBundleIdentifier"_ns)) : nil;
  if (identifier && identifier->length() > 0) return identifier;
  return this == mainBundle().get() ? NSString::stringWithUTF8String(executablePath().filename().string()) : nil;
}

Ref<NSString> NSBundle::resourcePath() const { return path_->stringByAppendingPathComponent("Resources"_ns); }

Ref<NSString> NSBundle::localizedStringForKey_value_table(const Ref<NSString>& key, const Ref<NSString>& value,
                                                          const Ref<NSString>& table) const {
  const std::string name = table && table->length() > 0 ? table->UTF8String() : "Localizable";
  const std::string resources = resourcePath()->fileSystemRepresentation() + "/";
  for (const std::string& language : foundation::preferredLanguages()) {
    for (const std::string& folder : {language, withHyphens(language)}) {
      const Ref<NSDictionary> texts = tableAtPath(resources + folder + ".lproj/" + name + ".strings");
      const auto text = texts && key ? as<NSString>(texts->objectForKey(key)) : nil;
      if (text) return text;
    }
  }
  if (value && value->length() > 0) return value;
  return key ? key : ""_ns;
}

Ref<NSDictionary> NSBundle::tableAtPath(const std::string& path) const {
  const std::lock_guard lock(mutex_);
  const auto known = tables_.find(path);
  if (known != tables_.end()) return known->second;
  const std::optional<std::string> bytes = foundation::contentsOfFile(path);
  return tables_[path] = bytes ? foundation::stringTableFromBytes(*bytes) : nil;
}

Ref<NSString> NSBundle::description() const { return NSString::stringWithFormat("NSBundle <%@>"_ns, path_); }

}  // namespace telvo
