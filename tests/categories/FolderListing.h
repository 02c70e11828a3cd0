#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "categories/NSFileManager+Telvo.h"
#include "foundation/Foundation.h"
#include "testing/TemporaryDirectory.h"

// What is in a folder.
namespace folders {

inline const Ref<NSFileManager>& manager() { return NSFileManager::defaultManager(); }

// Every item in the folder as "name=content", links as "name->target", folders as "name/", in the order of their names.
inline std::string listing(const std::filesystem::path& folder) {
  std::vector<std::string> items;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    std::string item = entry.path().lexically_relative(folder);
    if (entry.is_symlink()) {
      item += "->" + std::filesystem::read_symlink(entry.path()).string();
    } else if (entry.is_directory()) {
      item += "/";
    } else {
      std::ifstream file(entry.path(), std::ios::binary);
      item += "=" + std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    items.push_back(item);
  }
  std::ranges::sort(items);
  std::string text;
  for (const std::string& item : items) text += (text.empty() ? "" : " ") + item;
  return text;
}

inline std::string listing(const TemporaryDirectory& folder) { return listing(folder.path()); }

inline bool renamePath(const Ref<NSString>& path, const Ref<NSString>& filename, bool deleteExisting,
                       Ref<NSError>* error = nullptr) {
  return telvo_renameItemAtPath_toFilename_deleteExisting_error(manager(), path, filename, deleteExisting, error);
}

}  // namespace folders
