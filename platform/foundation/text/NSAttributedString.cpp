#include "foundation/text/NSAttributedString.h"

#include <algorithm>
#include <iterator>

#include "foundation/collections/NSDictionary.h"
#include "foundation/errors/NSException.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

Ref<NSDictionary> attributesFrom(const Ref<NSDictionary>& attributes) {
  static const Ref<NSDictionary>& none = *new Ref<NSDictionary>(NSDictionary::dictionary());
  return attributes && attributes->count() > 0 ? as<NSDictionary>(attributes->copy()) : none;
}

Ref<NSString> textFrom(const Ref<NSString>& string) {
  return string ? as<NSString>(string->copy()) : NSString::string();
}

NSRange intersection(NSRange left, NSRange right) {
  const NSUInteger location = std::max(left.location, right.location);
  return {location, std::min(NSMaxRange(left), NSMaxRange(right)) - location};
}

}  // namespace

Class NSAttributedString::classObject() {
  static const NSClass object(
      "NSAttributedString", NSObject::classObject(),
      {
          method("length"_sel, &NSAttributedString::length),
          method("string"_sel, &NSAttributedString::string),
          method("isEqualToAttributedString:"_sel, &NSAttributedString::isEqualToAttributedString),
      });
  return &object;
}

Class NSMutableAttributedString::classObject() {
  static const NSClass object(
      "NSMutableAttributedString", NSAttributedString::classObject(),
      {
          method("appendAttributedString:"_sel, &NSMutableAttributedString::appendAttributedString),
          method("setAttributedString:"_sel, &NSMutableAttributedString::setAttributedString),
          method("beginEditing"_sel, &NSMutableAttributedString::beginEditing),
          method("endEditing"_sel, &NSMutableAttributedString::endEditing),
      });
  return &object;
}

NSAttributedString::NSAttributedString(const Ref<NSString>& string, const Ref<NSDictionary>& attributes)
    : string_(textFrom(string)) {
  if (string_->length() > 0) runs_.push_back({0, attributesFrom(attributes)});
}

NSAttributedString::NSAttributedString(const Ref<NSAttributedString>& other)
    : string_(other ? other->string() : NSString::string()), runs_(other ? other->runs_ : std::vector<Run>()) {}

NSAttributedString::~NSAttributedString() = default;

NSUInteger NSAttributedString::length() const { return string_->length(); }

Ref<NSString> NSAttributedString::string() const { return string_; }

void NSAttributedString::checkIndex(NSUInteger index) const {
  if (index < length()) return;
  NSException::raise_format(NSRangeException(), "index %lu beyond bounds; string length %lu"_ns, index, length());
}

void NSAttributedString::checkRange(NSRange range) const {
  if (range.location <= length() && range.length <= length() - range.location) return;
  NSException::raise_format(NSRangeException(), "range {%lu, %lu} out of bounds; string length %lu"_ns, range.location,
                            range.length, length());
}

std::size_t NSAttributedString::runIndexAt(NSUInteger index) const {
  const auto next = std::ranges::upper_bound(runs_, index, {}, &Run::location);
  return static_cast<std::size_t>(std::distance(runs_.begin(), next)) - 1;
}

NSRange NSAttributedString::rangeOfRun(std::size_t run) const {
  const NSUInteger end = run + 1 < runs_.size() ? runs_[run + 1].location : length();
  return {runs_[run].location, end - runs_[run].location};
}

NSRange NSAttributedString::rangeAround(std::size_t run, NSRange limit, const SameRun& same) const {
  std::size_t first = run;
  std::size_t last = run;
  while (first > 0 && runs_[first].location > limit.location && same(runs_[first - 1])) --first;
  while (last + 1 < runs_.size() && runs_[last + 1].location < NSMaxRange(limit) && same(runs_[last + 1])) ++last;
  const NSUInteger start = std::max(runs_[first].location, limit.location);
  return {start, std::min(NSMaxRange(rangeOfRun(last)), NSMaxRange(limit)) - start};
}

Ref<NSDictionary> NSAttributedString::attributesAtIndex_effectiveRange(NSUInteger index, NSRange* range) const {
  checkIndex(index);
  const std::size_t run = runIndexAt(index);
  if (range) *range = rangeOfRun(run);
  return runs_[run].attributes;
}

Ref<NSDictionary> NSAttributedString::attributesAtIndex_longestEffectiveRange_inRange(NSUInteger index, NSRange* range,
                                                                                      NSRange limit) const {
  checkIndex(index);
  checkRange(limit);
  const std::size_t run = runIndexAt(index);
  const Ref<NSDictionary>& attributes = runs_[run].attributes;
  if (range) {
    *range = rangeAround(run, limit, [&](const Run& each) { return NSEqualObjects(each.attributes, attributes); });
  }
  return attributes;
}

id NSAttributedString::attribute_atIndex_effectiveRange(const Ref<NSString>& name, NSUInteger index,
                                                        NSRange* range) const {
  return attributesAtIndex_effectiveRange(index, range)->objectForKey(name);
}

id NSAttributedString::attribute_atIndex_longestEffectiveRange_inRange(const Ref<NSString>& name, NSUInteger index,
                                                                       NSRange* range, NSRange limit) const {
  checkIndex(index);
  checkRange(limit);
  const std::size_t run = runIndexAt(index);
  const id value = runs_[run].attributes->objectForKey(name);
  if (range) {
    *range = rangeAround(run, limit,
                         [&](const Run& each) { return NSEqualObjects(each.attributes->objectForKey(name), value); });
  }
  return value;
}

void NSAttributedString::visitRuns(NSRange range, NSUInteger options, const Visit& visit) const {
  checkRange(range);
  const bool reverse = (options & NSAttributedStringEnumerationReverse) != 0;
  NSUInteger start = range.location;
  NSUInteger end = NSMaxRange(range);
  bool stop = false;
  // Runs are looked up afresh each time, because the visitor may have changed the ones it has seen.
  while (!stop) {
    end = std::min(end, length());
    if (start >= end) return;
    const NSRange seen = visit(reverse ? end - 1 : start, {start, end - start}, &stop);
    if (reverse) {
      end = seen.location;
    } else {
      start = NSMaxRange(seen);
    }
  }
}

void NSAttributedString::enumerateAttribute_inRange_options_usingBlock(const Ref<NSString>& name, NSRange range,
                                                                       NSUInteger options,
                                                                       const AttributeBlock& block) const {
  const bool longest = (options & NSAttributedStringEnumerationLongestEffectiveRangeNotRequired) == 0;
  visitRuns(range, options, [&](NSUInteger index, NSRange limit, bool* stop) {
    NSRange seen;
    const id value = longest ? attribute_atIndex_longestEffectiveRange_inRange(name, index, &seen, limit)
                             : attribute_atIndex_effectiveRange(name, index, &seen);
    seen = intersection(seen, limit);
    block(value, seen, stop);
    return seen;
  });
}

void NSAttributedString::enumerateAttributesInRange_options_usingBlock(NSRange range, NSUInteger options,
                                                                       const AttributesBlock& block) const {
  const bool longest = (options & NSAttributedStringEnumerationLongestEffectiveRangeNotRequired) == 0;
  visitRuns(range, options, [&](NSUInteger index, NSRange limit, bool* stop) {
    NSRange seen;
    const auto attributes = longest ? attributesAtIndex_longestEffectiveRange_inRange(index, &seen, limit)
                                    : attributesAtIndex_effectiveRange(index, &seen);
    seen = intersection(seen, limit);
    block(attributes, seen, stop);
    return seen;
  });
}

Ref<NSAttributedString> NSAttributedString::attributedSubstringFromRange(NSRange range) const {
  checkRange(range);
  auto part = make<NSAttributedString>(string()->substringWithRange(range));
  part->runs_.clear();
  if (range.length == 0) return part;
  for (std::size_t run = runIndexAt(range.location); run < runs_.size(); ++run) {
    if (runs_[run].location >= NSMaxRange(range)) break;
    const NSUInteger location = std::max(runs_[run].location, range.location) - range.location;
    part->runs_.push_back({location, runs_[run].attributes});
  }
  return part;
}

bool NSAttributedString::isEqualToAttributedString(const Ref<NSAttributedString>& other) const {
  if (!other || string_->units() != other->string_->units()) return false;
  std::size_t mine = 0;
  std::size_t others = 0;
  // Equal texts may be cut into runs differently, so every overlap of a run here with one there is compared.
  while (mine < runs_.size() && others < other->runs_.size()) {
    if (!NSEqualObjects(runs_[mine].attributes, other->runs_[others].attributes)) return false;
    const NSUInteger myEnd = NSMaxRange(rangeOfRun(mine));
    const NSUInteger otherEnd = NSMaxRange(other->rangeOfRun(others));
    if (myEnd <= otherEnd) ++mine;
    if (otherEnd <= myEnd) ++others;
  }
  return true;
}

Ref<NSString> NSAttributedString::description() const {
  const auto text = NSMutableString::string();
  for (std::size_t run = 0; run < runs_.size(); ++run) {
    text->appendString(string_->substringWithRange(rangeOfRun(run)));
    text->appendString(runs_[run].attributes->description());
  }
  return as<NSString>(text->copy());
}

bool NSAttributedString::isEqual(const id& other) const {
  return isEqualToAttributedString(as<NSAttributedString>(other));
}

NSUInteger NSAttributedString::hash() const { return string_->hash(); }

id NSAttributedString::copy() const { return self(); }

id NSAttributedString::mutableCopy() const { return make<NSMutableAttributedString>(as<NSAttributedString>(self())); }

NSMutableAttributedString::NSMutableAttributedString(const Ref<NSString>& string, const Ref<NSDictionary>& attributes)
    : NSAttributedString(string, attributes) {
  string_ = NSMutableString::stringWithString(string_);
}

NSMutableAttributedString::NSMutableAttributedString(const Ref<NSAttributedString>& other) : NSAttributedString(other) {
  string_ = NSMutableString::stringWithString(string_);
}

Ref<NSString> NSMutableAttributedString::string() const { return as<NSString>(string_->copy()); }

// The index of the run that starts at the location, or of the end, where one is made to start when there is none.
std::size_t NSMutableAttributedString::splitAt(NSUInteger location) {
  if (location == length()) return runs_.size();
  const std::size_t run = runIndexAt(location);
  if (runs_[run].location == location) return run;
  const auto position = runs_.begin() + static_cast<std::ptrdiff_t>(run) + 1;
  runs_.insert(position, Run{location, runs_[run].attributes});
  return run + 1;
}

// Joins each of the runs first...last with the one before it when both are equal.
void NSMutableAttributedString::joinRuns(std::size_t first, std::size_t last) {
  if (editing_ > 0 || runs_.empty()) return;
  first = std::max<std::size_t>(first, 1);
  last = std::min(last, runs_.size() - 1);
  if (first > last) return;
  const auto from = runs_.begin() + static_cast<std::ptrdiff_t>(first) - 1;
  const auto to = runs_.begin() + static_cast<std::ptrdiff_t>(last) + 1;
  const auto equal = [](const Run& left, const Run& right) {
    return NSEqualObjects(left.attributes, right.attributes);
  };
  runs_.erase(std::unique(from, to, equal), to);
}

void NSMutableAttributedString::changeAttributes(NSRange range, const Change& change) {
  checkRange(range);
  if (range.length == 0) return;
  const std::size_t first = splitAt(range.location);
  const std::size_t end = splitAt(NSMaxRange(range));
  Ref<NSDictionary> before;
  Ref<NSDictionary> after;
  for (std::size_t run = first; run < end; ++run) {
    // Runs of one source often share their dictionary; the changed one is then shared as well.
    if (runs_[run].attributes != before) {
      before = runs_[run].attributes;
      after = attributesFrom(change(before));
    }
    runs_[run].attributes = after;
  }
  joinRuns(first, end);
}

void NSMutableAttributedString::setAttributes_range(const Ref<NSDictionary>& attributes, NSRange range) {
  const auto all = attributesFrom(attributes);
  changeAttributes(range, [&](const Ref<NSDictionary>&) { return all; });
}

void NSMutableAttributedString::addAttribute_value_range(const Ref<NSString>& name, const id& value, NSRange range) {
  changeAttributes(range, [&](const Ref<NSDictionary>& attributes) -> Ref<NSDictionary> {
    const auto changed = NSMutableDictionary::dictionaryWithDictionary(attributes);
    changed->setObject_forKey(value, name);
    return changed;
  });
}

void NSMutableAttributedString::addAttributes_range(const Ref<NSDictionary>& added, NSRange range) {
  changeAttributes(range, [&](const Ref<NSDictionary>& attributes) -> Ref<NSDictionary> {
    const auto changed = NSMutableDictionary::dictionaryWithDictionary(attributes);
    changed->addEntriesFromDictionary(added);
    return changed;
  });
}

void NSMutableAttributedString::removeAttribute_range(const Ref<NSString>& name, NSRange range) {
  changeAttributes(range, [&](const Ref<NSDictionary>& attributes) -> Ref<NSDictionary> {
    if (!attributes->objectForKey(name)) return attributes;
    const auto changed = NSMutableDictionary::dictionaryWithDictionary(attributes);
    changed->removeObjectForKey(name);
    return changed;
  });
}

void NSMutableAttributedString::replace(NSRange range, const Ref<NSString>& string, std::vector<Run> runs) {
  const std::size_t first = splitAt(range.location);
  const std::size_t end = splitAt(NSMaxRange(range));
  as<NSMutableString>(string_)->replaceCharactersInRange_withString(range, string);
  for (Run& run : runs) run.location += range.location;
  for (std::size_t run = end; run < runs_.size(); ++run) runs_[run].location += string->length() - range.length;
  const auto position =
      runs_.erase(runs_.begin() + static_cast<std::ptrdiff_t>(first), runs_.begin() + static_cast<std::ptrdiff_t>(end));
  runs_.insert(position, std::make_move_iterator(runs.begin()), std::make_move_iterator(runs.end()));
  joinRuns(first, first + runs.size());
}

void NSMutableAttributedString::replaceCharactersInRange_withString(NSRange range, const Ref<NSString>& string) {
  checkRange(range);
  const auto text = textFrom(string);
  std::vector<Run> runs;
  if (text->length() > 0) {
    const bool takesFromBefore = range.length == 0 && range.location > 0;
    const NSUInteger source = takesFromBefore ? range.location - 1 : range.location;
    runs.push_back({0, length() > 0 ? runs_[runIndexAt(source)].attributes : attributesFrom(nil)});
  }
  replace(range, text, std::move(runs));
}

void NSMutableAttributedString::deleteCharactersInRange(NSRange range) {
  replaceCharactersInRange_withString(range, nil);
}

void NSMutableAttributedString::replaceCharactersInRange_withAttributedString(NSRange range,
                                                                              const Ref<NSAttributedString>& other) {
  checkRange(range);
  // A copy first: the other one may be this very object.
  const auto source = make<NSAttributedString>(other);
  replace(range, source->string(), source->runs_);
}

void NSMutableAttributedString::appendAttributedString(const Ref<NSAttributedString>& other) {
  insertAttributedString_atIndex(other, length());
}

void NSMutableAttributedString::insertAttributedString_atIndex(const Ref<NSAttributedString>& other, NSUInteger index) {
  replaceCharactersInRange_withAttributedString({index, 0}, other);
}

void NSMutableAttributedString::setAttributedString(const Ref<NSAttributedString>& other) {
  replaceCharactersInRange_withAttributedString({0, length()}, other);
}

void NSMutableAttributedString::beginEditing() { ++editing_; }

void NSMutableAttributedString::endEditing() {
  if (editing_ == 0 || --editing_ > 0) return;
  joinRuns(0, runs_.size());
}

id NSMutableAttributedString::copy() const { return make<NSAttributedString>(as<NSAttributedString>(self())); }

}  // namespace telvo
