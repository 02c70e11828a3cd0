#include "foundation/text/PreferredLanguages.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include <unicode/locid.h>

#include "foundation/text/EnvironmentLocale.h"

inline namespace telvo {

namespace {

void add(std::vector<std::string>& languages, const std::string& language) {
  if (std::ranges::find(languages, language) == languages.end()) languages.push_back(language);
}

// The script is what tells Chinese in Taiwan from Chinese in China, and the environment does not name it.
void addForms(std::vector<std::string>& languages, const std::string& name) {
  icu::Locale locale = icu::Locale::createCanonical(name.c_str());
  const std::string language = locale.getLanguage();
  if (language.empty()) return;
  UErrorCode status = U_ZERO_ERROR;
  const bool hasRegion = *locale.getCountry() != '\0';
  locale.addLikelySubtags(status);
  const std::string script = locale.getScript();
  if (hasRegion) {
    const std::string region = locale.getCountry();
    if (!script.empty()) add(languages, language + "_" + script + "_" + region);
    add(languages, language + "_" + region);
  }
  if (!script.empty()) add(languages, language + "_" + script);
  add(languages, language);
}

}  // namespace

std::vector<std::string> foundation::preferredLanguages() {
  std::vector<std::string> languages;
  const std::string locale = environmentLocale("LC_MESSAGES");
  if (!locale.empty()) {
    const char* value = std::getenv("LANGUAGE");
    std::string_view list = value ? value : "";
    while (!list.empty()) {
      const std::string_view name = list.substr(0, list.find(':'));
      addForms(languages, localeIdentifierFromEnvironmentName(name));
      list.remove_prefix(std::min(name.size() + 1, list.size()));
    }
    addForms(languages, locale);
  }
  add(languages, "en");
  return languages;
}

}  // namespace telvo
