#pragma once

#include <concepts>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "foundation/runtime/NSObjCRuntime.h"
#include "foundation/runtime/NSRange.h"
#include "foundation/runtime/Ref.h"

TELVO_NAMESPACE_BEGIN

// What a method called by name gives back: nothing, an object, or a scalar.
using NSMethodResult = std::variant<std::monostate, id, bool, NSInteger, NSUInteger, double, NSRange>;

class NSClass;

// The kinds of argument and result that named methods have. Selectors and classes are arguments only.
enum class NSValueKind { Void, Object, Boolean, Integer, UnsignedInteger, Double, Range, Selector, Class };

namespace foundation {

// Scalars of an object argument: an NSNumber's value, the value of other objects' text, 0 for nil.
bool boolFromObject(const id& object);
NSInteger integerFromObject(const id& object);
NSUInteger unsignedIntegerFromObject(const id& object);
double doubleFromObject(const id& object);
// The selector of that text, and the class of that name; the empty selector and null for everything else.
SEL selectorFromObject(const id& object);
const NSClass* classFromObject(const id& object);

template <class T>
struct IsRef : std::false_type {};
template <class T>
struct IsRef<Ref<T>> : std::true_type {
  using Object = T;
};

template <class T>
constexpr NSValueKind kindOf() {
  using Plain = std::remove_cvref_t<T>;
  if constexpr (std::is_void_v<Plain>) {
    return NSValueKind::Void;
  } else if constexpr (IsRef<Plain>::value) {
    return NSValueKind::Object;
  } else if constexpr (std::same_as<Plain, bool>) {
    return NSValueKind::Boolean;
  } else if constexpr (std::floating_point<Plain>) {
    return NSValueKind::Double;
  } else if constexpr (std::same_as<Plain, NSRange>) {
    return NSValueKind::Range;
  } else if constexpr (std::same_as<Plain, SEL>) {
    return NSValueKind::Selector;
  } else if constexpr (std::same_as<Plain, const NSClass*>) {
    return NSValueKind::Class;
  } else if constexpr (std::is_enum_v<Plain>) {
    return NSValueKind::Integer;
  } else if constexpr (std::unsigned_integral<Plain>) {
    return NSValueKind::UnsignedInteger;
  } else {
    static_assert(std::signed_integral<Plain>, "a method called by name takes and gives objects and scalars");
    return NSValueKind::Integer;
  }
}

// An object argument as the parameter's type: nil when it is of another class, scalars unboxed, selectors and classes
// by their names.
template <class T>
std::remove_cvref_t<T> argumentFromObject(const id& object) {
  using Plain = std::remove_cvref_t<T>;
  if constexpr (std::same_as<Plain, id>) {
    return object;
  } else if constexpr (IsRef<Plain>::value) {
    return as<typename IsRef<Plain>::Object>(object);
  } else if constexpr (kindOf<T>() == NSValueKind::Selector) {
    return selectorFromObject(object);
  } else if constexpr (kindOf<T>() == NSValueKind::Class) {
    return classFromObject(object);
  } else if constexpr (kindOf<T>() == NSValueKind::Boolean) {
    return boolFromObject(object);
  } else if constexpr (kindOf<T>() == NSValueKind::Double) {
    return static_cast<Plain>(doubleFromObject(object));
  } else if constexpr (kindOf<T>() == NSValueKind::UnsignedInteger) {
    return static_cast<Plain>(unsignedIntegerFromObject(object));
  } else {
    return static_cast<Plain>(integerFromObject(object));
  }
}

template <class T>
NSMethodResult resultFrom(T&& value) {
  using Plain = std::remove_cvref_t<T>;
  constexpr NSValueKind kind = kindOf<Plain>();
  if constexpr (kind == NSValueKind::Object) {
    return id(std::forward<T>(value));
  } else if constexpr (kind == NSValueKind::Integer) {
    return static_cast<NSInteger>(value);
  } else if constexpr (kind == NSValueKind::UnsignedInteger) {
    return static_cast<NSUInteger>(value);
  } else if constexpr (kind == NSValueKind::Double) {
    return static_cast<double>(value);
  } else {
    return value;
  }
}

}  // namespace foundation

// One entry of a class's table: a selector, the kinds of its arguments and result, and the code.
struct NSMethod {
  using Implementation = std::function<NSMethodResult(NSObject& receiver, const std::vector<id>& arguments)>;

  SEL selector{};
  NSValueKind result = NSValueKind::Void;
  std::vector<NSValueKind> arguments{};  // the receiver and the selector are not counted
  // Called with exactly as many arguments as `arguments` says.
  Implementation implementation{};
};

namespace foundation {

template <class Receiver, class Result, class... Parameters, class Function, std::size_t... Index>
NSMethod makeMethod(SEL selector, Function function, std::index_sequence<Index...>) {
  return NSMethod{selector,
                  kindOf<Result>(),
                  {kindOf<Parameters>()...},
                  [function]([[maybe_unused]] NSObject& receiver,
                             [[maybe_unused]] const std::vector<id>& arguments) -> NSMethodResult {
                    auto call = [&]() -> Result {
                      return function(static_cast<Receiver&>(receiver),
                                      argumentFromObject<Parameters>(arguments[Index])...);
                    };
                    if constexpr (std::is_void_v<Result>) {
                      call();
                      return {};
                    } else {
                      return resultFrom(call());
                    }
                  }};
}

}  // namespace foundation

// Table entries. For a member function:  method("stop"_sel, &TelvoFTPData::stop)
template <class Receiver, class Result, class... Parameters>
NSMethod method(SEL selector, Result (Receiver::*function)(Parameters...)) {
  return foundation::makeMethod<Receiver, Result, Parameters...>(
      selector,
      [function](Receiver& receiver, const auto&... arguments) -> Result { return (receiver.*function)(arguments...); },
      std::index_sequence_for<Parameters...>());
}
template <class Receiver, class Result, class... Parameters>
NSMethod method(SEL selector, Result (Receiver::*function)(Parameters...) const) {
  return foundation::makeMethod<Receiver, Result, Parameters...>(
      selector,
      [function](Receiver& receiver, const auto&... arguments) -> Result { return (receiver.*function)(arguments...); },
      std::index_sequence_for<Parameters...>());
}
// For an extension, a free function that takes its receiver first:  method("telvo_reverse"_sel, &telvo_reverse)
template <class Receiver, class Result, class... Parameters>
NSMethod method(SEL selector, Result (*function)(const Ref<Receiver>&, Parameters...)) {
  return foundation::makeMethod<Receiver, Result, Parameters...>(
      selector,
      [function](Receiver& receiver, const auto&... arguments) -> Result {
        return function(Ref<Receiver>(&receiver), arguments...);
      },
      std::index_sequence_for<Parameters...>());
}

TELVO_NAMESPACE_END
