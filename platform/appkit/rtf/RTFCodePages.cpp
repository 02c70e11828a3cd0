#include "appkit/rtf/RTFCodePages.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>

inline namespace telvo {

namespace {

constexpr int westernCodePage = 1252;

constexpr std::array<std::pair<int, int>, 29> codePagesByCharset{{
    {0, westernCodePage}, {2, appkit::symbolCodePage},
    {77, 10000},          {78, 10001},
    {79, 10003},          {80, 10008},
    {81, 10002},          {83, 10005},
    {84, 10004},          {85, 10006},
    {86, 10081},          {87, 10021},
    {88, 10029},          {89, 10007},
    {128, 932},           {129, 949},
    {134, 936},           {136, 950},
    {161, 1253},          {162, 1254},
    {163, 1258},          {177, 1255},
    {178, 1256},          {186, 1257},
    {204, 1251},          {222, 874},
    {238, 1250},          {254, 437},
    {255, 850},
}};

// ICU's names for what is not called "windows-" or "ibm-" and the number.
constexpr std::array<std::pair<int, const char*>, 17> otherNames{{
    {708, "ISO-8859-6"},
    {819, "ISO-8859-1"},
    {10000, "macintosh"},
    {10001, "windows-932"},
    {10002, "windows-950"},
    {10003, "windows-949"},
    {10004, "windows-1256"},
    {10005, "windows-1255"},
    {10006, "x-mac-greek"},
    {10007, "x-mac-cyrillic"},
    {10008, "windows-936"},
    {10021, "windows-874"},
    {10029, "x-mac-centraleurroman"},
    {10081, "x-mac-turkish"},
    {20866, "KOI8-R"},
    {54936, "gb18030"},
    {65001, "UTF-8"},
}};

std::string converterName(int codePage) {
  const auto* const other = std::ranges::find(otherNames, codePage, &std::pair<int, const char*>::first);
  if (other != otherNames.end()) return other->second;
  const bool isWindows = (codePage >= 1250 && codePage <= 1258) || codePage == 874 || codePage == 932 ||
                         codePage == 936 || codePage == 949 || codePage == 950;
  return (isWindows ? "windows-" : "ibm-") + std::to_string(codePage);
}

bool isASCII(std::string_view bytes) {
  return std::ranges::all_of(bytes, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// ICU's own substitute depends on the code page and is a control character in some.
void substitute(const void*, UConverterToUnicodeArgs* arguments, const char*, int32_t, UConverterCallbackReason reason,
                UErrorCode* status) {
  if (reason > UCNV_IRREGULAR) return;
  *status = U_ZERO_ERROR;
  const char16_t replacement = u'\uFFFD';
  ucnv_cbToUWriteUChars(arguments, &replacement, 1, 0, status);
}

}  // namespace

int appkit::codePageOfCharset(int charset) {
  const auto* const found = std::ranges::find(codePagesByCharset, charset, &std::pair<int, int>::first);
  return found == codePagesByCharset.end() ? 0 : found->second;
}

void appkit::RTFDecoder::Close::operator()(UConverter* converter) const { ucnv_close(converter); }

UConverter* appkit::RTFDecoder::converterFor(int codePage) {
  auto known = converters_.find(codePage);
  if (known == converters_.end()) {
    UErrorCode status = U_ZERO_ERROR;
    UConverter* const opened = ucnv_open(converterName(codePage).c_str(), &status);
    if (U_SUCCESS(status)) ucnv_setToUCallBack(opened, substitute, nullptr, nullptr, nullptr, &status);
    known = converters_.emplace(codePage, std::unique_ptr<UConverter, Close>(opened)).first;
  }
  if (known->second || codePage == westernCodePage) return known->second.get();
  return converterFor(westernCodePage);
}

std::u16string appkit::RTFDecoder::decode(std::string_view bytes, int codePage) {
  // All code pages here contain ASCII, and most text is nothing else.
  if (isASCII(bytes)) return {bytes.begin(), bytes.end()};
  UConverter* const converter = converterFor(codePage);
  if (!converter) return std::u16string(bytes.size(), u'\uFFFD');
  ucnv_reset(converter);
  // No code page here makes more than two units of one byte.
  std::u16string units(bytes.size() * 2 + 2, u'\0');
  char16_t* target = units.data();
  const char* source = bytes.data();
  UErrorCode status = U_ZERO_ERROR;
  ucnv_toUnicode(converter, &target, units.data() + units.size(), &source, bytes.data() + bytes.size(), nullptr, true,
                 &status);
  units.resize(static_cast<std::size_t>(target - units.data()));
  return units;
}

}  // namespace telvo
