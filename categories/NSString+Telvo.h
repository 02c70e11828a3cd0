#pragma once

#include "foundation/runtime/NSRange.h"
#include "foundation/text/NSString.h"

TELVO_NAMESPACE_BEGIN

class NSMutableDictionary;

// Extensions of text: NSString(Telvo), NSString(TelvoInternet), NSString(TelvoFilePath), NSString(TelvoPropertyList)
// and NSMutableString(Telvo). Any thread that may use the receiver. Positions and lengths count UTF-16 units; sets hold
// Unicode characters, so a filter keeps or drops a surrogate pair as a whole unless it says otherwise. Nil for a text
// that may be left out (a prefix, a suffix, a separator, a replacement, a keyword, an alternative) counts as empty; in
// comparisons nil is the same as no text. The receiver is left unchanged and may itself be the result, except where a
// mutable text is asked for.
//
//   telvo_left("index.html"_ns, 5);                                            // "index"
//   telvo_substringToString("page; charset=utf-8"_ns, ";"_ns);                 // "page"
//   telvo_isEquivalentTo("index"_ns, telvo_left("INDEX.HTML"_ns, 5));          // true

// ---- Comparison and tests

// Ignores every space (tabs and line ends count) and what caseInsensitiveCompare() ignores.
NSComparisonResult telvo_caseAndSpaceInsensitiveCompare(const Ref<NSString>& text, const Ref<NSString>& other);
// Compare the lower-case letters of both texts (telvo_lowercasedLettersOnly). A text without any contains nothing and
// is contained nowhere.
bool telvo_containsStringLetters(const Ref<NSString>& text, const Ref<NSString>& other);
bool telvo_isLetterEquivalentToString(const Ref<NSString>& text, const Ref<NSString>& other);

bool telvo_containsSomething(const Ref<NSString>& text);
NSInteger telvo_signedLength(const Ref<NSString>& text);
// The other one unless it is nil: the argument comes before the receiver.
Ref<NSString> telvo_or(const Ref<NSString>& text, const Ref<NSString>& other);
// The piece at that index of the text split on " | "; "" when there is none.
Ref<NSString> telvo_indexedBy(const Ref<NSString>& text, NSInteger index);

// ---- Filters

// Goes unit by unit, as telvo_deleteCharactersInSet does.
Ref<NSString> telvo_stringByRemovingCharactersInSet(const Ref<NSString>& text, const Ref<NSCharacterSet>& set);
Ref<NSString> telvo_digitsOnly(const Ref<NSString>& text);  // of every script
Ref<NSString> telvo_lowercasedLettersOnly(const Ref<NSString>& text);
Ref<NSString> telvo_lowercasedLettersOrDigitsOnly(const Ref<NSString>& text);  // letters without case stay, too
// Without combining marks; what is left stays in decomposed form, so that Hangul comes out as its single letters.
Ref<NSString> telvo_stringByRemovingDiacriticalMarks(const Ref<NSString>& text);

Ref<NSString> telvo_stringByRemovingPrefix(const Ref<NSString>& text, const Ref<NSString>& prefix);
Ref<NSString> telvo_stringByRemovingSuffix(const Ref<NSString>& text, const Ref<NSString>& suffix);
// Only the space character, no tabs or line ends.
Ref<NSString> telvo_stringByDeletingLeadingSpaces_trailingSpaces(const Ref<NSString>& text, bool leading,
                                                                 bool trailing);
// Adds the padding (nil: a space) as many times as units are missing; a padding of more than one unit therefore goes
// beyond the minimum. More than 2^31 units are not added: the receiver is returned as it is.
Ref<NSString> telvo_stringWithMinimumLength_paddedWith_padLeft(const Ref<NSString>& text, NSInteger minimumLength,
                                                               const Ref<NSString>& padding, bool padLeft);
// Drops every double quotation mark and writes "&SP&" for each space between an odd one and the next:
// "say "hi there"" gives "say hi&SP&there".
Ref<NSString> telvo_stringByRemovingQuotesAndSpaces(const Ref<NSString>& text);

// ---- Extraction

// The first (last) units; a count of -3 gives all but the three at the other end.
Ref<NSString> telvo_left(const Ref<NSString>& text, NSInteger count);
Ref<NSString> telvo_right(const Ref<NSString>& text, NSInteger count);
// telvo_left of what begins at the index; "" for an index outside the text.
Ref<NSString> telvo_from_length(const Ref<NSString>& text, NSInteger from, NSInteger length);
// Both ends belong to the result.
Ref<NSString> telvo_from_to(const Ref<NSString>& text, NSInteger from, NSInteger to);
// What stands behind (in front of) the first occurrence of the marker; the receiver when there is none.
Ref<NSString> telvo_substringFromString(const Ref<NSString>& text, const Ref<NSString>& marker);
Ref<NSString> telvo_substringToString(const Ref<NSString>& text, const Ref<NSString>& marker);
// What stands between the first start marker and the next end marker behind it, the markers being part of it when
// inclusive; {NSNotFound, 0} when one of them is missing.
NSRange telvo_rangeFromString_toString(const Ref<NSString>& text, const Ref<NSString>& start, const Ref<NSString>& end);
NSRange telvo_rangeFromString_toString_inclusive(const Ref<NSString>& text, const Ref<NSString>& start,
                                                 const Ref<NSString>& end, bool inclusive);
Ref<NSString> telvo_substringFromString_toString_defaultString(const Ref<NSString>& text, const Ref<NSString>& start,
                                                               const Ref<NSString>& end,
                                                               const Ref<NSString>& defaultString);

// ---- Transforms

// Unit by unit: surrogate pairs and combined characters come out reversed as well.
Ref<NSString> telvo_reverse(const Ref<NSString>& text);
// ROT13 for letters. By design [ \ ] ^ _ { | } ~ and U+007F become letters as well, and of units above 255 only the low
// byte is left.
Ref<NSString> telvo_rotate13(const Ref<NSString>& text);
// Nil when the encoding cannot hold the text.
Ref<NSString> telvo_encodeAsBase64UsingEncoding(const Ref<NSString>& text, NSStringEncoding encoding);
// Ignores characters that are not part of Base64. Nil when the rest is no Base64, or its bytes no text.
Ref<NSString> telvo_decodeFromBase64UsingEncoding(const Ref<NSString>& text, NSStringEncoding encoding);
// 32 hexadecimal digits in upper case, at random.
Ref<NSString> telvo_uuid();
// Breaks every line (at "\n") into pieces of at most that many units, after white space only; a longer word makes a
// longer piece, behind an empty one when it is a line's first. White space stays at the end of its piece. By design the
// last word of a line that has no white space after it is followed by the line's previous run of white space once more,
// and a line whose first word has none after it, or that begins with white space, raises NSInvalidArgumentException.
Ref<NSArray> telvo_componentsSeparatedByLength(const Ref<NSString>& text, NSInteger maximumLength);
// Runs of characters up to a space or tab. Neither line ends nor punctuation inside a run end it, but in front of a run
// both are passed over.
NSUInteger telvo_wordCount(const Ref<NSString>& text);

// ---- Internet

// Decodes every escape. A "%" without two hexadecimal digits behind it stays; bytes that are no UTF-8 are carried as
// NSString says.
Ref<NSString> telvo_stringByReplacingPercentEscapes(const Ref<NSString>& text);
// Escapes everything but ASCII letters, digits and - . _ ~ (as UTF-8, carried bytes as themselves), also "%".
Ref<NSString> telvo_stringByAddingPercentEscapes(const Ref<NSString>& text);
// The same without diacritical marks.
Ref<NSString> telvo_stringByMakingURLSafe(const Ref<NSString>& text);
// Takes out everything from "<" to ">". A "<" that is never closed takes the rest of the text along, and a ">" that is
// left over takes everything in front of it, as the tail of a tag: "a > b" gives " b".
Ref<NSString> telvo_stringByStrippingHTML(const Ref<NSString>& text);
// Completes an address as a person would type it: "example" becomes "https://example.com/". The default scheme
// includes its "://"; nil or empty stands for "https://".
Ref<NSString> telvo_stringByCleaningURL(const Ref<NSString>& text);
Ref<NSString> telvo_stringByCleaningURLWithDefaultScheme(const Ref<NSString>& text, const Ref<NSString>& defaultScheme);
// The completed address as a URL; nil for an empty text and for one that makes no URL.
Ref<NSURL> telvo_urlValue(const Ref<NSString>& text);

// ---- File paths

// A text made fit to be a visible file's name; the default (which may be nil) when nothing is left.
Ref<NSString> telvo_stringByCleaningFilenameWithDefault(const Ref<NSString>& text, const Ref<NSString>& defaultName);
// The receiver itself when the cleaned name is nil.
Ref<NSString> telvo_stringByAppendingPathComponent_cleanWithDefault(const Ref<NSString>& path,
                                                                    const Ref<NSString>& component,
                                                                    const Ref<NSString>& defaultName);

Ref<NSString> telvo_lastPathComponentWithoutExtension(const Ref<NSString>& path);
Ref<NSString> telvo_backupFilePath(const Ref<NSString>& path);  // "/a/b.txt" gives "/a/b~.txt"
// The path itself when nothing exists there, otherwise the first that is free of "a 2.txt", "a 3.txt" ... or, with the
// prefix "copy", of "a copy.txt", "a copy 2.txt" ... A link exists even when its target does not.
Ref<NSString> telvo_uniquePath(const Ref<NSString>& path);
Ref<NSString> telvo_uniquePathWithPrefix(const Ref<NSString>& path, const Ref<NSString>& prefix);
// The expanded path, after making the folders on it that do not exist. Failures to make them are not reported.
Ref<NSString> telvo_validatedDirectoryPath(const Ref<NSString>& path);
// The same for the folder that a file lies in.
Ref<NSString> telvo_validatedFilePath(const Ref<NSString>& path);
// "<APP>" stands for the main bundle's path in a text that begins with it; in others "~" is expanded and "." and ".."
// are resolved.
Ref<NSString> telvo_expandedPath(const Ref<NSString>& path);

Ref<NSString> telvo_abbreviatedPath(const Ref<NSString>& path);

// ---- Numbers as texts (NSString+TelvoFormatting.cpp)
// Numbers have a decimal point and no grouping in every language.

Ref<NSString> telvo_stringWithIntegerValue(NSInteger value);
// With that many decimal places; fewer than none count as none.
Ref<NSString> telvo_stringWithFloatValue_places(double value, NSInteger places);
// With up to six decimal places, zeroes at the end left out: "2.5", "3".
Ref<NSString> telvo_stringWithTruncatedFloatValue(double value);
// The word for a number, without the number: `zero` (unless nil) for exactly 0, `singular` (unless nil) for exactly 1
// and -1, else `plural`, which may be nil.
Ref<NSString> telvo_stringWithIntegerValue_zero_singular_plural(NSInteger value, const Ref<NSString>& zero,
                                                                const Ref<NSString>& singular,
                                                                const Ref<NSString>& plural);
Ref<NSString> telvo_stringWithFloatValue_zero_singular_plural(double value, const Ref<NSString>& zero,
                                                              const Ref<NSString>& singular,
                                                              const Ref<NSString>& plural);
// Padded as telvo_stringWithMinimumLength_paddedWith_padLeft says.
Ref<NSString> telvo_stringWithIntegerValue_minimumLength_paddedWith_padLeft(NSInteger value, NSInteger minimumLength,
                                                                            const Ref<NSString>& padding, bool padLeft);
// The last digits of the number filled up with zeroes to ten: 42 with 4 digits gives "0042". More than ten are not to
// be had, and a number that has more is cut.
Ref<NSString> telvo_stringWithLeadingZeroesForIntegerValue_digits(NSInteger value, NSInteger digits);
// The number of characters of the number in decimal, its sign included.
NSInteger telvo_lengthOfInteger(NSInteger value);

// A span of time in the largest unit of which there is at least one, in English: "1.5 hours". Months have 31 days and
// years 372. Negative spans are told in seconds. A suffix that is not empty follows behind a space.
Ref<NSString> telvo_stringWithTimeInterval(NSTimeInterval seconds);
Ref<NSString> telvo_stringWithTimeInterval_suffix(NSTimeInterval seconds, const Ref<NSString>& suffix);
// Rounded to whole units, halves to the even number: 2.5 days give "2 days", 59.6 seconds "60 seconds".
Ref<NSString> telvo_stringWithRoundedTimeInterval_suffix(NSTimeInterval seconds, const Ref<NSString>& suffix);
// "2 minutes 5 seconds". Minutes or seconds are told when both their words are given. Without words for minutes, a
// minute or more gives nil.
Ref<NSString> telvo_stringWithSeconds_minuteSingular_minutesPlural_secondSingular_secondsPlural(
    NSInteger seconds, const Ref<NSString>& minuteSingular, const Ref<NSString>& minutesPlural,
    const Ref<NSString>& secondSingular, const Ref<NSString>& secondsPlural);

// "Zero KB", "512 bytes", "1.5 KB" and so on in binary multiples, in the user's language (the main bundle's table
// "TelvoOpen").
Ref<NSString> telvo_stringAsBytesWithInteger(NSInteger bytes);

// ---- Versions

// The parts of a version such as "1.10b2": "Version" (the whole), "General" ("1.10", all in front of the first letter),
// "IsGeneral" (the number 1 when there is no letter, else 0), "Major", "Minor" and "Bug" (as texts, those that there
// are), and with a letter "Kind" ("b") and "Stage" ("2", all behind it).
Ref<NSMutableDictionary> telvo_dictionaryWithVersionComponents(const Ref<NSString>& text);
// The "Version" of such a dictionary unless it is empty; else made from the other parts.
Ref<NSString> telvo_versionWithDictionary(const Ref<NSDictionary>& components);
// "1.2b3" or "2.0.1": the bug number unless it is 0; the stage only behind a kind that is not empty.
Ref<NSString> telvo_versionWithMajor_minor_bug_kind_stage(NSInteger major, NSInteger minor, NSInteger bug,
                                                          const Ref<NSString>& kind, NSInteger stage);

// ---- Value maps
// Pairs in a text, "0=none;1=daily;2=weekly". A piece without "=" has itself on both sides.

// The other side of the pair with a side that equals the value's description; of several such pairs the last one's.
// Without any, the default's description, or nil.
Ref<NSString> telvo_mappedFromValue_withDefault(const Ref<NSString>& map, const id& value, const id& defaultValue);
NSInteger telvo_integerMappedFromString_withDefault(const Ref<NSString>& map, const Ref<NSString>& value,
                                                    NSInteger defaultValue);
Ref<NSString> telvo_stringMappedFromInteger_withDefault(const Ref<NSString>& map, NSInteger value,
                                                        const Ref<NSString>& defaultValue);

// ---- Property lists

Ref<NSString> telvo_stringWithBoolValue(bool value);  // "1" or "0"

// ---- Mutable text

// Unit by unit: the halves of a surrogate pair are judged one by one.
void telvo_deleteCharactersInSet(const Ref<NSMutableString>& text, const Ref<NSCharacterSet>& set);

void telvo_replaceAllOccurrencesOf_with(const Ref<NSMutableString>& text, const Ref<NSString>& target,
                                        const Ref<NSString>& replacement);
void telvo_caseInsensitiveReplaceAllOccurrencesOf_with(const Ref<NSMutableString>& text, const Ref<NSString>& target,
                                                       const Ref<NSString>& replacement);
// Only the space character, no tabs or line ends.
void telvo_deleteLeadingSpaces_trailingSpaces(const Ref<NSMutableString>& text, bool leading, bool trailing);
// The first of both that is not empty.
void telvo_appendString_or(const Ref<NSMutableString>& text, const Ref<NSString>& string,
                           const Ref<NSString>& alternative);
// Prefix, keyword and suffix, the separator first unless the receiver is empty; for an empty keyword nothing but the
// alternative.
void telvo_appendSeparator_prefix_keyword_suffix_or(const Ref<NSMutableString>& text, const Ref<NSString>& separator,
                                                    const Ref<NSString>& prefix, const Ref<NSString>& keyword,
                                                    const Ref<NSString>& suffix, const Ref<NSString>& alternative);
void telvo_appendPrefix_keyword_suffix_or(const Ref<NSMutableString>& text, const Ref<NSString>& prefix,
                                          const Ref<NSString>& keyword, const Ref<NSString>& suffix,
                                          const Ref<NSString>& alternative);
// The prefix serves as separator, for lists such as "a, b, c".
void telvo_appendPrefix_keyword(const Ref<NSMutableString>& text, const Ref<NSString>& prefix,
                                const Ref<NSString>& keyword);
// A new text made the same way; nil when keyword and alternative both are.
Ref<NSString> telvo_stringWithPrefix_keyword_suffix_or(const Ref<NSString>& prefix, const Ref<NSString>& keyword,
                                                       const Ref<NSString>& suffix, const Ref<NSString>& alternative);

TELVO_NAMESPACE_END
