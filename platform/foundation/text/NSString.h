#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "foundation/runtime/NSObject.h"
#include "foundation/runtime/NSRange.h"
#include "foundation/text/NSFormat.h"

TELVO_NAMESPACE_BEGIN

class NSArray;
class NSCharacterSet;
class NSData;
class NSError;
class NSURL;

enum NSStringCompareOptions : NSUInteger {
  NSCaseInsensitiveSearch = 1,
  NSLiteralSearch = 2,
  NSBackwardsSearch = 4,
  NSAnchoredSearch = 8,
  NSNumericSearch = 64,
};

enum NSStringEncoding : NSUInteger {
  NSASCIIStringEncoding = 1,
  NSUTF8StringEncoding = 4,
  NSISOLatin1StringEncoding = 5,
  NSNonLossyASCIIStringEncoding = 7,
  NSShiftJISStringEncoding = 8,
  NSISOLatin2StringEncoding = 9,
  NSUTF16StringEncoding = 10,
  NSWindowsCP1251StringEncoding = 11,
  NSWindowsCP1252StringEncoding = 12,
  NSWindowsCP1253StringEncoding = 13,
  NSWindowsCP1254StringEncoding = 14,
  NSWindowsCP1250StringEncoding = 15,
  NSJapaneseEUCStringEncoding = 3,
  NSMacOSRomanStringEncoding = 30,
  NSUTF16BigEndianStringEncoding = 0x90000100,
  NSUTF16LittleEndianStringEncoding = 0x94000100,
  NSUTF32StringEncoding = 0x8c000100,
  NSUTF32BigEndianStringEncoding = 0x98000100,
  NSUTF32LittleEndianStringEncoding = 0x9c000100,
};

// Text. Lengths and indexes count UTF-16 units; any sequence of units can be held, unpaired surrogates included.
// A byte that is not valid UTF-8 is carried as the unit U+DC80...U+DCFF (0xDC00 + byte) and turns back into that byte
// wherever text leaves as UTF-8, so file names survive. Immutable, any thread. Indexes out of bounds raise
// NSRangeException, nil where text is needed raises NSInvalidArgumentException.
class NSString : public NSObject {
  NS_OBJECT(NSString, NSObject)

 public:
  explicit NSString(std::u16string units = {}) : units_(std::move(units)) {}

  static Ref<NSString> string();
  static Ref<NSString> stringWithString(const Ref<NSString>& other);
  // Bytes that are not UTF-8 are kept as described above.
  static Ref<NSString> stringWithUTF8String(std::string_view utf8);
  static Ref<NSString> stringWithCharacters_length(const char16_t* units, NSUInteger length);
  static Ref<NSString> stringWithUnits(std::u16string units);
  // printf-style, with %@ for objects: see NSFormat.h.
  template <class... Arguments>
  static Ref<NSString> stringWithFormat(const Ref<NSString>& format, const Arguments&... arguments) {
    return stringWithFormat_arguments(format, {NSFormatArgument(arguments)...});
  }
  static Ref<NSString> stringWithFormat_arguments(const Ref<NSString>& format,
                                                  const std::vector<NSFormatArgument>& arguments);
  // Nil when the bytes are not text in that encoding, to the letter of it, and for nil. A byte order mark is taken off
  // with the two encodings that name no byte order; without a mark these read as big endian.
  static Ref<NSString> stringWithData_encoding(const Ref<NSData>& data, NSStringEncoding encoding);

  NSUInteger length() const { return units_.size(); }
  char16_t characterAtIndex(NSUInteger index) const;
  std::u16string_view units() const { return units_; }
  std::string UTF8String() const;
  // Nil when the encoding cannot hold the text, unless loss is allowed: then a question mark stands for each character
  // that is lost. Unpaired surrogates, carried bytes included, fit no encoding. A byte order mark is written with the
  // two encodings that name no byte order, and the bytes then are little endian.
  Ref<NSData> dataUsingEncoding(NSStringEncoding encoding, bool allowLossyConversion = false) const;

  Ref<NSString> substringFromIndex(NSUInteger from) const;
  Ref<NSString> substringToIndex(NSUInteger to) const;
  Ref<NSString> substringWithRange(NSRange range) const;
  Ref<NSString> stringByAppendingString(const Ref<NSString>& other) const;
  template <class... Arguments>
  Ref<NSString> stringByAppendingFormat(const Ref<NSString>& format, const Arguments&... arguments) const {
    return stringByAppendingString(stringWithFormat(format, arguments...));
  }
  Ref<NSArray> componentsSeparatedByString(const Ref<NSString>& separator) const;
  Ref<NSString> stringByReplacingOccurrencesOfString_withString(const Ref<NSString>& target,
                                                                const Ref<NSString>& replacement) const;

  // Searching gives {NSNotFound, 0} when there is nothing to be found; so does an empty text to search for. Units are
  // compared as they are, or by full case folding (Unicode chapter 3.13) with NSCaseInsensitiveSearch.
  NSRange rangeOfString(const Ref<NSString>& text, NSUInteger options = 0) const;
  NSRange rangeOfString_options_range(const Ref<NSString>& text, NSUInteger options, NSRange range) const;
  bool containsString(const Ref<NSString>& text) const;
  // The first character (the last one, with NSBackwardsSearch) that belongs to the set; {NSNotFound, 0} for none.
  NSRange rangeOfCharacterFromSet(const Ref<NSCharacterSet>& set, NSUInteger options = 0) const;
  bool hasPrefix(const Ref<NSString>& prefix) const;
  bool hasSuffix(const Ref<NSString>& suffix) const;

  // Unit order. caseInsensitiveCompare() finds the same what differs in letter case only, or in the way its characters
  // are composed, and orders the rest by their foldings (foldedString). Neither looks at the locale.
  NSComparisonResult compare(const Ref<NSString>& other) const;
  NSComparisonResult caseInsensitiveCompare(const Ref<NSString>& other) const;
  // The order of a file browser: letters by the user's language (LC_ALL, LC_COLLATE or LANG at that moment), runs of
  // digits by value.
  NSComparisonResult localizedStandardCompare(const Ref<NSString>& other) const;
  bool isEqualToString(const Ref<NSString>& other) const;
  // The text with full case folding, decomposed: equal units for the texts that caseInsensitiveCompare() finds the
  // same.
  Ref<NSString> foldedString() const;

  Ref<NSString> lowercaseString() const;
  Ref<NSString> uppercaseString() const;
  Ref<NSString> capitalizedString() const;
  Ref<NSString> decomposedStringWithCanonicalMapping() const;
  Ref<NSString> precomposedStringWithCanonicalMapping() const;
  Ref<NSString> stringByTrimmingCharactersInSet(const Ref<NSCharacterSet>& set) const;

  // The number that the text begins with, after white space: optional sign and decimal digits, 0 when there are none;
  // values out of range give the nearest limit.
  NSInteger integerValue() const;
  NSInteger longLongValue() const { return integerValue(); }
  int intValue() const;
  double doubleValue() const;
  float floatValue() const;
  // True when, after white space, a sign and zeroes, the text goes on with one of YyTt1-9.
  bool boolValue() const;

  // Paths (NSPathUtilities.cpp): components are what stands between slashes. No file is looked at, but for the links
  // that stringByStandardizingPath() goes up from.
  Ref<NSString> lastPathComponent() const;
  Ref<NSString> stringByDeletingLastPathComponent() const;
  Ref<NSString> stringByAppendingPathComponent(const Ref<NSString>& component) const;
  Ref<NSString> pathExtension() const;
  Ref<NSString> stringByDeletingPathExtension() const;
  // Nil when the extension cannot be appended (an empty path, or nothing but slashes).
  Ref<NSString> stringByAppendingPathExtension(const Ref<NSString>& extension) const;
  Ref<NSArray> pathComponents() const;
  static Ref<NSString> pathWithComponents(const Ref<NSArray>& components);
  bool isAbsolutePath() const;
  Ref<NSString> stringByExpandingTildeInPath() const;
  Ref<NSString> stringByAbbreviatingWithTildeInPath() const;
  // Without "~", double slashes and "."; an absolute path also without "..", the parent of a link being that of the
  // folder it leads to.
  Ref<NSString> stringByStandardizingPath() const;
  // The bytes that the file system knows the path by.
  std::string fileSystemRepresentation() const { return UTF8String(); }

  Ref<NSString> description() const override;
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override;
  id mutableCopy() const override;
  bool conformsToCopying() const override { return true; }
  bool conformsToMutableCopying() const override { return true; }

 protected:
  std::u16string units_;
};

// Text that can be changed in place. One thread at a time.
class NSMutableString : public NSString {
  NS_OBJECT(NSMutableString, NSString)

 public:
  using NSString::NSString;

  static Ref<NSMutableString> string();
  static Ref<NSMutableString> stringWithString(const Ref<NSString>& other);

  void appendString(const Ref<NSString>& text);
  template <class... Arguments>
  void appendFormat(const Ref<NSString>& format, const Arguments&... arguments) {
    appendString(stringWithFormat(format, arguments...));
  }
  void setString(const Ref<NSString>& text);
  void insertString_atIndex(const Ref<NSString>& text, NSUInteger index);
  void deleteCharactersInRange(NSRange range);
  void replaceCharactersInRange_withString(NSRange range, const Ref<NSString>& text);
  // Returns the number of replacements; the replaced text is not searched again.
  NSUInteger replaceOccurrencesOfString_withString_options_range(const Ref<NSString>& target,
                                                                 const Ref<NSString>& replacement, NSUInteger options,
                                                                 NSRange range);

  id copy() const override;

 private:
  // Where replacements take place, in the order of the text.
  std::vector<NSRange> occurrences(const Ref<NSString>& target, NSUInteger options, NSRange range) const;
};

// "text"_ns: the literal as text, made once in the life of the process.
template <foundation::Literal Text>
const Ref<NSString>& operator""_ns() {
  static const Ref<NSString>& text = *new Ref<NSString>(NSString::stringWithUTF8String(Text.view()));
  return text;
}

TELVO_NAMESPACE_END
