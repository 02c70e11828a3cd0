#pragma once

#include <string>

// The text with a plain space for each no-break space, as many languages have them between a number and its unit.
inline std::string withPlainSpaces(std::string text) {
  for (const std::string space : {"\u202f", "\u00a0"}) {
    for (std::size_t at = text.find(space); at != std::string::npos; at = text.find(space, at)) {
      text.replace(at, space.size(), " ");
    }
  }
  return text;
}
