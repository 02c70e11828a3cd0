#pragma once

#include <string_view>

#include "foundation/NSObject.h"
#include "foundation/NSString.h"

class NSCharacterSet;

// Reads a text piece by piece from front to back. Every reading method first steps over the characters to be skipped;
// it answers the piece and moves behind it, or answers nil and stays where it was. One thread at a time.
class NSScanner : public NSObject {
  NS_OBJECT(NSScanner, NSObject)

 public:
  explicit NSScanner(Ref<NSString> text);
  ~NSScanner() override;

  // Raises NSInvalidArgumentException for nil.
  static Ref<NSScanner> scannerWithString(const Ref<NSString>& text);

  const Ref<NSString>& string() const { return text_; }
  NSUInteger scanLocation() const { return location_; }
  // Raises NSRangeException behind the end.
  void setScanLocation(NSUInteger location);
  // White space and line ends at first; nil for nothing.
  const Ref<NSCharacterSet>& charactersToBeSkipped() const { return skipped_; }
  void setCharactersToBeSkipped(const Ref<NSCharacterSet>& set) { skipped_ = set; }
  // Off at first.
  bool caseSensitive() const { return caseSensitive_; }
  void setCaseSensitive(bool caseSensitive) { caseSensitive_ = caseSensitive; }

  // Whether nothing but characters to be skipped is left.
  bool isAtEnd() const;

  // That very text.
  Ref<NSString> scanString(const Ref<NSString>& text);
  // What stands in front of that text, all that is left when it does not come; nil when it comes at once.
  Ref<NSString> scanUpToString(const Ref<NSString>& text);
  // The run of characters that belong to the set.
  Ref<NSString> scanCharactersFromSet(const Ref<NSCharacterSet>& set);
  // The run of characters that do not.
  Ref<NSString> scanUpToCharactersFromSet(const Ref<NSCharacterSet>& set);

 private:
  NSUInteger startOfNextPiece() const;
  Ref<NSString> take(NSUInteger start, NSUInteger end);
  NSUInteger searchOptions() const { return caseSensitive_ ? NSLiteralSearch : NSCaseInsensitiveSearch; }

  Ref<NSString> text_;
  NSUInteger location_ = 0;
  Ref<NSCharacterSet> skipped_;
  bool caseSensitive_ = false;
};
