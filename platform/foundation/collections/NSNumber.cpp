#include "foundation/collections/NSNumber.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "foundation/text/NSString.h"

namespace {

template <class Integer>
Integer truncated(double value) {
  if (std::isnan(value)) return 0;
  // The limits as doubles: the upper one is the first value that no longer fits.
  constexpr double upper = static_cast<double>(std::numeric_limits<Integer>::max() / 2 + 1) * 2.0;
  if (value >= upper) return std::numeric_limits<Integer>::max();
  if (value <= static_cast<double>(std::numeric_limits<Integer>::min())) return std::numeric_limits<Integer>::min();
  return static_cast<Integer>(value);
}

NSComparisonResult ordering(auto left, auto right) {
  if (left < right) return NSOrderedAscending;
  return right < left ? NSOrderedDescending : NSOrderedSame;
}

}  // namespace

Class NSNumber::classObject() {
  static const NSClass object("NSNumber", NSObject::classObject(),
                              {
                                  method("boolValue"_sel, &NSNumber::boolValue),
                                  method("integerValue"_sel, &NSNumber::integerValue),
                                  method("unsignedIntegerValue"_sel, &NSNumber::unsignedIntegerValue),
                                  method("doubleValue"_sel, &NSNumber::doubleValue),
                                  method("stringValue"_sel, &NSNumber::stringValue),
                                  method("compare:"_sel, &NSNumber::compare),
                              });
  return &object;
}

Ref<NSNumber> NSNumber::numberWithBool(bool value) {
  // Two objects are enough for all.
  static const Ref<NSNumber>& yes = *new Ref<NSNumber>(make<NSNumber>(Value(true)));
  static const Ref<NSNumber>& no = *new Ref<NSNumber>(make<NSNumber>(Value(false)));
  return value ? yes : no;
}
Ref<NSNumber> NSNumber::numberWithInteger(NSInteger value) { return make<NSNumber>(Value(value)); }
Ref<NSNumber> NSNumber::numberWithUnsignedInteger(NSUInteger value) { return make<NSNumber>(Value(value)); }
Ref<NSNumber> NSNumber::numberWithDouble(double value) { return make<NSNumber>(Value(value)); }

bool NSNumber::boolValue() const {
  return std::visit([](auto value) { return value != decltype(value){}; }, value_);
}

NSInteger NSNumber::integerValue() const {
  if (const auto* real = std::get_if<double>(&value_)) return truncated<NSInteger>(*real);
  if (const auto* number = std::get_if<NSUInteger>(&value_)) {
    return *number > static_cast<NSUInteger>(NSIntegerMax) ? NSIntegerMax : static_cast<NSInteger>(*number);
  }
  if (const auto* flag = std::get_if<bool>(&value_)) return *flag ? 1 : 0;
  return std::get<NSInteger>(value_);
}

int NSNumber::intValue() const {
  constexpr NSInteger lowest = std::numeric_limits<int>::min();
  constexpr NSInteger highest = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(integerValue(), lowest, highest));
}

NSUInteger NSNumber::unsignedIntegerValue() const {
  if (const auto* real = std::get_if<double>(&value_)) return truncated<NSUInteger>(*real);
  if (const auto* number = std::get_if<NSUInteger>(&value_)) return *number;
  return static_cast<NSUInteger>(std::max<NSInteger>(integerValue(), 0));
}

double NSNumber::doubleValue() const {
  return std::visit([](auto value) { return static_cast<double>(value); }, value_);
}

float NSNumber::floatValue() const { return static_cast<float>(doubleValue()); }

Ref<NSString> NSNumber::stringValue() const {
  if (isBool()) return boolValue() ? "1"_ns : "0"_ns;
  std::array<char, 32> digits;
  char* const last = digits.data() + digits.size();
  const char* end = digits.data();
  if (const auto* real = std::get_if<double>(&value_)) {
    end = std::to_chars(digits.data(), last, *real).ptr;
  } else if (const auto* number = std::get_if<NSUInteger>(&value_)) {
    end = std::to_chars(digits.data(), last, *number).ptr;
  } else {
    end = std::to_chars(digits.data(), last, integerValue()).ptr;
  }
  return NSString::stringWithUTF8String({digits.data(), end});
}

NSComparisonResult NSNumber::compare(const Ref<NSNumber>& other) const {
  if (!other) return NSOrderedDescending;
  if (isReal() || other->isReal()) return ordering(doubleValue(), other->doubleValue());
  const bool large = std::holds_alternative<NSUInteger>(value_) || std::holds_alternative<NSUInteger>(other->value_);
  if (!large) return ordering(integerValue(), other->integerValue());
  const auto negative = [](const NSNumber& number) {
    const auto* value = std::get_if<NSInteger>(&number.value_);
    return value && *value < 0;
  };
  if (negative(*this) || negative(*other)) return ordering(integerValue(), other->integerValue());
  return ordering(unsignedIntegerValue(), other->unsignedIntegerValue());
}

Ref<NSString> NSNumber::description() const { return stringValue(); }

bool NSNumber::isEqual(const id& other) const {
  const auto number = as<NSNumber>(other);
  return number && compare(number) == NSOrderedSame;
}

NSUInteger NSNumber::hash() const { return std::hash<double>()(doubleValue()); }
