#include "telvo/owner/Checks.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include <unistd.h>

namespace telvo {

namespace {

std::invalid_argument systemFailure(const std::string& path) {
  return std::invalid_argument(path + ": " + std::generic_category().message(errno));
}

void checkIsPropertyList(const std::string& path) {
  constexpr std::size_t enough = 1000;
  std::string beginning(enough, '\0');
  std::ifstream file(path, std::ios::binary);
  if (!file) throw systemFailure(path);
  file.read(beginning.data(), enough);
  beginning.resize(static_cast<std::size_t>(file.gcount()));
  const bool isPropertyList = beginning.starts_with("bplist") || beginning.find("<plist") != std::string::npos;
  if (beginning.empty() || isPropertyList) return;
  throw std::invalid_argument(path + " is no cache of what was sent, and would be overwritten");
}

}  // namespace

void checkSource(const Upload& upload) {
  std::error_code failure;
  const auto type = std::filesystem::symlink_status(upload.source, failure).type();
  if (type == std::filesystem::file_type::not_found) {
    if (!upload.allowEmptySource) throw std::invalid_argument(upload.source + " does not exist");
    return;
  }
  if (failure) throw std::invalid_argument(upload.source + ": " + failure.message());
  // What cannot be looked at is told by the upload.
  const bool isFolder = std::filesystem::is_directory(upload.source, failure);
  if (upload.contentsOnly && !isFolder && !failure) throw std::invalid_argument(upload.source + " is no folder");
}

void checkCache(const Upload& upload) {
  if (upload.cache.empty()) return;
  std::error_code failure;
  const auto status = std::filesystem::status(upload.cache, failure);
  if (std::filesystem::is_regular_file(status)) {
    checkIsPropertyList(upload.cache);
  } else if (std::filesystem::exists(status)) {
    throw std::invalid_argument(upload.cache + " is no file");
  }
  const std::string folder = std::filesystem::path(upload.cache).parent_path();
  if (!upload.dryRun && access(folder.c_str(), W_OK | X_OK) != 0) throw systemFailure(folder);
}

}  // namespace telvo
