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

constexpr std::size_t maximumDepth = 512;

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
  for (const auto& [key, object] : dictionary) lines.emplace_back(key->description(), &object);
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
  if (depth >= maximumDepth) {
    output.append(u"...");
  } else if (const auto* array = castTo<NSArray>(object, kind)) {
    appendArray(output, *array, depth);
  } else if (const auto* dictionary = castTo<NSDictionary>(object, kind)) {
    appendDictionary(output, *dictionary, depth);
  } else if (const auto* set = castTo<NSSet>(object, kind)) {
    appendSet(output, *set, depth);
  } else {
    appendText(output, object->description()->units());
  }
}

}  // namespace

std::u16string foundation::collectionDescription(const NSObject& collection) {
  std::u16string output;
  append(output, collection.self(), 0);
  return output;
}

}  // namespace telvo
