// The methods of NSString that convert between text and bytes in an encoding.

#include <memory>
#include <optional>

#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>

#include "foundation/collections/NSData.h"
#include "foundation/runtime/Releaser.h"
#include "foundation/text/NSString.h"
#include "foundation/text/UTF16.h"
#include "foundation/text/UTF8.h"

inline namespace telvo {

namespace {

constexpr char16_t byteOrderMark = 0xFEFF;

// The text with a question mark for each surrogate that stands alone; nothing when there is one and loss is not
// allowed.
std::optional<std::u16string> wellFormed(std::u16string_view units, bool allowLoss) {
  std::u16string result(units);
  for (std::size_t at = 0; at < result.size(); ++at) {
    if (foundation::isSurrogatePairAt(result, at)) {
      ++at;
    } else if (foundation::isSurrogate(result[at])) {
      if (!allowLoss) return std::nullopt;
      result[at] = u'?';
    }
  }
  return result;
}

bool isWellFormed(std::u16string_view units) { return wellFormed(units, false).has_value(); }

enum class ByteOrder { Big, Little };

// UTF-16 and UTF-32 differ in the number of bytes only.
struct WideForm {
  std::size_t size;
  std::optional<ByteOrder> order;  // none: told by the byte order mark
};

std::optional<WideForm> wideFormOf(NSStringEncoding encoding) {
  switch (encoding) {
    case NSUTF16StringEncoding:
      return WideForm{2, std::nullopt};
    case NSUTF16BigEndianStringEncoding:
      return WideForm{2, ByteOrder::Big};
    case NSUTF16LittleEndianStringEncoding:
      return WideForm{2, ByteOrder::Little};
    case NSUTF32StringEncoding:
      return WideForm{4, std::nullopt};
    case NSUTF32BigEndianStringEncoding:
      return WideForm{4, ByteOrder::Big};
    case NSUTF32LittleEndianStringEncoding:
      return WideForm{4, ByteOrder::Little};
    default:
      return std::nullopt;
  }
}

void appendWide(std::string& bytes, char32_t value, std::size_t size, ByteOrder order) {
  for (std::size_t index = 0; index < size; ++index) {
    const std::size_t shift = 8 * (order == ByteOrder::Big ? size - 1 - index : index);
    bytes.push_back(static_cast<char>(static_cast<unsigned char>(value >> shift)));
  }
}

char32_t wideAt(std::string_view bytes, std::size_t at, std::size_t size, ByteOrder order) {
  char32_t value = 0;
  for (std::size_t index = 0; index < size; ++index) {
    const std::size_t shift = 8 * (order == ByteOrder::Big ? size - 1 - index : index);
    value |= static_cast<char32_t>(static_cast<unsigned char>(bytes[at + index])) << shift;
  }
  return value;
}

std::string encodedWide(std::u16string_view units, WideForm form) {
  std::string bytes;
  bytes.reserve((units.size() + 1) * form.size);
  const ByteOrder order = form.order.value_or(ByteOrder::Little);
  if (!form.order) appendWide(bytes, byteOrderMark, form.size, order);
  for (std::size_t at = 0; at < units.size(); ++at) {
    char32_t value = units[at];
    if (form.size == 4 && foundation::isSurrogatePairAt(units, at)) {
      value = foundation::characterAt(units, at);
      ++at;
    }
    appendWide(bytes, value, form.size, order);
  }
  return bytes;
}

std::optional<std::u16string> decodedWide(std::string_view bytes, WideForm form) {
  if (bytes.size() % form.size != 0) return std::nullopt;
  ByteOrder order = form.order.value_or(ByteOrder::Big);
  std::size_t at = 0;
  if (!form.order && !bytes.empty()) {
    const bool little = wideAt(bytes, 0, form.size, ByteOrder::Little) == byteOrderMark;
    if (little) order = ByteOrder::Little;
    if (little || wideAt(bytes, 0, form.size, ByteOrder::Big) == byteOrderMark) at = form.size;
  }
  std::u16string units;
  units.reserve(bytes.size() / form.size);
  for (; at < bytes.size(); at += form.size) {
    const char32_t value = wideAt(bytes, at, form.size, order);
    if (value > 0x10FFFF || (form.size == 4 && foundation::isSurrogate(value))) return std::nullopt;
    foundation::appendCharacter(units, value);
  }
  return isWellFormed(units) ? std::optional(std::move(units)) : std::nullopt;
}

// Non-lossy ASCII: ASCII with the backslash doubled, units below 256 as three octal digits behind a backslash, all
// others as "\u" and four hexadecimal digits.
std::string encodedNonLossyASCII(std::u16string_view units) {
  static constexpr std::string_view digits = "0123456789abcdef";
  std::string bytes;
  const auto putDigits = [&](unsigned value, unsigned shift, unsigned bits) {
    for (const unsigned mask = (1U << bits) - 1;; shift -= bits) {
      bytes.push_back(digits[(value >> shift) & mask]);
      if (shift == 0) break;
    }
  };
  for (const char16_t unit : units) {
    if (unit == u'\\') {
      bytes += "\\\\";
    } else if (unit < 0x80) {
      bytes.push_back(static_cast<char>(unit));
    } else if (unit < 0x100) {
      bytes.push_back('\\');
      putDigits(unit, 6, 3);
    } else {
      bytes += "\\u";
      putDigits(unit, 12, 4);
    }
  }
  return bytes;
}

std::optional<unsigned> numberOf(std::string_view digits, std::size_t count, unsigned base) {
  if (digits.size() < count) return std::nullopt;
  unsigned number = 0;
  for (const char digit : digits.substr(0, count)) {
    static constexpr std::string_view values = "0123456789abcdef0123456789ABCDEF";
    const std::size_t value = values.find(digit);
    if (value == std::string_view::npos || value % 16 >= base) return std::nullopt;
    number = number * base + static_cast<unsigned>(value % 16);
  }
  return number;
}

std::optional<std::u16string> decodedNonLossyASCII(std::string_view bytes) {
  std::u16string units;
  while (!bytes.empty()) {
    if (static_cast<unsigned char>(bytes.front()) >= 0x80) return std::nullopt;
    std::optional<unsigned> unit = static_cast<unsigned>(bytes.front());
    std::size_t size = 1;
    if (bytes.starts_with("\\\\")) {
      size = 2;
    } else if (bytes.starts_with("\\u")) {
      unit = numberOf(bytes.substr(2), 4, 16);
      size = 6;
    } else if (bytes.starts_with("\\")) {
      unit = numberOf(bytes.substr(1), 3, 8);
      size = 4;
    }
    if (!unit) return std::nullopt;
    units.push_back(static_cast<char16_t>(*unit));
    bytes.remove_prefix(size);
  }
  return isWellFormed(units) ? std::optional(std::move(units)) : std::nullopt;
}

const char* converterName(NSStringEncoding encoding) {
  switch (encoding) {
    case NSASCIIStringEncoding:
      return "US-ASCII";
    case NSISOLatin1StringEncoding:
      return "ISO-8859-1";
    case NSISOLatin2StringEncoding:
      return "ISO-8859-2";
    case NSShiftJISStringEncoding:
      return "Shift_JIS";
    case NSJapaneseEUCStringEncoding:
      return "EUC-JP";
    case NSWindowsCP1250StringEncoding:
      return "windows-1250";
    case NSWindowsCP1251StringEncoding:
      return "windows-1251";
    case NSWindowsCP1252StringEncoding:
      return "windows-1252";
    case NSWindowsCP1253StringEncoding:
      return "windows-1253";
    case NSWindowsCP1254StringEncoding:
      return "windows-1254";
    case NSMacOSRomanStringEncoding:
      return "macintosh";
    default:
      return nullptr;
  }
}

using Converter = std::unique_ptr<UConverter, foundation::Releaser<ucnv_close>>;

Converter openConverter(NSStringEncoding encoding) {
  const char* name = converterName(encoding);
  UErrorCode status = U_ZERO_ERROR;
  return Converter(name ? ucnv_open(name, &status) : nullptr);
}

constexpr std::size_t pieceSize = 4096;

std::optional<std::string> encodedByConverter(std::u16string_view units, NSStringEncoding encoding, bool allowLoss) {
  const Converter converter = openConverter(encoding);
  if (!converter) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  if (allowLoss) {
    ucnv_setSubstString(converter.get(), u"?", 1, &status);
  } else {
    ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  }
  std::string bytes;
  const char16_t* source = units.data();
  const char16_t* const end = source + units.size();
  do {
    char piece[pieceSize];
    char* target = piece;
    if (status == U_BUFFER_OVERFLOW_ERROR) status = U_ZERO_ERROR;
    ucnv_fromUnicode(converter.get(), &target, piece + pieceSize, &source, end, nullptr, true, &status);
    bytes.append(piece, target);
  } while (status == U_BUFFER_OVERFLOW_ERROR);
  if (U_FAILURE(status)) return std::nullopt;
  return bytes;
}

std::optional<std::u16string> decodedByConverter(std::string_view bytes, NSStringEncoding encoding) {
  const Converter converter = openConverter(encoding);
  if (!converter) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  std::u16string units;
  const char* source = bytes.data();
  const char* const end = source + bytes.size();
  do {
    char16_t piece[pieceSize];
    char16_t* target = piece;
    if (status == U_BUFFER_OVERFLOW_ERROR) status = U_ZERO_ERROR;
    ucnv_toUnicode(converter.get(), &target, piece + pieceSize, &source, end, nullptr, true, &status);
    units.append(piece, target);
  } while (status == U_BUFFER_OVERFLOW_ERROR);
  if (U_FAILURE(status)) return std::nullopt;
  return units;
}

std::optional<std::u16string> decoded(std::string_view bytes, NSStringEncoding encoding) {
  if (const auto form = wideFormOf(encoding)) return decodedWide(bytes, *form);
  if (encoding == NSNonLossyASCIIStringEncoding) return decodedNonLossyASCII(bytes);
  if (encoding != NSUTF8StringEncoding) return decodedByConverter(bytes, encoding);
  if (!foundation::isUTF8(bytes)) return std::nullopt;
  return foundation::unitsFromUTF8(bytes);
}

std::optional<std::string> encoded(std::u16string_view units, NSStringEncoding encoding, bool allowLoss) {
  if (const auto form = wideFormOf(encoding)) return encodedWide(units, *form);
  if (encoding == NSNonLossyASCIIStringEncoding) return encodedNonLossyASCII(units);
  if (encoding == NSUTF8StringEncoding) return foundation::UTF8FromUnits(units);
  return encodedByConverter(units, encoding, allowLoss);
}

}  // namespace

Ref<NSString> NSString::stringWithData_encoding(const Ref<NSData>& data, NSStringEncoding encoding) {
  if (!data) return nil;
  std::optional<std::u16string> units = decoded(data->view(), encoding);
  return units ? stringWithUnits(*std::move(units)) : nil;
}

Ref<NSData> NSString::dataUsingEncoding(NSStringEncoding encoding, bool allowLossyConversion) const {
  const std::optional<std::u16string> units = wellFormed(units_, allowLossyConversion);
  if (!units) return nil;
  std::optional<std::string> bytes = encoded(*units, encoding, allowLossyConversion);
  return bytes ? NSData::dataWithBytes(*std::move(bytes)) : nil;
}

}  // namespace telvo
