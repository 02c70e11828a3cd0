// The path methods of NSString.

#include "foundation/files/NSPathUtilities.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <filesystem>

#include <pwd.h>
#include <unistd.h>

#include "foundation/collections/NSArray.h"
#include "foundation/errors/NSException.h"
#include "foundation/files/FileIO.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

constexpr char16_t slash = u'/';

std::u16string_view withoutTrailingSlashes(std::u16string_view path) {
  while (path.size() > 1 && path.back() == slash) path.remove_suffix(1);
  return path;
}

// Runs of slashes as one slash, none at the end.
std::u16string collapsed(std::u16string_view path) {
  std::u16string result;
  result.reserve(path.size());
  for (const char16_t unit : path) {
    if (unit != slash || result.empty() || result.back() != slash) result.push_back(unit);
  }
  return std::u16string(withoutTrailingSlashes(result));
}

// Where the last component begins in a path without trailing slashes.
std::size_t lastComponentStart(std::u16string_view path) {
  const std::size_t found = path.rfind(slash);
  return found == std::u16string_view::npos ? 0 : found + 1;
}

// Characters that no extension has: a space makes what follows a dot a part of the name ("Dr. No"), and marks that
// nobody sees could make one extension look like another.
bool isForbiddenInExtension(char16_t unit) {
  const bool isDirectionalMark = unit == 0x061C || unit == 0x200E || unit == 0x200F ||
                                 (unit >= 0x202A && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069);
  return unit == u' ' || isDirectionalMark;
}

// Where the extension's dot stands, or npos. A name that begins with its only dot, or ends with the dot, has none.
std::size_t extensionDot(std::u16string_view path) {
  const std::size_t dot = path.rfind(u'.');
  if (dot == std::u16string_view::npos || dot <= lastComponentStart(path) || dot + 1 == path.size()) {
    return std::u16string_view::npos;
  }
  return std::ranges::any_of(path.substr(dot), isForbiddenInExtension) ? std::u16string_view::npos : dot;
}

// Empty when there is no such user. Longer names are not asked for, since modules of the name service abort the process
// on them, nor are those with a NUL, which would pass for shorter ones.
std::string homeOfUser(const std::string& name) {
  if (name.size() >= LOGIN_NAME_MAX || name.find('\0') != std::string::npos) return "";
  std::array<char, 16384> buffer;
  passwd entry{};
  passwd* found = nullptr;
  const int result = name.empty() ? getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found)
                                  : getpwnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found);
  return result == 0 && found && entry.pw_dir ? entry.pw_dir : "";
}

// Where a link leads; the path itself when it is none.
std::u16string withoutLinkAtEnd(const std::u16string& path) {
  const std::optional<std::string> file = foundation::systemPath(NSString::stringWithUnits(path));
  std::error_code failure;
  if (!file || !std::filesystem::is_symlink(*file, failure)) return path;
  const std::filesystem::path target = std::filesystem::canonical(*file, failure);
  return failure ? path : std::u16string(NSString::stringWithUTF8String(target.string())->units());
}

// Takes off the last component of an absolute path that has no slash at its end.
void goToParent(std::u16string& path) { path.erase(std::min(path.rfind(slash), path.size())); }

}  // namespace

Ref<NSString> NSHomeDirectory() {
  const char* home = std::getenv("HOME");
  const std::string path = home && *home ? std::string(home) : homeOfUser("");
  return NSString::stringWithUnits(collapsed(NSString::stringWithUTF8String(path.empty() ? "/" : path)->units()));
}

Ref<NSString> NSString::lastPathComponent() const {
  const std::u16string_view path = withoutTrailingSlashes(units_);
  if (path == u"/") return "/"_ns;
  return stringWithUnits(std::u16string(path.substr(lastComponentStart(path))));
}

Ref<NSString> NSString::stringByDeletingLastPathComponent() const {
  const std::u16string path = collapsed(units_);
  const std::size_t start = lastComponentStart(path);
  if (start == 0) return ""_ns;
  return stringWithUnits(path.substr(0, std::max<std::size_t>(start - 1, 1)));
}

Ref<NSString> NSString::stringByAppendingPathComponent(const Ref<NSString>& component) const {
  if (!component) NSException::raise_format(NSInvalidArgumentException(), "nil path component"_ns);
  if (units_.empty()) return stringWithUnits(collapsed(component->units_));
  std::u16string joined;
  joined.reserve(units_.size() + 1 + component->units_.size());
  joined.append(units_).append(1, slash).append(component->units_);
  // Nothing to collapse is the usual case, and trees are walked by this.
  if (joined.find(u"//") == std::u16string::npos && joined.back() != slash) return stringWithUnits(std::move(joined));
  return stringWithUnits(collapsed(joined));
}

Ref<NSString> NSString::pathExtension() const {
  const std::u16string_view path = withoutTrailingSlashes(units_);
  const std::size_t dot = extensionDot(path);
  return dot == std::u16string_view::npos ? ""_ns : stringWithUnits(std::u16string(path.substr(dot + 1)));
}

Ref<NSString> NSString::stringByDeletingPathExtension() const {
  const std::u16string_view path = withoutTrailingSlashes(units_);
  return stringWithUnits(std::u16string(path.substr(0, extensionDot(path))));
}

Ref<NSString> NSString::stringByAppendingPathExtension(const Ref<NSString>& extension) const {
  if (!extension) NSException::raise_format(NSInvalidArgumentException(), "nil path extension"_ns);
  const std::u16string_view path = withoutTrailingSlashes(units_);
  if (path.empty() || path == u"/") return nil;
  return stringWithUnits(std::u16string(path) + u'.' + extension->units_);
}

Ref<NSArray> NSString::pathComponents() const {
  std::vector<id> components;
  const std::u16string path = collapsed(units_);
  if (path.empty()) return NSArray::array();
  if (path.front() == slash) components.emplace_back("/"_ns);
  for (std::size_t from = path.front() == slash ? 1 : 0; from < path.size();) {
    const std::size_t end = std::min(path.find(slash, from), path.size());
    components.push_back(stringWithUnits(path.substr(from, end - from)));
    from = end + 1;
  }
  // A slash at the end of the text is a component of its own, as the platform counts.
  if (units_.size() > 1 && units_.back() == slash && path != u"/") components.emplace_back("/"_ns);
  return NSArray::arrayWithVector(std::move(components));
}

Ref<NSString> NSString::pathWithComponents(const Ref<NSArray>& components) {
  if (!components) return ""_ns;
  std::u16string path;
  for (const id& component : *components) {
    const auto text = as<NSString>(component);
    if (!text) NSException::raise_format(NSInvalidArgumentException(), "nil path component"_ns);
    if (!path.empty()) path.push_back(slash);
    path.append(text->units_);
  }
  return stringWithUnits(collapsed(path));
}

bool NSString::isAbsolutePath() const { return units_.starts_with(slash) || units_.starts_with(u'~'); }

Ref<NSString> NSString::stringByExpandingTildeInPath() const {
  if (!units_.starts_with(u'~')) return stringWithUnits(std::u16string(withoutTrailingSlashes(units_)));
  const std::size_t end = std::min(units_.find(slash), units_.size());
  const std::string user = stringWithUnits(units_.substr(1, end - 1))->UTF8String();
  const Ref<NSString> home = user.empty() ? NSHomeDirectory() : stringWithUTF8String(homeOfUser(user));
  if (home->length() == 0) return stringWithUnits(std::u16string(withoutTrailingSlashes(units_)));
  return end == units_.size() ? home : home->stringByAppendingPathComponent(stringWithUnits(units_.substr(end)));
}

Ref<NSString> NSString::stringByAbbreviatingWithTildeInPath() const {
  const std::u16string path(withoutTrailingSlashes(units_));
  const Ref<NSString> home = NSHomeDirectory();
  const std::u16string_view prefix = home->units();
  const bool below = path.starts_with(prefix) && (path.size() == prefix.size() || path[prefix.size()] == slash);
  if (prefix == u"/" || !below) return stringWithUnits(path);
  return stringWithUnits(u"~" + path.substr(prefix.size()));
}

Ref<NSString> NSString::stringByStandardizingPath() const {
  const std::u16string path = collapsed(stringByExpandingTildeInPath()->units());
  const bool absolute = path.starts_with(slash);
  // The system does not look at longer paths either.
  const bool asksForLinks = absolute && path.size() < PATH_MAX;
  std::u16string result;
  for (std::size_t from = 0; from < path.size();) {
    const std::size_t end = std::min(path.find(slash, from), path.size());
    const std::u16string_view component = std::u16string_view(path).substr(from, end - from);
    from = end + 1;
    if (component.empty() || component == u".") continue;
    // A relative path's parents cannot be resolved without knowing where it starts.
    if (absolute && component == u"..") {
      // To the system, the parent of a link is that of the folder it leads to.
      if (asksForLinks) result = withoutLinkAtEnd(result);
      goToParent(result);
      continue;
    }
    if (absolute || !result.empty()) result.push_back(slash);
    result.append(component);
  }
  if (result.empty() && absolute) result = u"/";
  return stringWithUnits(std::move(result));
}

Ref<NSString> NSTemporaryDirectory() {
  const char* folder = std::getenv("TMPDIR");
  return NSString::stringWithUnits(
      collapsed(NSString::stringWithUTF8String(folder && *folder ? folder : "/tmp")->units()));
}

}  // namespace telvo
