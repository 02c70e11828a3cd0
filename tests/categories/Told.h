#pragma once

#include <concepts>
#include <sstream>
#include <string>

#include "foundation/Foundation.h"

// A value in one line, as the documents show it: "text", nil, true, 5, 2.5, ("an", "array"), {10, 2} for a range, and
// the description of any other object.

inline std::string told(const id& object);

inline std::string told(bool value) { return value ? "true" : "false"; }

template <class Number>
requires(std::integral<Number> || std::floating_point<Number>) && (!std::same_as<Number, bool>)std::string
    told(Number value) {
  std::ostringstream text;
  text << value;
  return text.str();
}

inline std::string told(NSRange range) { return "{" + told(range.location) + ", " + told(range.length) + "}"; }

inline std::string toldArray(const Ref<NSArray>& array) {
  std::string text;
  for (const id& element : *array) text += (text.empty() ? "" : ", ") + told(element);
  return "(" + text + ")";
}

template <class T>
std::string told(const Ref<T>& object) {
  return told(id(object));
}

inline std::string told(const id& object) {
  if (!object) return "nil";
  if (const auto array = as<NSArray>(object)) return toldArray(array);
  const std::string text = object->description()->UTF8String();
  return as<NSString>(object) ? '"' + text + '"' : text;
}
