#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

#include "foundation/runtime/Namespace.h"

TELVO_NAMESPACE_BEGIN

// The platform's scalar types and selectors.

using NSInteger = std::int64_t;
using NSUInteger = std::uint64_t;
using NSTimeInterval = double;  // seconds

// "No such index" wherever an index is answered.
inline constexpr NSUInteger NSNotFound = static_cast<NSUInteger>(std::numeric_limits<NSInteger>::max());
inline constexpr NSInteger NSIntegerMax = std::numeric_limits<NSInteger>::max();
inline constexpr NSUInteger NSUIntegerMax = std::numeric_limits<NSUInteger>::max();

enum NSComparisonResult : NSInteger { NSOrderedAscending = -1, NSOrderedSame = 0, NSOrderedDescending = 1 };

// nil converts to an empty reference of any class.
inline constexpr std::nullptr_t nil = nullptr;

// A message name as a value: its original text, colons included. Equal texts give equal selectors; comparing is one
// pointer comparison. The empty selector (SEL{}) names nothing. Any thread.
class SEL {
 public:
  constexpr SEL() noexcept = default;
  constexpr SEL(std::nullptr_t) noexcept {}

  // The selector of that text; an empty text gives the empty selector. Interned for the life of the process.
  static SEL named(std::string_view text);

  std::string_view text() const noexcept { return text_ ? std::string_view(text_) : std::string_view(); }
  explicit operator bool() const noexcept { return text_ != nullptr; }
  bool operator==(const SEL&) const noexcept = default;

  // The number of arguments that the text has room for: its colons.
  std::size_t numberOfArguments() const noexcept;

  std::size_t hash() const noexcept { return reinterpret_cast<std::uintptr_t>(text_) >> 4U; }

 private:
  explicit SEL(const char* text) noexcept : text_(text) {}
  const char* text_ = nullptr;
};

namespace foundation {

// A string literal as a template argument, so that each literal is converted once in the life of the process.
template <std::size_t Size>
struct Literal {
  constexpr Literal(const char (&text)[Size]) noexcept {
    for (std::size_t i = 0; i < Size; ++i) units[i] = text[i];
  }
  constexpr std::string_view view() const noexcept { return {units, Size - 1}; }
  char units[Size] = {};
};

}  // namespace foundation

// "streamDataEnded:"_sel
template <foundation::Literal Text>
SEL operator""_sel() {
  static const SEL selector = SEL::named(Text.view());
  return selector;
}

TELVO_NAMESPACE_END
