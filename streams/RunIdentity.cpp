#include "streams/RunIdentity.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

inline namespace telvo {

namespace streams {

namespace {

using foundation::FileDescriptor;

// FNV-1a, of each part and its length: no two lists of parts run together into the same bytes.
class Hash {
 public:
  Hash& add(std::string_view part) {
    addBytes(part);
    return addNumber(part.size());
  }
  Hash& addNumber(std::uint64_t number) {
    std::array<char, sizeof number> bytes;
    std::memcpy(bytes.data(), &number, sizeof number);
    addBytes({bytes.data(), bytes.size()});
    return *this;
  }
  std::string text() const {
    std::array<char, 17> digits;
    std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(value_));
    return digits.data();
  }

 private:
  void addBytes(std::string_view bytes) {
    for (const char byte : bytes) value_ = (value_ ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
  }

  std::uint64_t value_ = 0xcbf29ce484222325U;
};

// The computer and the user on it. Copies of a system's image may share its id, but hardly the name as well.
Hash ofUser() {
  std::array<char, 256> name{};
  gethostname(name.data(), name.size() - 1);
  constexpr std::size_t longestId = 64;
  const auto id = foundation::contentsOfFile("/etc/machine-id", longestId);
  return Hash().add(id.value_or("")).add(name.data()).addNumber(getuid());
}

// Takes a name that only one process at a time can have, and that the system frees with the process, however it ends:
// a socket's without a file. Nothing when another one has it, or when there are no such sockets.
FileDescriptor claim(const std::string& name) {
  FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  // What begins with a NUL is no file.
  const std::size_t length = std::min(name.size(), sizeof address.sun_path - 1);
  std::memcpy(address.sun_path + 1, name.data(), length);
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + length);
  const bool isMine = socket && bind(socket.get(), reinterpret_cast<sockaddr*>(&address), size) == 0;
  return isMine ? std::move(socket) : FileDescriptor();
}

}  // namespace

RunIdentity::RunIdentity(const std::string& source, const std::string& place) {
  const Hash upload = ofUser().add(source).add(place);
  // More of the same upload at a time get one that nobody has had before.
  constexpr std::uint64_t mostAtATime = 16;
  for (std::uint64_t number = 0; number < mostAtATime && !claim_; ++number) {
    text_ = Hash(upload).addNumber(number).text();
    claim_ = claim("com.telvo.upload." + text_);
  }
  if (claim_) return;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  text_ = Hash(upload)
              .addNumber(static_cast<std::uint64_t>(getpid()))
              .addNumber(static_cast<std::uint64_t>(now.tv_sec))
              .addNumber(static_cast<std::uint64_t>(now.tv_nsec))
              .text();
}

}  // namespace streams

}  // namespace telvo
