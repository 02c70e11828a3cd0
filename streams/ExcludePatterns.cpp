#include "streams/ExcludePatterns.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <tuple>
#include <utility>

#include "foundation/text/NSString.h"
#include "foundation/text/UTF16.h"

inline namespace telvo {

namespace streams {

namespace {

using View = std::u32string_view;

// Whole characters, so that "?" is one of them; a byte of a name that is no UTF-8 counts as a character.
std::u32string charactersOf(const Ref<NSString>& text) {
  std::u32string characters;
  const std::u16string_view units = text->units();
  for (std::size_t index = 0; index < units.size(); index += foundation::lengthOfCharacterAt(units, index)) {
    characters.push_back(foundation::characterAt(units, index));
  }
  return characters;
}

std::vector<std::u32string> segmentsOf(View path) {
  std::vector<std::u32string> segments;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find(U'/'), path.size());
    if (end > 0) segments.emplace_back(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return segments;
}

// The parts of a pattern between its slashes, which a backslash changes nothing about. An empty part fits no name.
std::vector<std::u32string> partsOf(View pattern) {
  std::vector<std::u32string> parts(1);
  for (std::size_t index = 0; index < pattern.size(); ++index) {
    const bool isEscape = pattern[index] == U'\\' && index + 1 < pattern.size();
    if (isEscape && pattern[index + 1] != U'/') {
      parts.back() += pattern.substr(index++, 2);
    } else if (isEscape || pattern[index] == U'/') {
      index += isEscape ? 1 : 0;
      parts.emplace_back();
    } else {
      parts.back().push_back(pattern[index]);
    }
  }
  return parts;
}

bool isOfClass(char32_t character, View name) {
  static constexpr std::array<std::pair<View, int (*)(int)>, 11> classes{{{U"alnum", std::isalnum},
                                                                          {U"alpha", std::isalpha},
                                                                          {U"blank", std::isblank},
                                                                          {U"cntrl", std::iscntrl},
                                                                          {U"digit", std::isdigit},
                                                                          {U"graph", std::isgraph},
                                                                          {U"lower", std::islower},
                                                                          {U"print", std::isprint},
                                                                          {U"punct", std::ispunct},
                                                                          {U"space", std::isspace},
                                                                          {U"upper", std::isupper}}};
  if (character >= 128) return false;
  const auto* const found =
      std::find_if(classes.begin(), classes.end(), [&](const auto& each) { return each.first == name; });
  return found != classes.end() && found->second(static_cast<int>(character)) != 0;
}

// A set in brackets that the pattern begins with. A bracket that is never closed fits nothing.
class BracketSet {
 public:
  static std::optional<BracketSet> at(View pattern) {
    BracketSet set;
    std::size_t index = 1;
    if (index < pattern.size() && (pattern[index] == U'!' || pattern[index] == U'^')) {
      set.isNegated_ = true;
      ++index;
    }
    const std::size_t first = index;
    for (; index < pattern.size(); ++index) {
      if (pattern[index] == U']' && index > first) {
        set.content_ = pattern.substr(first, index - first);
        set.length_ = index + 1;
        return set;
      }
      if (pattern.substr(index).starts_with(U"[:")) {
        if (const std::size_t end = pattern.find(U":]", index + 2); end != View::npos) index = end + 1;
      } else if (pattern[index] == U'\\') {
        ++index;
      }
    }
    return std::nullopt;
  }

  std::size_t length() const { return length_; }
  bool contains(char32_t character) const { return isListed(character) != isNegated_; }

 private:
  bool isListed(char32_t character) const {
    for (View rest = content_; !rest.empty();) {
      const std::size_t end = rest.starts_with(U"[:") ? rest.find(U":]", 2) : View::npos;
      if (end != View::npos) {
        if (isOfClass(character, rest.substr(2, end - 2))) return true;
        rest.remove_prefix(end + 2);
        continue;
      }
      const char32_t low = take(rest);
      const bool isRange = rest.size() > 1 && rest.front() == U'-';
      if (isRange) rest.remove_prefix(1);
      const char32_t high = isRange ? take(rest) : low;
      if (low <= character && character <= high) return true;
    }
    return false;
  }

  static char32_t take(View& rest) {
    if (rest.front() == U'\\' && rest.size() > 1) rest.remove_prefix(1);
    const char32_t character = rest.front();
    rest.remove_prefix(1);
    return character;
  }

  View content_;
  std::size_t length_ = 0;
  bool isNegated_ = false;
};

// How much of the pattern is used up when its first element, which is no star, fits the character; 0 when it does not.
std::size_t matchedLength(View pattern, char32_t character) {
  if (pattern.empty()) return 0;
  if (pattern.front() == U'?') return 1;
  if (pattern.front() == U'[') {
    const auto set = BracketSet::at(pattern);
    return set && set->contains(character) ? set->length() : 0;
  }
  const bool isEscaped = pattern.front() == U'\\' && pattern.size() > 1;
  const std::size_t length = isEscaped ? 2 : 1;
  return pattern[length - 1] == character ? length : 0;
}

// Whether one name fits one part of a pattern. Only the last star that was passed ever has to take more, so that the
// time is bounded by the product of both lengths.
bool nameMatches(View name, View pattern) {
  std::optional<std::pair<View, View>> afterStar;  // what was left of both when the last star was met
  while (true) {
    if (!pattern.empty() && pattern.front() == U'*') {
      pattern.remove_prefix(1);
      afterStar = {name, pattern};
    } else if (const std::size_t length = name.empty() ? 0 : matchedLength(pattern, name.front())) {
      name.remove_prefix(1);
      pattern.remove_prefix(length);
    } else if (name.empty() && pattern.empty()) {
      return true;
    } else if (afterStar && !afterStar->first.empty()) {
      afterStar->first.remove_prefix(1);
      std::tie(name, pattern) = *afterStar;
    } else {
      return false;
    }
  }
}

// Whether the first `depth` names of a path fit a pattern's parts. Row by row: after each part of the pattern, which
// numbers of names it and the parts before it can have taken.
bool pathMatches(const std::vector<std::u32string>& path, std::size_t depth,
                 const std::vector<std::u32string>& pattern) {
  std::vector<bool> taken(depth + 1, false);
  taken[0] = true;
  for (std::size_t part = 0; part < pattern.size(); ++part) {
    std::vector<bool> next(depth + 1, false);
    const bool isAnyFolders = pattern[part] == U"**";
    const bool isLast = part + 1 == pattern.size();
    for (std::size_t names = 0; names <= depth; ++names) {
      if (isAnyFolders) {
        // At the end it stands for something inside, before that for nothing as well.
        const bool isReached = names > 0 && (next[names - 1] || taken[names - 1]);
        next[names] = isReached || (!isLast && taken[names]);
      } else {
        next[names] = names > 0 && taken[names - 1] && nameMatches(path[names - 1], pattern[part]);
      }
    }
    taken = std::move(next);
  }
  return taken[depth];
}

// Spaces at the end do not count unless a backslash stands before them.
View withoutTrailingSpaces(View line) {
  while (line.ends_with(U' ')) {
    std::size_t backslashes = 0;
    while (backslashes + 1 < line.size() && line[line.size() - 2 - backslashes] == U'\\') ++backslashes;
    if (backslashes % 2 == 1) break;
    line.remove_suffix(1);
  }
  return line;
}

}  // namespace

ExcludePatterns::ExcludePatterns(const Ref<NSString>& lines) {
  if (!lines) return;
  const std::u32string text = charactersOf(lines);
  for (View rest = text; !rest.empty();) {
    const std::size_t end = std::min(rest.find(U'\n'), rest.size());
    View line = rest.substr(0, end);
    if (line.ends_with(U'\r')) line.remove_suffix(1);
    addLine(withoutTrailingSpaces(line));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
}

void ExcludePatterns::addLine(View line) {
  if (line.empty() || line.front() == U'#') return;
  Pattern pattern;
  if (line.front() == U'!') {
    pattern.isNegated = true;
    line.remove_prefix(1);
  }
  if (line.ends_with(U'/')) {
    pattern.isForFoldersOnly = true;
    line.remove_suffix(1);
  }
  const bool isAnchored = line.find(U'/') != View::npos;
  if (line.starts_with(U'/')) line.remove_prefix(1);
  if (line.empty()) return;
  pattern.segments = partsOf(line);
  if (!isAnchored) pattern.segments.insert(pattern.segments.begin(), U"**");
  patterns_.push_back(std::move(pattern));
}

bool ExcludePatterns::excludeItem(const Segments& path, std::size_t depth, bool isDirectory) const {
  const auto last = std::find_if(patterns_.rbegin(), patterns_.rend(), [&](const Pattern& pattern) {
    return (isDirectory || !pattern.isForFoldersOnly) && pathMatches(path, depth, pattern.segments);
  });
  return last != patterns_.rend() && !last->isNegated;
}

bool ExcludePatterns::excludeItem(const Ref<NSString>& relativePath, bool isDirectory) const {
  if (isEmpty()) return false;
  const Segments path = segmentsOf(charactersOf(relativePath));
  return excludeItem(path, path.size(), isDirectory);
}

bool ExcludePatterns::exclude(const Ref<NSString>& relativePath, bool isDirectory) const {
  if (isEmpty()) return false;
  const Segments path = segmentsOf(charactersOf(relativePath));
  for (std::size_t depth = 1; depth < path.size(); ++depth) {
    if (excludeItem(path, depth, true)) return true;
  }
  return excludeItem(path, path.size(), isDirectory);
}

}  // namespace streams

}  // namespace telvo
