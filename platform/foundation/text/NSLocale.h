#pragma once

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSString;

// A language with the customs of a region, such as "de_AT". Immutable, any thread.
class NSLocale : public NSObject {
  NS_OBJECT(NSLocale, NSObject)

 public:
  explicit NSLocale(Ref<NSString> localeIdentifier) : localeIdentifier_(std::move(localeIdentifier)) {}

  // The user's locale: the first of LC_ALL, LC_TIME and LANG that is set to something, read anew on every call.
  // "C", "POSIX", what is no name and no setting at all give "en_US_POSIX".
  static Ref<NSLocale> currentLocale();
  // Never nil: a text that names no language gives the locale "", whose texts are language-neutral where they can be.
  static Ref<NSLocale> localeWithLocaleIdentifier(const Ref<NSString>& identifier);

  // In canonical form: "de_AT", "sr_Latn_RS", "th_TH@calendar=gregorian".
  const Ref<NSString>& localeIdentifier() const { return localeIdentifier_; }

  Ref<NSString> description() const override { return localeIdentifier_; }
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override { return self(); }
  bool conformsToCopying() const override { return true; }

 private:
  Ref<NSString> localeIdentifier_;
};

TELVO_NAMESPACE_END
