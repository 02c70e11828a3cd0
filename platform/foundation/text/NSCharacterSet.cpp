// Character sets, and the methods of NSString that are about them.

#include "foundation/text/NSCharacterSet.h"

#include <algorithm>
#include <limits>

#include <unicode/uniset.h>

#include "foundation/errors/NSException.h"
#include "foundation/text/NSString.h"
#include "foundation/text/UTF16.h"

inline namespace telvo {

class foundation::CharacterSetMembers {
 public:
  icu::UnicodeSet set;
};

namespace {

using foundation::CharacterSetMembers;

icu::UnicodeString unicodeString(std::u16string_view units) {
  return {false, units.data(), static_cast<std::int32_t>(units.size())};
}

std::unique_ptr<CharacterSetMembers> copied(const icu::UnicodeSet& set) {
  auto members = std::make_unique<CharacterSetMembers>();
  members->set.addAll(set);  // an assignment would copy the freezing as well
  return members;
}

// Frozen sets answer from tables.
Ref<NSCharacterSet> frozen(std::unique_ptr<CharacterSetMembers> members) {
  members->set.freeze();
  return make<NSCharacterSet>(std::move(members));
}

Ref<NSCharacterSet> setOfPattern(const char16_t* pattern) {
  UErrorCode status = U_ZERO_ERROR;
  auto members = std::make_unique<CharacterSetMembers>();
  members->set.applyPattern(icu::UnicodeString(pattern), status);
  return frozen(std::move(members));
}

// The library counts in 32 bits; longer texts are walked in pieces.
std::int32_t pieceLength(std::size_t length) {
  constexpr std::size_t longest = std::size_t{1} << 30U;
  return static_cast<std::int32_t>(std::min(length, longest));
}

USetSpanCondition conditionFor(NSCharacterSet::Run run) {
  return run == NSCharacterSet::Run::OfMembers ? USET_SPAN_SIMPLE : USET_SPAN_NOT_CONTAINED;
}

}  // namespace

Class NSCharacterSet::classObject() {
  static const NSClass object("NSCharacterSet", NSObject::classObject(),
                              {method("invertedSet"_sel, &NSCharacterSet::invertedSet)});
  return &object;
}

Class NSMutableCharacterSet::classObject() {
  static const NSClass object("NSMutableCharacterSet", NSCharacterSet::classObject(), {});
  return &object;
}

NSCharacterSet::NSCharacterSet(std::unique_ptr<CharacterSetMembers> members) : members_(std::move(members)) {}
NSCharacterSet::~NSCharacterSet() = default;

Ref<NSCharacterSet> NSCharacterSet::whitespaceCharacterSet() {
  static const Ref<NSCharacterSet>& set = *new Ref(setOfPattern(u"[\\p{Zs}\\u0009]"));
  return set;
}

Ref<NSCharacterSet> NSCharacterSet::newlineCharacterSet() {
  static const Ref<NSCharacterSet>& set = *new Ref(setOfPattern(u"[\\u000A-\\u000D\\u0085\\u2028\\u2029]"));
  return set;
}

Ref<NSCharacterSet> NSCharacterSet::whitespaceAndNewlineCharacterSet() {
  static const Ref<NSCharacterSet>& set = *new Ref(setOfPattern(u"[\\p{Z}\\u0009-\\u000D\\u0085]"));
  return set;
}

Ref<NSCharacterSet> NSCharacterSet::decimalDigitCharacterSet() {
  static const Ref<NSCharacterSet>& set = *new Ref(setOfPattern(u"[\\p{Nd}]"));
  return set;
}

Ref<NSCharacterSet> NSCharacterSet::letterCharacterSet() {
  static const Ref<NSCharacterSet>& set = *new Ref(setOfPattern(u"[\\p{L}\\p{M}]"));
  return set;
}

Ref<NSCharacterSet> NSCharacterSet::lowercaseLetterCharacterSet() {
  static const Ref<NSCharacterSet>& set = *new Ref(setOfPattern(u"[\\p{Ll}]"));
  return set;
}

Ref<NSCharacterSet> NSCharacterSet::uppercaseLetterCharacterSet() {
  static const Ref<NSCharacterSet>& set = *new Ref(setOfPattern(u"[\\p{Lu}\\p{Lt}]"));
  return set;
}

Ref<NSCharacterSet> NSCharacterSet::alphanumericCharacterSet() {
  static const Ref<NSCharacterSet>& set = *new Ref(setOfPattern(u"[\\p{L}\\p{M}\\p{N}]"));
  return set;
}

Ref<NSCharacterSet> NSCharacterSet::punctuationCharacterSet() {
  static const Ref<NSCharacterSet>& set = *new Ref(setOfPattern(u"[\\p{P}]"));
  return set;
}

Ref<NSCharacterSet> NSCharacterSet::nonBaseCharacterSet() {
  static const Ref<NSCharacterSet>& set = *new Ref(setOfPattern(u"[\\p{M}]"));
  return set;
}

Ref<NSCharacterSet> NSCharacterSet::controlCharacterSet() {
  static const Ref<NSCharacterSet>& set = *new Ref(setOfPattern(u"[\\p{Cc}\\p{Cf}]"));
  return set;
}

Ref<NSCharacterSet> NSCharacterSet::characterSetWithCharactersInString(const Ref<NSString>& text) {
  auto members = std::make_unique<CharacterSetMembers>();
  if (text) members->set.addAll(unicodeString(text->units()));
  return frozen(std::move(members));
}

Ref<NSCharacterSet> NSCharacterSet::characterSetWithRange(NSRange codePoints) {
  auto members = std::make_unique<CharacterSetMembers>();
  constexpr NSUInteger end = 0x110000;
  if (codePoints.location < end && codePoints.length > 0) {
    const NSUInteger last = codePoints.location + std::min(codePoints.length, end - codePoints.location) - 1;
    members->set.add(static_cast<UChar32>(codePoints.location), static_cast<UChar32>(last));
  }
  return frozen(std::move(members));
}

bool NSCharacterSet::characterIsMember(char16_t unit) const { return longCharacterIsMember(unit); }

bool NSCharacterSet::longCharacterIsMember(char32_t codePoint) const {
  return members_->set.contains(static_cast<UChar32>(codePoint)) != 0;
}

Ref<NSCharacterSet> NSCharacterSet::invertedSet() const {
  auto members = copied(members_->set);
  members->set.complement();
  return frozen(std::move(members));
}

NSUInteger NSCharacterSet::endOfRun(std::u16string_view text, NSUInteger index, Run run) const {
  while (index < text.size()) {
    const std::int32_t length = pieceLength(text.size() - index);
    const std::int32_t end = members_->set.span(text.data() + index, length, conditionFor(run));
    index += static_cast<NSUInteger>(end);
    if (end < length) break;
  }
  return index;
}

NSUInteger NSCharacterSet::startOfRun(std::u16string_view text, NSUInteger index, Run run) const {
  while (index > 0) {
    const std::int32_t length = pieceLength(index);
    const NSUInteger pieceStart = index - static_cast<NSUInteger>(length);
    const std::int32_t start = members_->set.spanBack(text.data() + pieceStart, length, conditionFor(run));
    index = pieceStart + static_cast<NSUInteger>(start);
    if (start > 0) break;
  }
  return index;
}

bool NSCharacterSet::isEqual(const id& other) const {
  const auto set = as<NSCharacterSet>(other);
  return set && members_->set == set->members_->set;
}

NSUInteger NSCharacterSet::hash() const { return static_cast<NSUInteger>(members_->set.hashCode()); }
id NSCharacterSet::copy() const { return self(); }
id NSCharacterSet::mutableCopy() const { return make<NSMutableCharacterSet>(copied(members_->set)); }

NSMutableCharacterSet::NSMutableCharacterSet() : NSCharacterSet(std::make_unique<CharacterSetMembers>()) {}

void NSMutableCharacterSet::formUnionWithCharacterSet(const Ref<NSCharacterSet>& other) {
  if (other) members_->set.addAll(other->members_->set);
}

void NSMutableCharacterSet::addCharactersInString(const Ref<NSString>& text) {
  if (text) members_->set.addAll(unicodeString(text->units()));
}

void NSMutableCharacterSet::removeCharactersInString(const Ref<NSString>& text) {
  if (text) members_->set.removeAll(unicodeString(text->units()));
}

void NSMutableCharacterSet::invert() { members_->set.complement(); }
id NSMutableCharacterSet::copy() const { return frozen(copied(members_->set)); }

NSRange NSString::rangeOfCharacterFromSet(const Ref<NSCharacterSet>& set, NSUInteger options) const {
  if (!set) NSException::raise_format(NSInvalidArgumentException(), "nil character set"_ns);
  if (options & NSBackwardsSearch) {
    const NSUInteger end = set->startOfRun(units_, length(), NSCharacterSet::Run::OfOthers);
    if (end == 0) return {NSNotFound, 0};
    const bool pair = end > 1 && foundation::isSurrogatePairAt(units_, end - 2);
    return pair ? NSRange{end - 2, 2} : NSRange{end - 1, 1};
  }
  const NSUInteger start = set->endOfRun(units_, 0, NSCharacterSet::Run::OfOthers);
  if (start == length()) return {NSNotFound, 0};
  return {start, foundation::lengthOfCharacterAt(units_, start)};
}

Ref<NSString> NSString::stringByTrimmingCharactersInSet(const Ref<NSCharacterSet>& set) const {
  if (!set) NSException::raise_format(NSInvalidArgumentException(), "nil character set"_ns);
  const NSUInteger start = set->endOfRun(units_, 0, NSCharacterSet::Run::OfMembers);
  const NSUInteger end = set->startOfRun(units_, length(), NSCharacterSet::Run::OfMembers);
  return start < end ? substringWithRange({start, end - start}) : ""_ns;
}

}  // namespace telvo
