#include <gtest/gtest.h>

#include "categories/NSString+Telvo.h"
#include "foundation/Foundation.h"

namespace {

std::string utf8(const Ref<NSString>& text) { return text ? text->UTF8String() : "(nil)"; }

Ref<NSMutableString> text(std::string_view content) {
  return NSMutableString::stringWithString(NSString::stringWithUTF8String(content));
}

template <class... Arguments>
std::string after(void (*edit)(const Ref<NSMutableString>&, Arguments...), std::string_view content,
                  std::type_identity_t<Arguments>... arguments) {
  const auto edited = text(content);
  edit(edited, arguments...);
  return utf8(edited);
}

TEST(NSMutableStringTelvo, DeletesTheUnitsOfASet) {
  EXPECT_EQ(after(&telvo_deleteCharactersInSet, "1a2b3", NSCharacterSet::decimalDigitCharacterSet()), "ab");
  EXPECT_EQ(after(&telvo_deleteCharactersInSet, "123", NSCharacterSet::decimalDigitCharacterSet()), "");
  EXPECT_EQ(after(&telvo_deleteCharactersInSet, "abc", nil), "abc");
  telvo_deleteCharactersInSet(nil, NSCharacterSet::decimalDigitCharacterSet());
}

TEST(NSMutableStringTelvo, HalvesOfASurrogatePairAreNoMembersOfASetThatHoldsThePair) {
  const auto set = NSCharacterSet::characterSetWithCharactersInString("😀b"_ns);
  EXPECT_EQ(after(&telvo_deleteCharactersInSet, "a😀b", set), "a😀");
  EXPECT_EQ(after(&telvo_deleteCharactersInSet, "a😀b", set->invertedSet()), "b");
}

TEST(NSMutableStringTelvo, ReplacesEveryOccurrenceLiterally) {
  EXPECT_EQ(after(&telvo_replaceAllOccurrencesOf_with, "aXaxa", "a"_ns, "aa"_ns), "aaXaaxaa");
  EXPECT_EQ(after(&telvo_replaceAllOccurrencesOf_with, "Aa", "a"_ns, ""_ns), "A");
  EXPECT_EQ(after(&telvo_replaceAllOccurrencesOf_with, "a.b*c", "."_ns, "\\0"_ns), "a\\0b*c");
  EXPECT_EQ(after(&telvo_replaceAllOccurrencesOf_with, "aaa", "aa"_ns, "b"_ns), "ba");
  EXPECT_EQ(after(&telvo_replaceAllOccurrencesOf_with, "é", "e\u0301"_ns, "x"_ns), "é") << "literal means unit by unit";
}

TEST(NSMutableStringTelvo, ReplacesIgnoringCase) {
  EXPECT_EQ(after(&telvo_caseInsensitiveReplaceAllOccurrencesOf_with, "aXAxa", "A"_ns, "-"_ns), "-X-x-");
  EXPECT_EQ(after(&telvo_caseInsensitiveReplaceAllOccurrencesOf_with, "STRASSE straße", "straße"_ns, "x"_ns), "x x");
  EXPECT_EQ(after(&telvo_caseInsensitiveReplaceAllOccurrencesOf_with, "ΣΑΣ σας", "ς"_ns, "-"_ns), "-Α- -α-");
  EXPECT_EQ(after(&telvo_caseInsensitiveReplaceAllOccurrencesOf_with, "iIıİ", "i"_ns, "-"_ns), "--ıİ");
}

TEST(NSMutableStringTelvo, ReplacingNothingChangesNothing) {
  for (const auto replace : {&telvo_replaceAllOccurrencesOf_with, &telvo_caseInsensitiveReplaceAllOccurrencesOf_with}) {
    EXPECT_EQ(after(replace, "abc", ""_ns, "x"_ns), "abc");
    EXPECT_EQ(after(replace, "abc", nil, "x"_ns), "abc");
    EXPECT_EQ(after(replace, "abc", "b"_ns, nil), "ac");
    replace(nil, "a"_ns, "b"_ns);
  }
}

TEST(NSMutableStringTelvo, DeletesSpacesAtTheEnds) {
  EXPECT_EQ(after(&telvo_deleteLeadingSpaces_trailingSpaces, "  a b  ", true, false), "a b  ");
  EXPECT_EQ(after(&telvo_deleteLeadingSpaces_trailingSpaces, "  a b  ", false, true), "  a b");
  EXPECT_EQ(after(&telvo_deleteLeadingSpaces_trailingSpaces, "  a b  ", true, true), "a b");
  EXPECT_EQ(after(&telvo_deleteLeadingSpaces_trailingSpaces, "  a b  ", false, false), "  a b  ");
  EXPECT_EQ(after(&telvo_deleteLeadingSpaces_trailingSpaces, "   ", true, false), "");
  EXPECT_EQ(after(&telvo_deleteLeadingSpaces_trailingSpaces, "   ", false, true), "");
  EXPECT_EQ(after(&telvo_deleteLeadingSpaces_trailingSpaces, "", true, true), "");
  EXPECT_EQ(after(&telvo_deleteLeadingSpaces_trailingSpaces, "\t a\u00A0\n", true, true), "\t a\u00A0\n");
  telvo_deleteLeadingSpaces_trailingSpaces(nil, true, true);
}

TEST(NSMutableStringTelvo, AppendsTheFirstTextThatIsNotEmpty) {
  EXPECT_EQ(after(&telvo_appendString_or, "x", "a"_ns, "b"_ns), "xa");
  EXPECT_EQ(after(&telvo_appendString_or, "x", ""_ns, "b"_ns), "xb");
  EXPECT_EQ(after(&telvo_appendString_or, "x", nil, "b"_ns), "xb");
  EXPECT_EQ(after(&telvo_appendString_or, "x", nil, ""_ns), "x");
  EXPECT_EQ(after(&telvo_appendString_or, "x", ""_ns, nil), "x");
  telvo_appendString_or(nil, "a"_ns, "b"_ns);
}

TEST(NSMutableStringTelvo, ComposesPhrasesOfOptionalPieces) {
  const auto compose = &telvo_appendSeparator_prefix_keyword_suffix_or;
  EXPECT_EQ(after(compose, "x", ", "_ns, "("_ns, "k"_ns, ")"_ns, "none"_ns), "x, (k)");
  EXPECT_EQ(after(compose, "", ", "_ns, "("_ns, "k"_ns, ")"_ns, "none"_ns), "(k)") << "no separator at the start";
  EXPECT_EQ(after(compose, "x", nil, nil, "k"_ns, nil, nil), "xk");
  EXPECT_EQ(after(compose, "x", ""_ns, ""_ns, "k"_ns, ""_ns, ""_ns), "xk");
}

TEST(NSMutableStringTelvo, AnEmptyKeywordLeavesNothingButTheAlternative) {
  const auto compose = &telvo_appendSeparator_prefix_keyword_suffix_or;
  EXPECT_EQ(after(compose, "x", ", "_ns, "("_ns, ""_ns, ")"_ns, "none"_ns), "xnone");
  EXPECT_EQ(after(compose, "x", ", "_ns, "("_ns, nil, ")"_ns, "none"_ns), "xnone");
  EXPECT_EQ(after(compose, "x", ", "_ns, "("_ns, nil, ")"_ns, ""_ns), "x");
  EXPECT_EQ(after(compose, "x", ", "_ns, "("_ns, nil, ")"_ns, nil), "x");
  compose(nil, ", "_ns, "("_ns, "k"_ns, ")"_ns, "none"_ns);
}

TEST(NSMutableStringTelvo, ComposesWithoutSeparator) {
  const auto compose = &telvo_appendPrefix_keyword_suffix_or;
  EXPECT_EQ(after(compose, "x", "("_ns, "k"_ns, ")"_ns, "none"_ns), "x(k)");
  EXPECT_EQ(after(compose, "", "("_ns, "k"_ns, ")"_ns, "none"_ns), "(k)");
  EXPECT_EQ(after(compose, "x", "("_ns, nil, ")"_ns, "none"_ns), "xnone");
}

TEST(NSMutableStringTelvo, ListsTakeThePrefixAsSeparator) {
  const auto list = NSMutableString::string();
  telvo_appendPrefix_keyword(list, ", "_ns, "a"_ns);
  EXPECT_EQ(utf8(list), "a");
  telvo_appendPrefix_keyword(list, ", "_ns, "b"_ns);
  EXPECT_EQ(utf8(list), "a, b");
  telvo_appendPrefix_keyword(list, ", "_ns, ""_ns);
  telvo_appendPrefix_keyword(list, ", "_ns, nil);
  EXPECT_EQ(utf8(list), "a, b");
}

TEST(NSMutableStringTelvo, MakesAPhraseOutOfNothing) {
  EXPECT_EQ(utf8(telvo_stringWithPrefix_keyword_suffix_or("("_ns, "k"_ns, ")"_ns, "none"_ns)), "(k)");
  EXPECT_EQ(utf8(telvo_stringWithPrefix_keyword_suffix_or("("_ns, nil, ")"_ns, "none"_ns)), "none");
  EXPECT_EQ(utf8(telvo_stringWithPrefix_keyword_suffix_or("("_ns, ""_ns, ")"_ns, nil)), "") << "only nil makes nil";
  EXPECT_EQ(utf8(telvo_stringWithPrefix_keyword_suffix_or("("_ns, nil, ")"_ns, ""_ns)), "");
  EXPECT_EQ(telvo_stringWithPrefix_keyword_suffix_or("("_ns, nil, ")"_ns, nil), nil);
}

TEST(NSMutableStringTelvo, MethodsAnswerToTheirSelectors) {
  const auto edited = text("a");
  edited->performSelector_withObject_withObject("telvo_appendPrefix:keyword:"_sel, ", "_ns, "b"_ns);
  EXPECT_EQ(utf8(edited), "a, b");
  EXPECT_FALSE("a"_ns->respondsToSelector("telvo_appendPrefix:keyword:"_sel));
}

}  // namespace
