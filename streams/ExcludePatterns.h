#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "foundation/runtime/Ref.h"

TELVO_NAMESPACE_BEGIN

class NSString;

namespace streams {

// What is left out of an upload: patterns as files named .gitignore hold them. Immutable after its making, any thread.
//
// One pattern a line. Blank lines and lines that begin with "#" count for nothing, a backslash takes the meaning from
// the character behind it, and spaces at the end of a line are cut off. "*" is any number of characters but no slash,
// "?" one, "[a-z]" and "[!a-z]" one of a set or none of it, "[[:digit:]]" one of a named class. A pattern with a slash
// in front or inside counts from the source folder, any other one at every depth. A slash at the end stands for folders
// only, "**" as a whole name for any number of folders, at the end for everything inside. A pattern behind "!" brings
// back what an earlier line has left out, but nothing out of a folder that is left out. The last line that fits counts.
class ExcludePatterns {
 public:
  ExcludePatterns() = default;
  // Nil is no pattern.
  explicit ExcludePatterns(const Ref<NSString>& lines);

  bool isEmpty() const { return patterns_.empty(); }

  // Whether an item is left out by itself, by its path relative to the source folder. What is in a folder that is left
  // out is not looked at here.
  bool excludeItem(const Ref<NSString>& relativePath, bool isDirectory) const;
  // The same for an item with the folders that it is in.
  bool exclude(const Ref<NSString>& relativePath, bool isDirectory) const;

 private:
  using Segments = std::vector<std::u32string>;  // names between slashes
  struct Pattern {
    Segments segments;
    bool isNegated = false;
    bool isForFoldersOnly = false;
  };

  void addLine(std::u32string_view line);
  bool excludeItem(const Segments& path, std::size_t depth, bool isDirectory) const;

  std::vector<Pattern> patterns_{};
};

}  // namespace streams

TELVO_NAMESPACE_END
