#include "foundation/NSScanner.h"

#include "foundation/NSCharacterSet.h"
#include "foundation/NSException.h"

Class NSScanner::classObject() {
  static const NSClass object("NSScanner", NSObject::classObject(),
                              {
                                  method("isAtEnd"_sel, &NSScanner::isAtEnd),
                                  method("scanLocation"_sel, &NSScanner::scanLocation),
                                  method("setScanLocation:"_sel, &NSScanner::setScanLocation),
                              });
  return &object;
}

NSScanner::NSScanner(Ref<NSString> text)
    : text_(std::move(text)), skipped_(NSCharacterSet::whitespaceAndNewlineCharacterSet()) {}

NSScanner::~NSScanner() = default;

Ref<NSScanner> NSScanner::scannerWithString(const Ref<NSString>& text) {
  if (!text) NSException::raise_format(NSInvalidArgumentException(), "nil string argument"_ns);
  return make<NSScanner>(as<NSString>(text->copy()));
}

void NSScanner::setScanLocation(NSUInteger location) {
  if (location > text_->length()) {
    NSException::raise_format(NSRangeException(), "scan location %lu out of bounds; string length %lu"_ns, location,
                              text_->length());
  }
  location_ = location;
}

bool NSScanner::isAtEnd() const { return startOfNextPiece() == text_->length(); }

Ref<NSString> NSScanner::scanString(const Ref<NSString>& text) {
  const NSUInteger start = startOfNextPiece();
  const NSRange rest{start, text_->length() - start};
  const NSRange found = text_->rangeOfString_options_range(text, searchOptions() | NSAnchoredSearch, rest);
  return found.location == NSNotFound ? nil : take(start, NSMaxRange(found));
}

Ref<NSString> NSScanner::scanUpToString(const Ref<NSString>& text) {
  const NSUInteger start = startOfNextPiece();
  const NSRange rest{start, text_->length() - start};
  const NSRange found = text_->rangeOfString_options_range(text, searchOptions(), rest);
  return take(start, found.location == NSNotFound ? text_->length() : found.location);
}

Ref<NSString> NSScanner::scanCharactersFromSet(const Ref<NSCharacterSet>& set) {
  const NSUInteger start = startOfNextPiece();
  return set ? take(start, set->endOfRun(text_->units(), start, true)) : nil;
}

Ref<NSString> NSScanner::scanUpToCharactersFromSet(const Ref<NSCharacterSet>& set) {
  const NSUInteger start = startOfNextPiece();
  return take(start, set ? set->endOfRun(text_->units(), start, false) : text_->length());
}

NSUInteger NSScanner::startOfNextPiece() const {
  return skipped_ ? skipped_->endOfRun(text_->units(), location_, true) : location_;
}

Ref<NSString> NSScanner::take(NSUInteger start, NSUInteger end) {
  if (start == end) return nil;
  location_ = end;
  return text_->substringWithRange({start, end - start});
}
