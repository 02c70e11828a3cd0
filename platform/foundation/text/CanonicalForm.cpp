#include "foundation/text/CanonicalForm.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <vector>

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include "foundation/text/UTF16.h"

inline namespace telvo {

namespace {

// Below this no character has a decomposition, and none is a combining mark.
constexpr char32_t firstThatDecomposes = 0xC0;

const icu::Normalizer2* decompositions() {
  UErrorCode status = U_ZERO_ERROR;
  return icu::Normalizer2::getNFDInstance(status);
}

// The engine sorts combining marks as it meets them, each into its place: that takes a time by the square of their
// number. Here they are collected up to the next base character, and then sorted by their classes all at once.
class Decomposer {
 public:
  explicit Decomposer(const icu::Normalizer2& forms) : forms_(forms) {}

  std::u16string decompose(std::u16string_view text) {
    result_.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); at += foundation::lengthOfCharacterAt(text, at)) {
      const char32_t character = foundation::characterAt(text, at);
      if (character < firstThatDecomposes) {
        appendMarks();
        result_.push_back(static_cast<char16_t>(character));
      } else if (forms_.getDecomposition(static_cast<UChar32>(character), decomposition_)) {
        const std::u16string_view parts(decomposition_.getBuffer(), static_cast<std::size_t>(decomposition_.length()));
        for (std::size_t part = 0; part < parts.size(); part += foundation::lengthOfCharacterAt(parts, part)) {
          append(foundation::characterAt(parts, part));
        }
      } else {
        append(character);
      }
    }
    appendMarks();
    return std::move(result_);
  }

 private:
  struct Mark {
    char32_t character;
    std::uint8_t combiningClass;
  };

  void append(char32_t character) {
    const std::uint8_t combiningClass = forms_.getCombiningClass(static_cast<UChar32>(character));
    if (combiningClass != 0) {
      marks_.push_back({character, combiningClass});
      return;
    }
    appendMarks();
    foundation::appendCharacter(result_, character);
  }

  void appendMarks() {
    constexpr std::size_t manyMarks = 64;
    if (marks_.size() > manyMarks) {
      sortManyMarks();
    } else if (marks_.size() > 1) {
      std::ranges::stable_sort(marks_, {}, &Mark::combiningClass);
    }
    for (const Mark& mark : marks_) foundation::appendCharacter(result_, mark.character);
    marks_.clear();
  }

  // Counts how many there are of each class, and so knows where each mark belongs.
  void sortManyMarks() {
    std::array<std::size_t, 256> places{};
    for (const Mark& mark : marks_) ++places[mark.combiningClass];
    std::size_t place = 0;
    for (std::size_t& each : places) place += std::exchange(each, place);
    std::vector<Mark> sorted(marks_.size());
    for (const Mark& mark : marks_) sorted[places[mark.combiningClass]++] = mark;
    marks_ = std::move(sorted);
  }

  const icu::Normalizer2& forms_;
  icu::UnicodeString decomposition_;
  std::vector<Mark> marks_;  // since the last base character
  std::u16string result_;
};

bool isItsOwnDecomposition(std::u16string_view text) {
  return std::ranges::all_of(text, [](char16_t unit) { return unit < firstThatDecomposes; });
}

}  // namespace

std::u16string foundation::canonicallyDecomposed(std::u16string_view text) {
  const icu::Normalizer2* forms = isItsOwnDecomposition(text) ? nullptr : decompositions();
  return forms ? Decomposer(*forms).decompose(text) : std::u16string(text);
}

std::u16string foundation::canonicallyComposed(std::u16string_view text) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* forms = icu::Normalizer2::getNFCInstance(status);
  if (U_FAILURE(status) || isItsOwnDecomposition(text)) return std::u16string(text);
  // Marks that are in order already are what the engine takes in linear time.
  const std::u16string decomposed = canonicallyDecomposed(text);
  const icu::UnicodeString units(false, decomposed.data(), static_cast<std::int32_t>(decomposed.size()));
  const icu::UnicodeString composed = forms->normalize(units, status);
  if (U_FAILURE(status)) return std::u16string(text);
  return {composed.getBuffer(), static_cast<std::size_t>(composed.length())};
}

}  // namespace telvo
