#pragma once

#include <concepts>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "foundation/runtime/NSObjCRuntime.h"
#include "foundation/runtime/Ref.h"

TELVO_NAMESPACE_BEGIN

// One argument of a format. The conversions are those of printf, and %@ for an object's description ("(null)" for
// nil). An argument knows its own type, so length modifiers (%ld, %lu, %lld ...) are accepted and not needed, and a
// conversion that does not suit the argument prints the nearest sensible form instead of failing. Positions ("%2$@"),
// widths, precisions and "*" work. A conversion without an argument prints as it stands.
class NSFormatArgument {
 public:
  using Value = std::variant<id, NSInteger, NSUInteger, double, std::string>;

  template <class T>
  requires std::is_base_of_v<NSObject, T> NSFormatArgument(const Ref<T>& object) : value_(id(object)) {}
  NSFormatArgument(std::nullptr_t) : value_(id()) {}
  NSFormatArgument(SEL selector) : value_(std::string(selector.text())) {}
  NSFormatArgument(const char* text) : value_(text ? std::string(text) : std::string("(null)")) {}
  NSFormatArgument(const std::string& text) : value_(text) {}
  NSFormatArgument(std::string_view text) : value_(std::string(text)) {}
  template <std::floating_point T>
  NSFormatArgument(T number) : value_(static_cast<double>(number)) {}
  template <std::signed_integral T>
  NSFormatArgument(T number) : value_(static_cast<NSInteger>(number)) {}
  template <std::unsigned_integral T>
  NSFormatArgument(T number) : value_(static_cast<NSUInteger>(number)) {}
  template <class T>
  requires std::is_enum_v<T> NSFormatArgument(T number) : value_(static_cast<NSInteger>(number)) {}

  const Value& value() const { return value_; }

 private:
  Value value_;
};

TELVO_NAMESPACE_END
