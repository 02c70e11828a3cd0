#pragma once

#include <cstdint>
#include <string>

// Bytes without a pattern, the same in every run.
inline std::string contentOfSize(std::size_t size) {
  std::string content(size, '\0');
  std::uint32_t state = 1;
  for (char& byte : content) {
    state = state * 1664525U + 1013904223U;
    byte = static_cast<char>(state >> 24U);
  }
  return content;
}
