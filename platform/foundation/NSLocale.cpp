#include "foundation/NSLocale.h"

#include <cstdlib>
#include <string>
#include <string_view>

#include <unicode/locid.h>

#include "foundation/NSString.h"

namespace {

std::string_view environmentLocale() {
  for (const char* name : {"LC_ALL", "LC_TIME", "LANG"}) {
    const char* value = std::getenv(name);
    if (value && *value) return value;
  }
  return "C";
}

// The script that a modifier of the C library's locale names stands for; empty for all the others ("euro").
std::string_view scriptOfModifier(std::string_view modifier) {
  if (modifier == "latin") return "Latn";
  if (modifier == "cyrillic") return "Cyrl";
  if (modifier == "devanagari") return "Deva";
  return {};
}

// "sr_RS.UTF-8@latin" is "sr_Latn_RS" here. Keywords ("@calendar=gregorian") are the same in both worlds.
std::string identifierFromEnvironmentLocale(std::string_view name) {
  const std::size_t at = name.find('@');
  const std::string_view modifier = at == std::string_view::npos ? std::string_view() : name.substr(at + 1);
  const std::string_view base = name.substr(0, std::min(name.find('.'), at));
  if (base == "C" || base == "POSIX") return "en_US_POSIX";
  if (modifier.find('=') != std::string_view::npos) return std::string(base) + "@" + std::string(modifier);
  const std::string_view script = scriptOfModifier(modifier);
  std::string identifier(base);
  if (!script.empty())
    identifier.insert(base.find('_') == std::string_view::npos ? base.size() : base.find('_'),
                      "_" + std::string(script));
  return identifier;
}

}  // namespace

Class NSLocale::classObject() {
  static const NSClass object("NSLocale", NSObject::classObject(),
                              {
                                  method("localeIdentifier"_sel, &NSLocale::localeIdentifier),
                              });
  return &object;
}

Ref<NSLocale> NSLocale::currentLocale() {
  return localeWithLocaleIdentifier(
      NSString::stringWithUTF8String(identifierFromEnvironmentLocale(environmentLocale())));
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
