#include "foundation/collections/CollectionDescription.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSSet.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

// The collections that are being described on this thread, the outermost one first. What an object on the way describes
// in its own description, as a dictionary does its keys, belongs to them. A collection that holds itself is not
// described once more inside itself, and what is nested endlessly is cut.
class Descent {
 public:
  explicit Descent(const NSObject* collection) { path().push_back(collection); }
  ~Descent() { path().pop_back(); }
  Descent(const Descent&) = delete;
  Descent& operator=(const Descent&) = delete;

  static bool mayEnter(const NSObject* collection) {
    constexpr std::size_t deepest = 512;
    return path().size() < deepest && std::ranges::find(path(), collection) == path().end();
  }

 private:
  static std::vector<const NSObject*>& path() {
    thread_local std::vector<const NSObject*> collections;
    return collections;
  }
};

bool isPlainWord(std::u16string_view text) {
  return !text.empty() && std::ranges::all_of(text, [](char16_t unit) {
    return (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z') ||
           unit == u'_' || unit == u'.' || unit == u'$';
  });
}

void appendOctal(std::u16string& output, char16_t unit) {
  output.push_back(u'\\');
  for (int shift = 6; shift >= 0; shift -= 3) output.push_back(static_cast<char16_t>(u'0' + ((unit >> shift) & 7)));
}

bool standsForItself(char16_t unit) { return unit >= 0x20 && unit != u'"' && unit != u'\\' && unit != 0x7F; }

void appendText(std::u16string& output, std::u16string_view text) {
  if (isPlainWord(text)) {
    output.append(text);
    return;
  }
  output.push_back(u'"');
  while (!text.empty()) {
    const auto special = std::ranges::find_if_not(text, standsForItself);
    output.append(text.begin(), special);
    if (special == text.end()) break;
    if (*special == u'"' || *special == u'\\') {
      output.push_back(u'\\');
      output.push_back(*special);
    } else if (*special == u'\n') {
      output.append(u"\\n");
    } else {
      appendOctal(output, *special);
    }
    text.remove_prefix(static_cast<std::size_t>(special - text.begin()) + 1);
  }
  output.push_back(u'"');
}

// As a conversion without the cost of a dynamic one, for the objects of large trees.
template <class T>
const T* castTo(const id& object, Class kind) {
  return kind->isSubclassOfClass(T::classObject()) ? static_cast<const T*>(object.get()) : nullptr;
}

void append(std::u16string& output, const id& object, std::size_t depth);

// A key stands in quotes, and a key inside a key in quotes that are escaped: each level makes the text longer by half
// at least, so that few levels are shown.
Ref<NSString> descriptionOfKey(const id& key) {
  constexpr int deepest = 8;
  thread_local int level = 0;
  if (castTo<NSString>(key, key->isa())) return key->description();
  if (level == deepest) return "..."_ns;
  struct Level {
    Level() { ++level; }
    ~Level() { --level; }
  } const inside;
  return key->description();
}

void appendArray(std::u16string& output, const NSArray& array, std::size_t depth) {
  output.append(u"(\n");
  bool first = true;
  for (const id& element : array) {
    if (!std::exchange(first, false)) output.append(u",\n");
    output.append((depth + 1) * 4, u' ');
    append(output, element, depth + 1);
  }
  if (!first) output.push_back(u'\n');
  output.append(depth * 4, u' ');
  output.push_back(u')');
}

void appendDictionary(std::u16string& output, const NSDictionary& dictionary, std::size_t depth) {
  std::vector<std::pair<Ref<NSString>, const id*>> lines;
  lines.reserve(dictionary.count());
  for (const auto& [key, object] : dictionary) lines.emplace_back(descriptionOfKey(key), &object);
  std::ranges::stable_sort(
      lines, [](const auto& left, const auto& right) { return left.first->units() < right.first->units(); });
  output.append(u"{\n");
  for (const auto& [key, object] : lines) {
    output.append((depth + 1) * 4, u' ');
    appendText(output, key->units());
    output.append(u" = ");
    append(output, *object, depth + 1);
    output.append(u";\n");
  }
  output.append(depth * 4, u' ');
  output.push_back(u'}');
}

void appendSet(std::u16string& output, const NSSet& set, std::size_t depth) {
  std::vector<std::u16string> lines;
  lines.reserve(set.count());
  for (const id& member : set) append(lines.emplace_back(), member, depth + 1);
  std::ranges::sort(lines);
  output.append(u"{(\n");
  bool first = true;
  for (const std::u16string& line : lines) {
    if (!std::exchange(first, false)) output.append(u",\n");
    output.append((depth + 1) * 4, u' ');
    output.append(line);
  }
  if (!first) output.push_back(u'\n');
  output.append(depth * 4, u' ');
  output.append(u")}");
}

void append(std::u16string& output, const id& object, std::size_t depth) {
  const Class kind = object->isa();
  const auto* array = castTo<NSArray>(object, kind);
  const auto* dictionary = array ? nullptr : castTo<NSDictionary>(object, kind);
  const auto* set = array || dictionary ? nullptr : castTo<NSSet>(object, kind);
  if (!array && !dictionary && !set) return appendText(output, object->description()->units());
  if (!Descent::mayEnter(object.get())) {
    output.append(u"...");
    return;
  }
  const Descent descent(object.get());
  if (array) appendArray(output, *array, depth);
  if (dictionary) appendDictionary(output, *dictionary, depth);
  if (set) appendSet(output, *set, depth);
}

}  // namespace

std::u16string foundation::collectionDescription(const NSObject& collection) {
  std::u16string output;
  append(output, collection.self(), 0);
  return output;
}

}  // namespace telvo
