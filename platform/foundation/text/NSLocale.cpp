#include "foundation/text/NSLocale.h"

#include <string>

#include <unicode/locid.h>

#include "foundation/text/EnvironmentLocale.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

Class NSLocale::classObject() {
  static const NSClass object("NSLocale", NSObject::classObject(),
                              {
                                  method("localeIdentifier"_sel, &NSLocale::localeIdentifier),
                              });
  return &object;
}

Ref<NSLocale> NSLocale::currentLocale() {
  const std::string identifier = foundation::environmentLocale("LC_TIME");
  return make<NSLocale>(identifier.empty() ? "en_US_POSIX"_ns : NSString::stringWithUTF8String(identifier));
}

Ref<NSLocale> NSLocale::localeWithLocaleIdentifier(const Ref<NSString>& identifier) {
  const std::string name = identifier ? identifier->UTF8String() : std::string();
  const icu::Locale locale = icu::Locale::createCanonical(name.c_str());
  return make<NSLocale>(locale.isBogus() ? NSString::string() : NSString::stringWithUTF8String(locale.getName()));
}

bool NSLocale::isEqual(const id& other) const {
  const auto locale = as<NSLocale>(other);
  return locale && localeIdentifier_->isEqualToString(locale->localeIdentifier_);
}

NSUInteger NSLocale::hash() const { return localeIdentifier_->hash(); }

}  // namespace telvo
