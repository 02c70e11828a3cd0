#pragma once

#include <optional>
#include <string>
#include <vector>

inline namespace telvo {

// Whole trees of the file system, by path as the system takes it. Nothing here follows a link in a tree, needs stack
// or open files for the depth of a tree, or keeps state; any thread.
namespace foundation {

// Where an operation stopped, and the errno value.
struct FileTreeFailure {
  int code = 0;
  std::string path;
  bool reading = false;  // the item could not be read, rather than written
};

// Everything below the folder, relative to it, a folder before its contents. A folder below that cannot be read has
// none. Nothing, with errno set, when the folder itself cannot be read.
std::optional<std::vector<std::string>> pathsBelow(const std::string& folder);

std::optional<FileTreeFailure> removeTree(const std::string& path);

// Never replaces anything. Permissions and dates are kept as far as the destination's file system can hold them. A copy
// that fails is removed again.
std::optional<FileTreeFailure> copyTree(const std::string& source, const std::string& destination);

// Never replaces anything. Between file systems: a copy, then a removal.
std::optional<FileTreeFailure> moveTree(const std::string& source, const std::string& destination);

}  // namespace foundation

}  // namespace telvo
