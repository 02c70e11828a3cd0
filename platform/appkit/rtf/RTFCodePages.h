#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

struct UConverter;

inline namespace telvo {

namespace appkit {

// The code page of text in the font's character set (\fcharset); 0 when the document's own applies.
int codePageOfCharset(int charset);

// Code page of fonts whose bytes are pictures, not letters (\fcharset2).
inline constexpr int symbolCodePage = 42;

// Turns bytes of the code pages that RTF documents are written in into text. One thread at a time.
class RTFDecoder {
 public:
  // Bytes that the code page does not know become U+FFFD; an unknown code page is read as 1252.
  std::u16string decode(std::string_view bytes, int codePage);

 private:
  struct Close {
    void operator()(UConverter* converter) const;
  };
  UConverter* converterFor(int codePage);

  std::unordered_map<int, std::unique_ptr<UConverter, Close>> converters_;
};

}  // namespace appkit

}  // namespace telvo
