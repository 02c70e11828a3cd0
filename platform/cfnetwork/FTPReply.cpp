#include "cfnetwork/FTPReply.h"

#include <algorithm>
#include <array>
#include <charconv>

inline namespace telvo {

namespace cfnetwork {

namespace {

// What a line counts beside its bytes, so that a flood of empty ones ends early.
constexpr std::size_t lineCost = 32;

bool isDigit(char character) { return character >= '0' && character <= '9'; }

// The code that a line begins with, 0 when it does not begin with one.
int codeOf(std::string_view line) {
  if (line.size() < 3 || line[0] < '1' || line[0] > '5' || !isDigit(line[1]) || !isDigit(line[2])) return 0;
  return (line[0] - '0') * 100 + (line[1] - '0') * 10 + (line[2] - '0');
}

template <class Integer>
bool readNumber(std::string_view& text, Integer& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

// The port at the beginning of the text: six numbers with commas between.
std::optional<std::uint16_t> portOfSixNumbers(std::string_view text) {
  std::array<std::uint8_t, 6> numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (i > 0) {
      if (text.empty() || text[0] != ',') return std::nullopt;
      text.remove_prefix(1);
    }
    if (!readNumber(text, numbers[i])) return std::nullopt;
  }
  return static_cast<std::uint16_t>(numbers[4] * 256 + numbers[5]);
}

}  // namespace

void FTPReplyParser::append(std::string_view bytes) {
  while (!bytes.empty() && !damaged_) {
    const std::size_t end = bytes.find('\n');
    const std::string_view piece = bytes.substr(0, end);
    size_ += piece.size() + lineCost;
    damaged_ = size_ > maximumReply;
    line_.append(piece.substr(0, maximumText - std::min(line_.size(), maximumText)));
    if (end == std::string_view::npos) return;
    bytes.remove_prefix(end + 1);
    endLine();
    line_.clear();
  }
}

void FTPReplyParser::endLine() {
  std::string_view line = line_;
  if (line.ends_with('\r')) line.remove_suffix(1);
  const int code = codeOf(line);
  const char separator = line.size() > 3 ? line[3] : ' ';
  if (open_) {
    const bool last = code == open_->code && separator == ' ';
    keep("\n");
    keep(last ? line.substr(std::min<std::size_t>(4, line.size())) : line);
    if (last) complete();
    return;
  }
  if (line.empty()) return;  // some servers put empty lines between replies
  if (code == 0 || (separator != ' ' && separator != '-')) {
    damaged_ = true;
    return;
  }
  open_ = FTPReply{code, std::string(line.substr(std::min<std::size_t>(4, line.size())))};
  if (separator == ' ') complete();
}

void FTPReplyParser::complete() {
  complete_.push_back(std::move(*open_));
  open_.reset();
  size_ = 0;
}

void FTPReplyParser::keep(std::string_view text) {
  open_->text.append(text.substr(0, maximumText - std::min(open_->text.size(), maximumText)));
}

std::optional<FTPReply> FTPReplyParser::next() {
  if (complete_.empty()) return std::nullopt;
  FTPReply reply = std::move(complete_.front());
  complete_.pop_front();
  return reply;
}

std::optional<std::uint16_t> FTPPortFromExtendedPassiveReply(const FTPReply& reply) {
  // "(<d><d><d><port><d>)" with any printable delimiter <d>.
  const std::size_t open = reply.text.find('(');
  if (reply.code != FTPCode::extendedPassiveMode || open == std::string::npos) return std::nullopt;
  std::string_view text = std::string_view(reply.text).substr(open + 1);
  if (text.size() < 5) return std::nullopt;
  const char delimiter = text[0];
  if (delimiter < 33 || delimiter > 126 || isDigit(delimiter) || text[1] != delimiter || text[2] != delimiter) {
    return std::nullopt;
  }
  text.remove_prefix(3);
  std::uint16_t port = 0;
  if (!readNumber(text, port) || port == 0 || text.empty() || text[0] != delimiter) return std::nullopt;
  return port;
}

std::optional<std::uint16_t> FTPPortFromPassiveReply(const FTPReply& reply) {
  if (reply.code != FTPCode::passiveMode) return std::nullopt;
  // Servers differ in what stands around the numbers.
  constexpr std::string_view digits = "0123456789";
  std::string_view text = reply.text;
  while (true) {
    text.remove_prefix(std::min(text.find_first_of(digits), text.size()));
    if (text.empty()) return std::nullopt;
    if (const auto port = portOfSixNumbers(text)) return *port == 0 ? std::nullopt : port;
    text.remove_prefix(std::min(text.find_first_not_of(digits), text.size()));
  }
}

std::optional<std::uint64_t> FTPSizeFromReply(const FTPReply& reply) {
  std::string_view text = reply.text;
  std::uint64_t size = 0;
  if (reply.code != FTPCode::fileStatus || !readNumber(text, size) || !text.empty()) return std::nullopt;
  return size;
}

}  // namespace cfnetwork

}  // namespace telvo
