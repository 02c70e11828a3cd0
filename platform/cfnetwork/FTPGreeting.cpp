#include "cfnetwork/FTPGreeting.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "cfnetwork/FTPReply.h"

inline namespace telvo {

namespace cfnetwork {

namespace {

// The first line of a greeting, as these servers write it unless they are told to keep quiet about themselves. A
// server that merely mentions one of the names somewhere does not match.
struct Pattern {
  char ornament;            // stands any number of times before the beginning
  std::string_view begins;  // the line
  std::string_view holds;   // somewhere behind that
  std::string_view ends;
};

// Each is held to what it promises by a test with the real server (tests/end_to_end/test_early_data.py).
constexpr std::array patientServers{
    Pattern{'\0', "(vsFTPd ", "", ")"},
    Pattern{'-', " Welcome to Pure-FTPd ", "--", "-"},
    Pattern{'\0', "ProFTPD ", "Server (", "]"},
};

bool matches(std::string_view line, const Pattern& pattern) {
  line.remove_prefix(std::min(line.find_first_not_of(pattern.ornament), line.size()));
  if (!line.starts_with(pattern.begins) || !line.ends_with(pattern.ends)) return false;
  return line.substr(pattern.begins.size()).find(pattern.holds) != std::string_view::npos;
}

}  // namespace

bool FTPGreetingNamesPatientServer(const FTPReply& greeting) {
  const std::string_view text = greeting.text;
  const std::string_view line = text.substr(0, text.find('\n'));
  return greeting.code == FTPCode::serviceReady &&
         std::ranges::any_of(patientServers, [&](const Pattern& pattern) { return matches(line, pattern); });
}

}  // namespace cfnetwork

}  // namespace telvo
