#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "foundation/text/NSString.h"

// A folder of its own for a test or a benchmark, removed with everything in it.
class TemporaryDirectory {
 public:
  explicit TemporaryDirectory(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
    std::string name = parent / "telvo-test-XXXXXX";
    if (!mkdtemp(name.data())) throw std::system_error(errno, std::system_category(), name);
    path_ = name;
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ / name; }
  // The same as the platform's text.
  Ref<NSString> text(const std::string& name = "") const {
    return NSString::stringWithUTF8String(name.empty() ? path_.string() : *this / name);
  }

  std::string write(const std::string& name, const std::string& content = "") const {
    std::filesystem::create_directories((path_ / name).parent_path());
    std::ofstream(path_ / name, std::ios::binary) << content;
    return *this / name;
  }
  std::string read(const std::string& name) const {
    std::ifstream file(path_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  bool has(const std::string& name) const {
    return std::filesystem::exists(std::filesystem::symlink_status(path_ / name));
  }

 private:
  std::filesystem::path path_;
};
