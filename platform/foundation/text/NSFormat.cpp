#include "foundation/text/NSFormat.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <optional>

#include "foundation/collections/NSNumber.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

// Widths and precisions beyond this are cut: a format from a damaged string table must not ask for gigabytes.
constexpr NSInteger maximumWidth = 4096;

struct Conversion {
  std::string flags;
  std::optional<NSInteger> width;
  std::optional<NSInteger> precision;
  char16_t type = 0;
  std::optional<std::size_t> position;  // one-based, from "%2$@"
};

class Formatter {
 public:
  Formatter(std::u16string_view format, const std::vector<NSFormatArgument>& arguments)
      : format_(format), arguments_(arguments) {}

  std::u16string run() {
    while (at_ < format_.size()) {
      const std::size_t percent = format_.find(u'%', at_);
      output_.append(format_.substr(at_, percent == std::u16string_view::npos ? percent : percent - at_));
      if (percent == std::u16string_view::npos) break;
      at_ = percent;
      convert();
    }
    return std::move(output_);
  }

 private:
  void convert() {
    const std::size_t start = at_++;
    const Conversion conversion = parse();
    if (conversion.type == u'%') {
      output_.push_back(u'%');
      return;
    }
    const NSFormatArgument* argument = conversion.type ? take(conversion.position) : nullptr;
    if (!argument || !append(conversion, *argument)) output_.append(format_.substr(start, at_ - start));
  }

  Conversion parse() {
    Conversion conversion;
    const std::size_t beforePosition = at_;
    const auto number = digits();
    if (number && at_ < format_.size() && format_[at_] == u'$') {
      ++at_;
      conversion.position = static_cast<std::size_t>(*number);
    } else {
      at_ = beforePosition;
    }
    while (at_ < format_.size() && std::u16string_view(u"-+ #0'").find(format_[at_]) != std::u16string_view::npos) {
      if (format_[at_] != u'\'') conversion.flags.push_back(static_cast<char>(format_[at_]));
      ++at_;
    }
    conversion.width = measure();
    if (conversion.width && *conversion.width < 0) {
      conversion.flags.push_back('-');
      conversion.width = -*conversion.width;
    }
    if (at_ < format_.size() && format_[at_] == u'.') {
      ++at_;
      conversion.precision = measure().value_or(0);
      if (*conversion.precision < 0) conversion.precision.reset();
    }
    while (at_ < format_.size() && std::u16string_view(u"hlqjztL").find(format_[at_]) != std::u16string_view::npos)
      ++at_;
    if (at_ < format_.size()) conversion.type = format_[at_++];
    return conversion;
  }

  std::optional<NSInteger> digits() {
    const std::size_t start = at_;
    NSInteger value = 0;
    while (at_ < format_.size() && format_[at_] >= u'0' && format_[at_] <= u'9') {
      value = std::min<NSInteger>(value * 10 + (format_[at_++] - u'0'), maximumWidth);
    }
    return at_ == start ? std::nullopt : std::optional(value);
  }

  std::optional<NSInteger> measure() {
    if (at_ >= format_.size() || format_[at_] != u'*') return digits();
    ++at_;
    const NSFormatArgument* argument = take(std::nullopt);
    if (!argument) return std::nullopt;
    return std::clamp(integer(*argument), -maximumWidth, maximumWidth);
  }

  const NSFormatArgument* take(std::optional<std::size_t> position) {
    const std::size_t index = position ? *position - 1 : next_++;
    return index < arguments_.size() ? &arguments_[index] : nullptr;
  }

  bool append(const Conversion& conversion, const NSFormatArgument& argument) {
    switch (conversion.type) {
      case u'@':
      case u's':
      case u'S':
        appendText(conversion, text(argument));
        return true;
      case u'd':
      case u'i':
      case u'D':
        appendNumber(conversion, "lld", static_cast<long long>(integer(argument)));
        return true;
      case u'u':
      case u'U':
        appendNumber(conversion, "llu", static_cast<unsigned long long>(integer(argument)));
        return true;
      case u'x':
      case u'X':
      case u'o':
        appendNumber(conversion, std::string("ll") + static_cast<char>(conversion.type),
                     static_cast<unsigned long long>(integer(argument)));
        return true;
      case u'p':
        appendText(conversion, address(argument));
        return true;
      case u'f':
      case u'F':
      case u'e':
      case u'E':
      case u'g':
      case u'G':
      case u'a':
      case u'A':
        appendNumber(conversion, std::string(1, static_cast<char>(conversion.type)), real(argument));
        return true;
      case u'c':
        // One byte, as a C string would hold it.
        appendText(conversion, std::u16string(1, static_cast<char16_t>(integer(argument) & 0xFF)));
        return true;
      case u'C':
        appendText(conversion, std::u16string(1, static_cast<char16_t>(integer(argument))));
        return true;
      default:
        return false;
    }
  }

  template <class Number>
  void appendNumber(const Conversion& conversion, const std::string& type, Number number) {
    std::string format = "%";
    format += conversion.flags;
    if (conversion.width) format += std::to_string(*conversion.width);
    if (conversion.precision) format.append(".").append(std::to_string(*conversion.precision));
    format += type;
    const int size = std::snprintf(nullptr, 0, format.c_str(), number);
    if (size < 0) return;
    std::string result(static_cast<std::size_t>(size) + 1, '\0');
    std::snprintf(result.data(), result.size(), format.c_str(), number);
    result.pop_back();
    output_.append(result.begin(), result.end());
  }

  void appendText(const Conversion& conversion, std::u16string text) {
    if (conversion.precision && static_cast<std::size_t>(*conversion.precision) < text.size()) {
      text.resize(static_cast<std::size_t>(*conversion.precision));
    }
    const std::size_t width = static_cast<std::size_t>(conversion.width.value_or(0));
    const std::size_t padding = width > text.size() ? width - text.size() : 0;
    const bool left = conversion.flags.find('-') != std::string::npos;
    if (!left) output_.append(padding, u' ');
    output_.append(text);
    if (left) output_.append(padding, u' ');
  }

  static std::u16string text(const NSFormatArgument& argument) {
    const auto& value = argument.value();
    if (const auto* object = std::get_if<id>(&value)) {
      const Ref<NSString> description = NSDescription(*object);
      return description ? std::u16string(description->units()) : u"(null)";
    }
    if (const auto* string = std::get_if<std::string>(&value)) {
      return std::u16string(NSString::stringWithUTF8String(*string)->units());
    }
    std::string number;
    if (const auto* signedValue = std::get_if<NSInteger>(&value)) number = std::to_string(*signedValue);
    if (const auto* unsignedValue = std::get_if<NSUInteger>(&value)) number = std::to_string(*unsignedValue);
    if (const auto* realValue = std::get_if<double>(&value)) number = std::to_string(*realValue);
    return {number.begin(), number.end()};
  }

  static NSInteger integer(const NSFormatArgument& argument) {
    const auto& value = argument.value();
    if (const auto* object = std::get_if<id>(&value)) return foundation::integerFromObject(*object);
    if (const auto* signedValue = std::get_if<NSInteger>(&value)) return *signedValue;
    if (const auto* unsignedValue = std::get_if<NSUInteger>(&value)) return static_cast<NSInteger>(*unsignedValue);
    if (const auto* realValue = std::get_if<double>(&value)) {
      return foundation::integerFromObject(id(NSNumber::numberWithDouble(*realValue)));
    }
    if (const auto* string = std::get_if<std::string>(&value)) {
      return NSString::stringWithUTF8String(*string)->integerValue();
    }
    return 0;
  }

  static double real(const NSFormatArgument& argument) {
    const auto& value = argument.value();
    if (const auto* object = std::get_if<id>(&value)) return foundation::doubleFromObject(*object);
    if (const auto* realValue = std::get_if<double>(&value)) return *realValue;
    if (const auto* unsignedValue = std::get_if<NSUInteger>(&value)) return static_cast<double>(*unsignedValue);
    return static_cast<double>(integer(argument));
  }

  static std::u16string address(const NSFormatArgument& argument) {
    std::uintptr_t number = static_cast<std::uintptr_t>(integer(argument));
    if (const auto* object = std::get_if<id>(&argument.value()))
      number = reinterpret_cast<std::uintptr_t>(object->get());
    std::array<char, 2 + 16> digits{'0', 'x'};
    const auto end = std::to_chars(digits.data() + 2, digits.data() + digits.size(), number, 16).ptr;
    return {digits.data(), end};
  }

  std::u16string_view format_;
  const std::vector<NSFormatArgument>& arguments_;
  std::size_t at_ = 0;
  std::size_t next_ = 0;
  std::u16string output_;
};

}  // namespace

Ref<NSString> NSString::stringWithFormat_arguments(const Ref<NSString>& format,
                                                   const std::vector<NSFormatArgument>& arguments) {
  if (!format) return nil;
  return stringWithUnits(Formatter(format->units(), arguments).run());
}

}  // namespace telvo
