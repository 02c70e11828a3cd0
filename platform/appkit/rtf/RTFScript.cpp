#include "appkit/rtf/RTFScript.h"

#include <algorithm>
#include <array>

#include <unicode/uscript.h>

inline namespace telvo {

namespace {

using appkit::RTFScript;

constexpr std::array<UScriptCode, 7> eastAsianScripts{USCRIPT_HAN,
                                                      USCRIPT_HIRAGANA,
                                                      USCRIPT_KATAKANA,
                                                      USCRIPT_HANGUL,
                                                      USCRIPT_BOPOMOFO,
                                                      USCRIPT_YI,
                                                      USCRIPT_KATAKANA_OR_HIRAGANA};

// Scripts whose letters stand one behind the other from left to right; all others need shaping or run to the left.
constexpr std::array<UScriptCode, 10> westernScripts{USCRIPT_LATIN,    USCRIPT_GREEK,    USCRIPT_CYRILLIC,
                                                     USCRIPT_ARMENIAN, USCRIPT_GEORGIAN, USCRIPT_COPTIC,
                                                     USCRIPT_CHEROKEE, USCRIPT_OGHAM,    USCRIPT_CANADIAN_ABORIGINAL,
                                                     USCRIPT_RUNIC};

constexpr std::array<UScriptCode, 3> noScripts{USCRIPT_COMMON, USCRIPT_INHERITED, USCRIPT_UNKNOWN};

bool isASCIILetter(char16_t unit) { return (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z'); }

bool isBetween(char16_t unit, char16_t first, char16_t last) { return unit >= first && unit <= last; }

// Marks that are drawn as wide as ideographs, and the first halves of the pairs that stand for ideographs.
bool isEastAsianMark(char16_t unit) {
  return isBetween(unit, 0x3000, 0x303F) || isBetween(unit, 0xFE30, 0xFE4F) || isBetween(unit, 0xFF00, 0xFFEF) ||
         isBetween(unit, 0xD840, 0xD8BF);
}

template <class Scripts>
bool contains(const Scripts& scripts, UScriptCode script) {
  return std::ranges::find(scripts, script) != scripts.end();
}

}  // namespace

std::optional<RTFScript> appkit::scriptOfUnit(char16_t unit) {
  if (unit < 0x80) return isASCIILetter(unit) ? std::optional(RTFScript::Western) : std::nullopt;
  if (isEastAsianMark(unit)) return RTFScript::EastAsian;
  UErrorCode status = U_ZERO_ERROR;
  const UScriptCode script = uscript_getScript(unit, &status);
  if (contains(noScripts, script)) return std::nullopt;
  if (contains(eastAsianScripts, script)) return RTFScript::EastAsian;
  return contains(westernScripts, script) ? RTFScript::Western : RTFScript::Complex;
}

bool appkit::containsScript(std::u16string_view units, RTFScript script) {
  return std::ranges::any_of(units, [&](char16_t unit) { return scriptOfUnit(unit) == script; });
}

std::u16string_view appkit::takeScriptRun(std::u16string_view& units, RTFScript& script) {
  if (!units.empty()) script = scriptOfUnit(units.front()).value_or(script);
  const auto end =
      std::ranges::find_if(units, [&](char16_t unit) { return scriptOfUnit(unit).value_or(script) != script; });
  const std::u16string_view run = units.substr(0, static_cast<std::size_t>(end - units.begin()));
  units.remove_prefix(run.size());
  return run;
}

}  // namespace telvo
