#include "telvo/owner/Encryption.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string_view>

#include "telvo/owner/GLibObjects.h"

namespace telvo {

namespace {

bool isFingerprint(std::string text) {
  constexpr std::size_t digits = 64;
  std::erase(text, ':');
  return text.size() == digits && std::ranges::all_of(text, [](char digit) { return g_ascii_isxdigit(digit) != 0; });
}

// A conversation with an FTP server, without a login. Whatever goes wrong makes the replies
// empty.
class Conversation {
 public:
  explicit Conversation(const std::string& host) {
    constexpr guint16 usualPort = 21;
    const Object<GSocketClient> client(g_socket_client_new());
    connection_.reset(g_socket_client_connect_to_uri(client.get(), ("ftp://" + host).c_str(), usualPort,
                                                     limit_.cancellable(), nullptr));
  }

  // With its line ends.
  std::string reply() {
    constexpr std::size_t most = 65'536;
    std::string text;
    while (connection_ && !isComplete(text) && text.size() < most) {
      gchar buffer[4096];
      const gssize size = g_input_stream_read(g_io_stream_get_input_stream(G_IO_STREAM(connection_.get())), buffer,
                                              sizeof buffer, limit_.cancellable(), nullptr);
      if (size <= 0) return {};
      text.append(buffer, static_cast<std::size_t>(size));
    }
    return text;
  }

  void say(const std::string& command) {
    if (!connection_) return;
    g_output_stream_write_all(g_io_stream_get_output_stream(G_IO_STREAM(connection_.get())), command.data(),
                              command.size(), nullptr, limit_.cancellable(), nullptr);
  }

 private:
  // Of a reply's last line, the code is followed by a blank.
  static bool isComplete(std::string_view text) {
    if (!text.ends_with('\n')) return false;
    text.remove_suffix(1);
    const std::string_view last = text.substr(text.rfind('\n') + 1);
    return last.size() > 3 && last[3] == ' ' &&
           std::ranges::all_of(last.substr(0, 3), [](char digit) { return g_ascii_isdigit(digit) != 0; });
  }

  TimeLimit limit_{std::chrono::seconds(5)};
  Object<GSocketConnection> connection_;
};

}  // namespace

void checkEncryption(const Upload& upload) {
  const bool hasDetails = !upload.certificateAuthority.empty() || !upload.fingerprint.empty() ||
                          !upload.certificate.empty() || !upload.key.empty();
  if (upload.security == Security::none && hasDetails) {
    throw std::invalid_argument("a certificate, an authority or a fingerprint is of no use without encryption");
  }
  if (!upload.fingerprint.empty() && !isFingerprint(upload.fingerprint)) {
    throw std::invalid_argument("\"" + upload.fingerprint +
                                "\" is not a SHA-256 fingerprint: 64 hexadecimal digits, with or without colons");
  }
  if (!upload.key.empty() && upload.certificate.empty()) {
    throw std::invalid_argument("a key is of no use without its certificate");
  }
  for (const std::string* const path : {&upload.certificateAuthority, &upload.certificate, &upload.key}) {
    if (!path->empty() && !std::filesystem::exists(*path)) throw std::invalid_argument(*path + " does not exist");
  }
}

// Asked for its features instead, Pure-FTPd names encryption also where it has no certificate to do it with.
bool offersEncryption(const std::string& host) {
  Conversation server(host);
  if (!server.reply().starts_with("220")) return false;
  server.say("AUTH TLS\r\n");
  return server.reply().starts_with("234");
}

}  // namespace telvo
