#include "foundation/text/Collation.h"

#include <memory>
#include <string>

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include "foundation/text/EnvironmentLocale.h"

inline namespace telvo {

namespace {

std::unique_ptr<icu::Collator> makeCollator(std::string_view environmentName) {
  const icu::Locale locale(foundation::localeIdentifierFromEnvironmentName(environmentName).c_str());
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(locale, status));
  if (!collator) return nullptr;
  collator->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
  collator->setAttribute(UCOL_STRENGTH, UCOL_IDENTICAL, status);
  return collator;
}

// Opening a collator costs far more than a comparison, so each thread keeps the last one.
const icu::Collator* currentCollator() {
  thread_local std::string keptName;
  thread_local std::unique_ptr<icu::Collator> kept;
  const std::string_view name = foundation::environmentLocaleName("LC_COLLATE");
  if (!kept || keptName != name) {
    kept = makeCollator(name);
    keptName = name;
  }
  return kept.get();
}

NSComparisonResult comparisonResult(int order) {
  return order < 0 ? NSOrderedAscending : order > 0 ? NSOrderedDescending : NSOrderedSame;
}

icu::UnicodeString unicodeString(std::u16string_view units) {
  return {false, units.data(), static_cast<std::int32_t>(units.size())};
}

}  // namespace

NSComparisonResult foundation::compareInFileBrowserOrder(std::u16string_view left, std::u16string_view right) {
  if (const icu::Collator* collator = currentCollator()) {
    UErrorCode status = U_ZERO_ERROR;
    const UCollationResult order = collator->compare(unicodeString(left), unicodeString(right), status);
    if (U_SUCCESS(status)) return comparisonResult(order);
  }
  return comparisonResult(left.compare(right));
}

}  // namespace telvo
