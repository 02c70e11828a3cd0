#include "foundation/time/ZoneFiles.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>

inline namespace telvo {

namespace {

namespace fs = std::filesystem;

// Longer than any zone file: those of two thousand changes have some kilobytes.
constexpr std::uintmax_t longestFile = 1U << 20U;

// Nothing for what is no zone file.
std::optional<std::string> contentOfZoneFile(const std::string& path) {
  std::error_code failure;
  const std::uintmax_t size = fs::file_size(path, failure);
  if (failure || size > longestFile || !foundation::isZoneFile(path)) return std::nullopt;
  std::ifstream file(path, std::ios::binary);
  return std::string{std::istreambuf_iterator<char>(file), {}};
}

// Variants of all zones, and what leads to the setting itself.
bool isNoZone(const fs::path& name) {
  constexpr std::array<std::string_view, 4> others = {"posix", "right", "localtime", "posixrules"};
  return std::ranges::find(others, name.string()) != others.end();
}

// The names of the zones with that content, in alphabetical order.
std::set<std::string> namesOfZonesWith(const std::string& content) {
  const fs::path folder = foundation::zoneFolder();
  std::set<std::string> names;
  std::error_code failure;
  fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied, failure);
  for (; !failure && entry != fs::recursive_directory_iterator(); entry.increment(failure)) {
    const fs::path name = entry->path().lexically_relative(folder);
    if (isNoZone(name)) {
      entry.disable_recursion_pending();
    } else if (entry->file_size(failure) == content.size() && contentOfZoneFile(entry->path()) == content) {
      names.insert(name);
    }
    failure.clear();
  }
  return names;
}

// The list has one zone for each place whose clocks have a history of their own: countries, coordinates, name.
std::string listedNameAmong(const std::set<std::string>& names) {
  std::ifstream list(foundation::zoneFolder() + "/zone1970.tab");
  for (std::string line; std::getline(list, line);) {
    std::istringstream columns(line);
    std::string countries;
    std::string coordinates;
    std::string name;
    columns >> countries >> coordinates >> name;
    if (!countries.starts_with('#') && names.contains(name)) return name;
  }
  return {};
}

}  // namespace

std::string foundation::zoneFolder() {
  const char* folder = std::getenv("TZDIR");  // where the C library looks, too
  return folder && *folder ? folder : "/usr/share/zoneinfo";
}

bool foundation::isZoneFile(const std::string& path) {
  std::error_code failure;
  if (!fs::is_regular_file(path, failure)) return false;
  std::ifstream file(path, std::ios::binary);
  std::array<char, 44> header{};
  constexpr std::string_view magic = "TZif";
  return file.read(header.data(), header.size()) && std::string_view(header.data(), magic.size()) == magic;
}

std::string foundation::nameOfZoneWithCopy(const std::string& path) {
  const auto content = contentOfZoneFile(path);
  if (!content) return {};
  const std::set<std::string> names = namesOfZonesWith(*content);
  if (names.empty()) return {};
  const std::string listed = listedNameAmong(names);
  return listed.empty() ? *names.begin() : listed;
}

}  // namespace telvo
