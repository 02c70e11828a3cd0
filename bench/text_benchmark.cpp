// Each text extension on texts of 10 MB: English prose, prose beyond ASCII, and what is hardest on the function.

#include <functional>
#include <string>

#include <benchmark/benchmark.h>

#include "categories/NSDate+Telvo.h"
#include "categories/NSString+Telvo.h"
#include "foundation/Foundation.h"

namespace {

constexpr std::size_t tenMegabytes = 10'000'000;

Ref<NSString> repeated(std::string_view piece) {
  std::string text;
  while (text.size() + piece.size() <= tenMegabytes) text += piece;
  return NSString::stringWithUTF8String(text);
}

const Ref<NSString>& english() {
  static const Ref<NSString> text =
      repeated("The <b>quick</b> brown fox, \"jumps over\" the lazy dog | 100% of 12 times. ");
  return text;
}

const Ref<NSString>& beyondASCII() {
  static const Ref<NSString> text =
      repeated("Crème brûlée, Straße, Ελληνικά ΣΑΣ, 한국어 문장 漢字 😀 İıI ٣٤ e\xcc\x81 > ");
  return text;
}

// Nothing but the beginnings of what the function looks for.
Ref<NSString> run(char character, std::size_t length = tenMegabytes) {
  return NSString::stringWithUTF8String(std::string(length, character));
}

Ref<NSMutableString> editable(const Ref<NSString>& text) { return NSMutableString::stringWithString(text); }

using Use = std::function<void(const Ref<NSString>&)>;

void measure(const char* name, const char* textName, const Ref<NSString>& text, const Use& use) {
  benchmark::RegisterBenchmark((std::string(name) + "/" + textName).c_str(), [text, use](benchmark::State& state) {
    for (auto _ : state) use(text);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(tenMegabytes));
  })->Unit(benchmark::kMillisecond);
}

void measure(const char* name, const Use& use) {
  measure(name, "english", english(), use);
  measure(name, "beyond ASCII", beyondASCII(), use);
}

// For functions that answer a value; the answer is made and let go.
template <class Function, class... Arguments>
Use calling(Function function, Arguments... arguments) {
  return [=](const Ref<NSString>& text) { benchmark::DoNotOptimize(function(text, arguments...)); };
}

// For functions that change a mutable text.
template <class Function, class... Arguments>
Use editing(Function function, Arguments... arguments) {
  return [=](const Ref<NSString>& text) { function(editable(text), arguments...); };
}

void measureComparisonAndFilters() {
  const auto digits = NSCharacterSet::decimalDigitCharacterSet();
  measure("caseAndSpaceInsensitiveCompare", [](const Ref<NSString>& text) {
    benchmark::DoNotOptimize(telvo_caseAndSpaceInsensitiveCompare(text, text));
  });
  measure("containsStringLetters", calling(telvo_containsStringLetters, "not to be found"_ns));
  measure("isLetterEquivalentToString", calling(telvo_isLetterEquivalentToString, "other"_ns));
  measure("indexedBy", calling(telvo_indexedBy, NSIntegerMax));
  measure("indexedBy", "nothing but bars", repeated(" | "), calling(telvo_indexedBy, NSIntegerMax));
  measure("stringByRemovingCharactersInSet", calling(telvo_stringByRemovingCharactersInSet, digits));
  measure("stringByRemovingPrefix", calling(telvo_stringByRemovingPrefix, "The "_ns));
  measure("stringByRemovingSuffix", calling(telvo_stringByRemovingSuffix, ". "_ns));
  measure("digitsOnly", calling(telvo_digitsOnly));
  measure("lowercasedLettersOnly", calling(telvo_lowercasedLettersOnly));
  measure("lowercasedLettersOrDigitsOnly", calling(telvo_lowercasedLettersOrDigitsOnly));
  measure("stringByRemovingDiacriticalMarks", calling(telvo_stringByRemovingDiacriticalMarks));
  measure("stringByRemovingDiacriticalMarks", "nothing but marks", repeated("\u0301\u0323"),
          calling(telvo_stringByRemovingDiacriticalMarks));
  measure("stringByDeletingLeadingSpaces", "nothing but spaces", run(' '),
          calling(telvo_stringByDeletingLeadingSpaces_trailingSpaces, true, true));
  measure("stringWithMinimumLength", "padding", ""_ns,
          calling(telvo_stringWithMinimumLength_paddedWith_padLeft, static_cast<NSInteger>(tenMegabytes), nil, true));
  measure("stringByRemovingQuotesAndSpaces", calling(telvo_stringByRemovingQuotesAndSpaces));
}

void measureExtractionAndTransforms() {
  const auto longTarget = run('a', tenMegabytes / 2)->stringByAppendingString("b"_ns);
  measure("left", calling(telvo_left, -1));
  measure("right", calling(telvo_right, -1));
  measure("from:length:", calling(telvo_from_length, 1, -1));
  measure("from:to:", calling(telvo_from_to, 1, NSIntegerMax));
  measure("substringToString", calling(telvo_substringToString, "not to be found"_ns));
  measure("substringFromString", calling(telvo_substringFromString, "not to be found"_ns));
  measure("substringFromString", "nearly found everywhere", run('a'), calling(telvo_substringFromString, longTarget));
  measure("rangeFromString", calling(telvo_rangeFromString_toString, "The"_ns, "not to be found"_ns));
  measure("rangeFromString inclusive",
          calling(telvo_rangeFromString_toString_inclusive, "The"_ns, "not to be found"_ns, true));
  measure("substringFromString:toString:", "nearly found everywhere", run('a'),
          calling(telvo_substringFromString_toString_defaultString, "a"_ns, longTarget, nil));
  measure("reverse", calling(telvo_reverse));
  measure("rotate13", calling(telvo_rotate13));
  measure("encodeAsBase64", calling(telvo_encodeAsBase64UsingEncoding, NSUTF8StringEncoding));
  measure("decodeFromBase64", "Base64", telvo_encodeAsBase64UsingEncoding(english(), NSUTF8StringEncoding),
          calling(telvo_decodeFromBase64UsingEncoding, NSUTF8StringEncoding));
  measure("componentsSeparatedByLength", calling(telvo_componentsSeparatedByLength, 80));
  measure("componentsSeparatedByLength", "one line", repeated("a b "),
          calling(telvo_componentsSeparatedByLength, NSIntegerMax));
  measure("componentsSeparatedByLength", "empty lines", run('\n'), calling(telvo_componentsSeparatedByLength, 80));
  measure("wordCount", calling(telvo_wordCount));
}

void measureInternetAndPaths() {
  measure("stringByReplacingPercentEscapes", calling(telvo_stringByReplacingPercentEscapes));
  measure("stringByReplacingPercentEscapes", "nothing but escapes", repeated("%C3%A9"),
          calling(telvo_stringByReplacingPercentEscapes));
  measure("stringByAddingPercentEscapes", calling(telvo_stringByAddingPercentEscapes));
  measure("stringByMakingURLSafe", calling(telvo_stringByMakingURLSafe));
  measure("stringByStrippingHTML", calling(telvo_stringByStrippingHTML));
  measure("stringByStrippingHTML", "nothing but openings", run('<'), calling(telvo_stringByStrippingHTML));
  measure("stringByStrippingHTML", "nothing but closings", run('>'), calling(telvo_stringByStrippingHTML));
  measure("stringByCleaningURL", calling(telvo_stringByCleaningURL));
  measure("stringByCleaningURLWithDefaultScheme", calling(telvo_stringByCleaningURLWithDefaultScheme, "ftp://"_ns));
  measure("urlValue", calling(telvo_urlValue));
  measure("urlValue", "address", repeated("a/../b."), calling(telvo_urlValue));
  measure("stringByCleaningFilename", calling(telvo_stringByCleaningFilenameWithDefault, nil));
  measure("stringByCleaningFilename", "nothing but dots", run('.'),
          calling(telvo_stringByCleaningFilenameWithDefault, nil));
  measure("lastPathComponentWithoutExtension", calling(telvo_lastPathComponentWithoutExtension));
  measure("backupFilePath", calling(telvo_backupFilePath));
  measure("stringByAppendingPathComponent", "folder", repeated("a//"),
          calling(telvo_stringByAppendingPathComponent_cleanWithDefault, "b"_ns, nil));
  measure("stringByAppendingPathComponent", "name", run('.'), [](const Ref<NSString>& text) {
    benchmark::DoNotOptimize(telvo_stringByAppendingPathComponent_cleanWithDefault("/a"_ns, text, "b"_ns));
  });
  measure("uniquePath", calling(telvo_uniquePath));
  measure("uniquePathWithPrefix", calling(telvo_uniquePathWithPrefix, "copy"_ns));
  // Nothing can be made there.
  measure("validatedDirectoryPath", "folders", repeated("/proc/telvo/a/"), calling(telvo_validatedDirectoryPath));
  measure("validatedFilePath", "folders", repeated("/proc/telvo/a/"), calling(telvo_validatedFilePath));
  measure("expandedPath", calling(telvo_expandedPath));
  measure("expandedPath", "parents of nothing", repeated("a/../"), calling(telvo_expandedPath));
  measure("expandedPath", "nothing but parents", repeated("/a/.."), calling(telvo_expandedPath));
  measure("expandedPath", "user's name", run('~'), calling(telvo_expandedPath));
  measure("expandedPath", "nothing but tokens", repeated("<APP>"), calling(telvo_expandedPath));
  measure("abbreviatedPath", calling(telvo_abbreviatedPath));
}

void measureMutableText() {
  measure("deleteCharactersInSet", editing(telvo_deleteCharactersInSet, NSCharacterSet::letterCharacterSet()));
  measure("replaceAllOccurrences", editing(telvo_replaceAllOccurrencesOf_with, "e"_ns, "ee"_ns));
  measure("caseInsensitiveReplaceAllOccurrences",
          editing(telvo_caseInsensitiveReplaceAllOccurrencesOf_with, "E"_ns, "ee"_ns));
  measure(
      "caseInsensitiveReplaceAllOccurrences", "nearly found everywhere", run('a'),
      editing(telvo_caseInsensitiveReplaceAllOccurrencesOf_with, run('a', 5000)->stringByAppendingString("b"_ns), nil));
  measure("appendString:or:", editing(telvo_appendString_or, ""_ns, english()));
  measure("appendSeparator:prefix:keyword:suffix:or:",
          editing(telvo_appendSeparator_prefix_keyword_suffix_or, english(), english(), english(), english(), nil));
  measure("appendPrefix:keyword:", editing(telvo_appendPrefix_keyword, ", "_ns, english()));
  measure("deleteLeadingSpaces", "nothing but spaces", run(' '),
          editing(telvo_deleteLeadingSpaces_trailingSpaces, true, true));
}

void measureDates() {
  const auto now = NSDate::date();
  const auto dateText = "2024-03-05T14:07:09"_ns;
  const auto json = [](const Ref<NSString>& text) { benchmark::DoNotOptimize(telvo_dateWithJSONString(text)); };
  measure("dateWithJSONString", json);
  measure("dateWithJSONString", "nothing but spaces", run(' '), json);
  measure("dateWithJSONString", "nothing but digits", run('1'), json);
  measure("dateWithJSONString", "fraction",
          dateText->stringByAppendingString("."_ns)->stringByAppendingString(run('1')), json);
  measure("dateWithJSONString", "old style", "/Date("_ns->stringByAppendingString(run('1')), json);
  measure("dateWithString", calling(telvo_dateWithString));
  measure("dateWithString:format:", calling(telvo_dateWithString_format, "yyyy-MM-dd"_ns));
  const auto pattern = repeated("yyyy-MM-dd HH:mm:ss ");
  measure("dateWithString:format:", "pattern", pattern, [dateText](const Ref<NSString>& text) {
    benchmark::DoNotOptimize(telvo_dateWithString_format(dateText, text));
  });
  measure("stringWithFormat", "pattern", pattern,
          [now](const Ref<NSString>& text) { benchmark::DoNotOptimize(telvo_stringWithFormat(now, text)); });
}

bool registerMeasurements() {
  measureComparisonAndFilters();
  measureExtractionAndTransforms();
  measureInternetAndPaths();
  measureMutableText();
  measureDates();
  return true;
}

[[maybe_unused]] const bool registered = registerMeasurements();

}  // namespace
