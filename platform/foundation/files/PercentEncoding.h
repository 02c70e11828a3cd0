#pragma once

#include <string>
#include <string_view>

#include "foundation/runtime/Namespace.h"

inline namespace telvo {

// Percent escapes of URLs, on bytes (RFC 3986, section 2). Any thread.
namespace foundation {

// Classes of ASCII characters by their role in a URL; combined with |.
enum URLCharacters : unsigned {
  URLUnreserved = 1U,     // letters, digits and - . _ ~
  URLSubDelimiters = 2U,  // ! $ & ' ( ) * + , ; =
  URLColon = 4U,          // :
  URLAt = 8U,             // @
  URLSlash = 16U,         // /
  URLQuestionMark = 32U,  // ?
  URLHexadecimal = 64U,   // digits and a-f in either case
  URLPathCharacters = URLUnreserved | URLSubDelimiters | URLColon | URLAt | URLSlash,
  URLQueryCharacters = URLPathCharacters | URLQuestionMark,
};

// Whether the byte belongs to one of the classes; no byte above 127 does.
bool isURLCharacter(char byte, unsigned classes);

// The bytes with every byte outside the classes written as "%" and two upper-case hexadecimal digits.
TELVO_EXPORTED_TO_LAYERS std::string percentEncoded(std::string_view bytes, unsigned allowedClasses);

// Every escape replaced by its byte. A "%" that two hexadecimal digits do not follow stays as it is.
TELVO_EXPORTED_TO_LAYERS std::string percentDecoded(std::string_view text);

// Whether every byte belongs to the classes or to a complete escape.
bool isPercentEncoded(std::string_view text, unsigned allowedClasses);

}  // namespace foundation

}  // namespace telvo
