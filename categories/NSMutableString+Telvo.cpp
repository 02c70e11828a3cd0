// NSMutableString(Telvo): editing in place, and phrases composed of optional pieces.

#include <algorithm>

#include "categories/NSString+Telvo.h"
#include "foundation/text/NSCharacterSet.h"

inline namespace telvo {

namespace {

void append(const Ref<NSMutableString>& text, const Ref<NSString>& piece) {
  if (telvo_containsSomething(piece)) text->appendString(piece);
}

void replaceAll(const Ref<NSMutableString>& text, const Ref<NSString>& target, const Ref<NSString>& replacement,
                NSUInteger options) {
  if (!text || !target) return;
  text->replaceOccurrencesOfString_withString_options_range(target, replacement ? replacement : ""_ns, options,
                                                            {0, text->length()});
}

const NSCategory category(
    NSMutableString::classObject(),
    {
        method("telvo_deleteCharactersInSet:"_sel, &telvo_deleteCharactersInSet),
        method("telvo_replaceAllOccurrencesOf:with:"_sel, &telvo_replaceAllOccurrencesOf_with),
        method("telvo_caseInsensitiveReplaceAllOccurrencesOf:with:"_sel,
               &telvo_caseInsensitiveReplaceAllOccurrencesOf_with),
        method("telvo_deleteLeadingSpaces:trailingSpaces:"_sel, &telvo_deleteLeadingSpaces_trailingSpaces),
        method("telvo_appendString:or:"_sel, &telvo_appendString_or),
        method("telvo_appendSeparator:prefix:keyword:suffix:or:"_sel, &telvo_appendSeparator_prefix_keyword_suffix_or),
        method("telvo_appendPrefix:keyword:suffix:or:"_sel, &telvo_appendPrefix_keyword_suffix_or),
        method("telvo_appendPrefix:keyword:"_sel, &telvo_appendPrefix_keyword),
    });

}  // namespace

void telvo_deleteCharactersInSet(const Ref<NSMutableString>& text, const Ref<NSCharacterSet>& set) {
  if (!text || !set) return;
  // Deleting the units one by one, from the last to the first, leaves the same and takes quadratic time.
  std::u16string kept;
  kept.reserve(text->length());
  for (const char16_t unit : text->units()) {
    if (!set->characterIsMember(unit)) kept.push_back(unit);
  }
  text->setString(NSString::stringWithUnits(std::move(kept)));
}

void telvo_replaceAllOccurrencesOf_with(const Ref<NSMutableString>& text, const Ref<NSString>& target,
                                        const Ref<NSString>& replacement) {
  replaceAll(text, target, replacement, NSLiteralSearch);
}

void telvo_caseInsensitiveReplaceAllOccurrencesOf_with(const Ref<NSMutableString>& text, const Ref<NSString>& target,
                                                       const Ref<NSString>& replacement) {
  replaceAll(text, target, replacement, NSCaseInsensitiveSearch);
}

void telvo_deleteLeadingSpaces_trailingSpaces(const Ref<NSMutableString>& text, bool leading, bool trailing) {
  if (!text) return;
  if (leading) {
    const std::size_t start = std::min(text->units().find_first_not_of(u' '), text->units().size());
    text->deleteCharactersInRange({0, start});
  }
  if (trailing) {
    const std::size_t end = text->units().find_last_not_of(u' ') + 1;
    text->deleteCharactersInRange({end, text->length() - end});
  }
}

void telvo_appendString_or(const Ref<NSMutableString>& text, const Ref<NSString>& string,
                           const Ref<NSString>& alternative) {
  if (text) append(text, telvo_containsSomething(string) ? string : alternative);
}

void telvo_appendSeparator_prefix_keyword_suffix_or(const Ref<NSMutableString>& text, const Ref<NSString>& separator,
                                                    const Ref<NSString>& prefix, const Ref<NSString>& keyword,
                                                    const Ref<NSString>& suffix, const Ref<NSString>& alternative) {
  if (!text) return;
  if (!telvo_containsSomething(keyword)) {
    append(text, alternative);
    return;
  }
  if (telvo_containsSomething(text)) append(text, separator);
  append(text, prefix);
  append(text, keyword);
  append(text, suffix);
}

void telvo_appendPrefix_keyword_suffix_or(const Ref<NSMutableString>& text, const Ref<NSString>& prefix,
                                          const Ref<NSString>& keyword, const Ref<NSString>& suffix,
                                          const Ref<NSString>& alternative) {
  telvo_appendSeparator_prefix_keyword_suffix_or(text, nil, prefix, keyword, suffix, alternative);
}

void telvo_appendPrefix_keyword(const Ref<NSMutableString>& text, const Ref<NSString>& prefix,
                                const Ref<NSString>& keyword) {
  telvo_appendSeparator_prefix_keyword_suffix_or(text, prefix, nil, keyword, nil, nil);
}

Ref<NSString> telvo_stringWithPrefix_keyword_suffix_or(const Ref<NSString>& prefix, const Ref<NSString>& keyword,
                                                       const Ref<NSString>& suffix, const Ref<NSString>& alternative) {
  if (!keyword && !alternative) return nil;
  const Ref<NSMutableString> text = NSMutableString::string();
  telvo_appendPrefix_keyword_suffix_or(text, prefix, keyword, suffix, alternative);
  return as<NSString>(text->copy());
}

}  // namespace telvo
