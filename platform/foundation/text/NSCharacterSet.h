#pragma once

#include <memory>
#include <string_view>

#include "foundation/runtime/NSObject.h"
#include "foundation/runtime/NSRange.h"

TELVO_NAMESPACE_BEGIN

class NSString;

namespace foundation {
class CharacterSetMembers;
}

// A set of Unicode characters (code points). The shared sets go by the Unicode general categories and properties.
// Immutable, any thread.
class NSCharacterSet : public NSObject {
  NS_OBJECT(NSCharacterSet, NSObject)

 public:
  explicit NSCharacterSet(std::unique_ptr<foundation::CharacterSetMembers> members);
  ~NSCharacterSet() override;

  static Ref<NSCharacterSet> whitespaceCharacterSet();            // category Zs, and the tab: no line ends
  static Ref<NSCharacterSet> newlineCharacterSet();               // U+000A to U+000D, U+0085, U+2028, U+2029
  static Ref<NSCharacterSet> whitespaceAndNewlineCharacterSet();  // both
  static Ref<NSCharacterSet> decimalDigitCharacterSet();          // Nd, the digits of every script
  static Ref<NSCharacterSet> letterCharacterSet();                // L and M: combining marks belong to letters
  static Ref<NSCharacterSet> lowercaseLetterCharacterSet();       // Ll
  static Ref<NSCharacterSet> uppercaseLetterCharacterSet();       // Lu and Lt
  static Ref<NSCharacterSet> alphanumericCharacterSet();          // L, M and N
  static Ref<NSCharacterSet> punctuationCharacterSet();           // P
  static Ref<NSCharacterSet> nonBaseCharacterSet();               // M: combining marks
  static Ref<NSCharacterSet> controlCharacterSet();               // Cc and Cf
  // The characters of the text; surrogates count as characters only where they stand alone. Nil gives the empty set.
  static Ref<NSCharacterSet> characterSetWithCharactersInString(const Ref<NSString>& text);
  static Ref<NSCharacterSet> characterSetWithRange(NSRange codePoints);

  // Membership of one UTF-16 unit, a surrogate being the code point of that number: half of a pair belongs to the
  // inversions of the sets above, never to the sets themselves.
  bool characterIsMember(char16_t unit) const;
  bool longCharacterIsMember(char32_t codePoint) const;

  Ref<NSCharacterSet> invertedSet() const;

  // Where the run of members, or of what is none, ends that begins at that index; characters are whole, a surrogate
  // pair is one.
  enum class Run { OfMembers, OfOthers };
  NSUInteger endOfRun(std::u16string_view text, NSUInteger index, Run run) const;
  // The same backwards: where the run begins that ends before that index.
  NSUInteger startOfRun(std::u16string_view text, NSUInteger index, Run run) const;

  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override;
  id mutableCopy() const override;
  bool conformsToCopying() const override { return true; }
  bool conformsToMutableCopying() const override { return true; }

 private:
  friend class NSMutableCharacterSet;
  std::unique_ptr<foundation::CharacterSetMembers> members_;
};

// A set that can be changed. One thread at a time.
class NSMutableCharacterSet : public NSCharacterSet {
  NS_OBJECT(NSMutableCharacterSet, NSCharacterSet)

 public:
  using NSCharacterSet::NSCharacterSet;
  NSMutableCharacterSet();

  void formUnionWithCharacterSet(const Ref<NSCharacterSet>& other);
  void addCharactersInString(const Ref<NSString>& text);
  void removeCharactersInString(const Ref<NSString>& text);
  void invert();

  id copy() const override;
};

TELVO_NAMESPACE_END
