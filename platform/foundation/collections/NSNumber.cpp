#include "foundation/collections/NSNumber.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

#include "foundation/text/NSString.h"

inline namespace telvo {

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

// The order of all reals, in which what is not a number stands in front of 0.
NSComparisonResult orderingOfReals(double left, double right) {
  if (std::isnan(left) && std::isnan(right)) return NSOrderedSame;
  if (std::isnan(left)) return right < 0.0 ? NSOrderedDescending : NSOrderedAscending;
  if (std::isnan(right)) return left < 0.0 ? NSOrderedAscending : NSOrderedDescending;
  return ordering(left, right);
}

template <class Real>
std::string textOfReal(Real value) {
  if (std::isnan(value)) return "nan";
  // Written with an exponent where "%.16g" has one, but never with more digits than the value needs.
  constexpr Real tooLarge = static_cast<Real>(1e16);
  constexpr Real tooSmall = static_cast<Real>(1e-4);
  const Real magnitude = std::abs(value);
  const bool plain = magnitude == 0 || (magnitude >= tooSmall && magnitude < tooLarge);
  std::array<char, 64> digits;
  const auto format = plain ? std::chars_format::fixed : std::chars_format::scientific;
  return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value, format).ptr};
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
Ref<NSNumber> NSNumber::numberWithFloat(float value) { return make<NSNumber>(Value(value)); }

bool NSNumber::boolValue() const {
  return std::visit([](auto value) { return value != decltype(value){}; }, value_);
}

NSInteger NSNumber::integerValue() const {
  if (isReal()) return truncated<NSInteger>(doubleValue());
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
  if (isReal()) return truncated<NSUInteger>(doubleValue());
  if (const auto* number = std::get_if<NSUInteger>(&value_)) return *number;
  return static_cast<NSUInteger>(std::max<NSInteger>(integerValue(), 0));
}

double NSNumber::doubleValue() const {
  return std::visit([](auto value) { return static_cast<double>(value); }, value_);
}

float NSNumber::floatValue() const { return static_cast<float>(doubleValue()); }

Ref<NSString> NSNumber::stringValue() const {
  if (isBool()) return boolValue() ? "1"_ns : "0"_ns;
  if (const auto* real = std::get_if<double>(&value_)) return NSString::stringWithUTF8String(textOfReal(*real));
  if (const auto* real = std::get_if<float>(&value_)) return NSString::stringWithUTF8String(textOfReal(*real));
  const auto* number = std::get_if<NSUInteger>(&value_);
  return NSString::stringWithUTF8String(number ? std::to_string(*number) : std::to_string(integerValue()));
}

NSComparisonResult NSNumber::compare(const Ref<NSNumber>& other) const {
  if (!other) return NSOrderedDescending;
  if (isReal() || other->isReal()) return orderingOfReals(doubleValue(), other->doubleValue());
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

NSUInteger NSNumber::hash() const {
  const double value = doubleValue();
  return std::isnan(value) ? 0 : std::hash<double>()(value);
}

}  // namespace telvo
