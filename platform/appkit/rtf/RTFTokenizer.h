#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

inline namespace telvo {

namespace appkit {

// One piece of an RTF document.
struct RTFToken {
  enum class Kind {
    End,
    GroupStart,
    GroupEnd,
    Word,    // a control word, its letters in `text`
    Symbol,  // a control symbol, its one character in `text`
    Byte,    // \'hh, its value in `parameter`
    Text,    // plain bytes, in `text`
    Binary,  // data that is no text
  };
  Kind kind = Kind::End;
  std::string_view text;
  bool hasParameter = false;
  std::int32_t parameter = 0;  // brought to the nearest limit when the document has a larger number
};

// Cuts the bytes of an RTF document (version 1.9.1) into tokens, whatever they are. The bytes must outlive it.
class RTFTokenizer {
 public:
  explicit RTFTokenizer(std::string_view bytes) : bytes_(bytes) {}

  RTFToken next();

 private:
  RTFToken control();
  RTFToken word();
  RTFToken hexadecimal();
  RTFToken lineEnd(char first);
  std::string_view take(std::size_t count);
  bool readParameter(RTFToken& token);

  std::string_view bytes_;  // what is still to be read
};

}  // namespace appkit

}  // namespace telvo
