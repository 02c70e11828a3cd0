#include <algorithm>
#include <mutex>
#include <string>
#include <unordered_set>

#include "foundation/runtime/NSObjCRuntime.h"

inline namespace telvo {

namespace {

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
};

}  // namespace

SEL SEL::named(std::string_view text) {
  if (text.empty()) return {};
  // Never destroyed: selectors are used until the very end of the process.
  static std::mutex& mutex = *new std::mutex;
  static auto& names = *new std::unordered_set<std::string, TextHash, std::equal_to<>>;
  const std::lock_guard lock(mutex);
  auto found = names.find(text);
  if (found == names.end()) found = names.emplace(text).first;
  return SEL(found->c_str());
}

std::size_t SEL::numberOfArguments() const noexcept {
  return static_cast<std::size_t>(std::ranges::count(text(), ':'));
}

}  // namespace telvo
