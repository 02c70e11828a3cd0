#include "foundation/text/EnvironmentLocale.h"

#include <algorithm>
#include <cstdlib>

#include <unicode/locid.h>

inline namespace telvo {

namespace {

// The script that a modifier stands for; empty for all the others ("euro").
std::string_view scriptOfModifier(std::string_view modifier) {
  if (modifier == "latin") return "Latn";
  if (modifier == "cyrillic") return "Cyrl";
  if (modifier == "devanagari") return "Deva";
  return {};
}

std::string withScript(std::string_view name, std::string_view script) {
  const std::size_t end = std::min(name.find('_'), name.size());
  return std::string(name.substr(0, end)) + "_" + std::string(script) + std::string(name.substr(end));
}

}  // namespace

std::string foundation::localeIdentifierFromEnvironmentName(std::string_view name) {
  const std::size_t at = std::min(name.find('@'), name.size());
  const std::string_view modifier = name.substr(std::min(at + 1, name.size()));
  const std::string_view base = name.substr(0, std::min(name.find('.'), at));
  if (base == "C" || base == "POSIX") return {};
  std::string identifier(base);
  // Keywords ("@calendar=buddhist") mean the same in both forms.
  if (modifier.find('=') != std::string_view::npos) identifier.append("@").append(modifier);
  const std::string_view script = scriptOfModifier(modifier);
  if (!script.empty()) identifier = withScript(base, script);
  const icu::Locale locale = icu::Locale::createCanonical(identifier.c_str());
  return locale.isBogus() ? std::string() : locale.getName();
}

std::string_view foundation::environmentLocaleName(const char* category) {
  for (const char* variable : {"LC_ALL", category, "LANG"}) {
    const char* value = std::getenv(variable);
    if (value && *value) return value;
  }
  return {};
}

std::string foundation::environmentLocale(const char* category) {
  return localeIdentifierFromEnvironmentName(environmentLocaleName(category));
}

}  // namespace telvo
