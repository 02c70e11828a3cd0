#pragma once

#include <variant>

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSString;

// A boolean, an integer or a real number. Immutable, any thread. Equality and order go by value whatever the kind, so
// a true boolean equals the integer 1 and the real 1.0. What is not a number equals only its like, and stands between
// the negative numbers and the others.
class NSNumber : public NSObject {
  NS_OBJECT(NSNumber, NSObject)

 public:
  using Value = std::variant<bool, NSInteger, NSUInteger, double, float>;
  explicit NSNumber(Value value) : value_(value) {}

  static Ref<NSNumber> numberWithBool(bool value);
  static Ref<NSNumber> numberWithInteger(NSInteger value);
  static Ref<NSNumber> numberWithInt(int value) { return numberWithInteger(value); }
  static Ref<NSNumber> numberWithLongLong(NSInteger value) { return numberWithInteger(value); }
  static Ref<NSNumber> numberWithUnsignedInteger(NSUInteger value);
  static Ref<NSNumber> numberWithUnsignedLongLong(NSUInteger value) { return numberWithUnsignedInteger(value); }
  static Ref<NSNumber> numberWithDouble(double value);
  static Ref<NSNumber> numberWithFloat(float value);

  const Value& value() const { return value_; }
  bool isBool() const { return std::holds_alternative<bool>(value_); }
  bool isReal() const { return std::holds_alternative<double>(value_) || std::holds_alternative<float>(value_); }

  // Conversions truncate toward zero and stop at the limits of the type asked for; not-a-number gives 0.
  bool boolValue() const;
  NSInteger integerValue() const;
  int intValue() const;
  NSInteger longLongValue() const { return integerValue(); }
  NSUInteger unsignedIntegerValue() const;
  double doubleValue() const;
  float floatValue() const;
  // "1" and "0" for booleans; reals with as many digits as it takes to read back the same value, the single-precision
  // ones as such: "0.1". Only reals from 1e16 on and those below 0.0001 have an exponent: "1e+16", "5e-05".
  Ref<NSString> stringValue() const;

  NSComparisonResult compare(const Ref<NSNumber>& other) const;

  Ref<NSString> description() const override;
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override { return self(); }
  bool conformsToCopying() const override { return true; }

 private:
  Value value_;
};

TELVO_NAMESPACE_END
