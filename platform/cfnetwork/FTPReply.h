#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

inline namespace telvo {

namespace cfnetwork {

// A server's reply (RFC 959, section 4.2).
struct FTPReply {
  int code = 0;      // 100 to 599
  std::string text;  // without the codes, lines joined by line feeds; a very long text is cut

  bool isPreliminary() const { return code < 200; }
  bool isCompletion() const { return code >= 200 && code < 300; }
  bool isIntermediate() const { return code >= 300 && code < 400; }
  bool isRefusal() const { return code >= 400; }
};

// The codes that say more than their first digit (RFC 959, RFC 2228, RFC 2428, RFC 3659).
namespace FTPCode {

inline constexpr int fileStatus = 213;  // of SIZE: the size
inline constexpr int serviceReady = 220;
inline constexpr int passiveMode = 227;
inline constexpr int extendedPassiveMode = 229;
inline constexpr int securityDataAccepted = 234;  // of AUTH: the handshake comes next
inline constexpr int passwordNeeded = 331;
inline constexpr int serviceNotAvailable = 421;
inline constexpr int noDataConnection = 425;
inline constexpr int syntaxError = 500;
inline constexpr int notLoggedIn = 530;
inline constexpr int fileUnavailable = 550;

}  // namespace FTPCode

// Cuts what a server sends into replies, however it is split into packets. Memory is bounded whatever is sent.
class FTPReplyParser {
 public:
  // The longest text that a reply keeps, in bytes; the rest of a longer one is read and dropped.
  static constexpr std::size_t maximumText = 4096;
  // The most bytes that a reply may have; a server that sends more without an end is not waited for.
  static constexpr std::size_t maximumReply = 32 << 20;

  void append(std::string_view bytes);

  // The oldest complete reply that was not taken yet.
  std::optional<FTPReply> next();

  // Whether nothing has come that next() has not given, not even a part of a reply.
  bool isEmpty() const { return line_.empty() && !open_ && complete_.empty() && size_ == 0; }
  // Whether something came that is no reply, or one without an end; what follows it is not looked at.
  bool isDamaged() const { return damaged_; }

 private:
  void endLine();
  void keep(std::string_view text);
  void complete();

  std::string line_;              // its beginning, as far as it is kept
  std::optional<FTPReply> open_;  // a reply of several lines, until its last line
  std::size_t size_ = 0;          // of the reply under way
  std::deque<FTPReply> complete_;
  bool damaged_ = false;
};

// The port in a reply to EPSV (229, RFC 2428), or nothing when it is malformed or 0.
std::optional<std::uint16_t> FTPPortFromExtendedPassiveReply(const FTPReply& reply);
// The port in a reply to PASV (227). The address in it is not looked at: data goes to the server that was asked.
std::optional<std::uint16_t> FTPPortFromPassiveReply(const FTPReply& reply);
// The number of bytes in a reply to SIZE (213, RFC 3659), or nothing when it is malformed.
std::optional<std::uint64_t> FTPSizeFromReply(const FTPReply& reply);

}  // namespace cfnetwork

}  // namespace telvo
