#include "telvo/owner/Login.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <vector>

#include <sys/stat.h>

#include "telvo/owner/GLibObjects.h"
#ifdef TELVO_HAS_LIBSECRET
#include <libsecret/secret.h>
#endif

namespace telvo {

namespace {

// The words of the file; a quoted one may hold blanks and escaped quotes. A macro's definition goes to the next empty
// line and is passed over.
class Words {
 public:
  explicit Words(std::istream& file) : file_(file) {}

  std::optional<std::string> next() {
    std::string word;
    file_ >> std::ws;
    if (file_.peek() == '"') return quoted();
    if (!(file_ >> word)) return std::nullopt;
    return word;
  }

  void passLine() {
    std::string line;
    std::getline(file_, line);
  }

  void passMacro() {
    std::string line;
    std::getline(file_, line);
    while (std::getline(file_, line) && !line.empty()) continue;
  }

 private:
  std::string quoted() {
    std::string word;
    file_.get();
    for (char character = 0; file_.get(character) && character != '"';) {
      if (character == '\\' && !file_.get(character)) break;
      word.push_back(character);
    }
    return word;
  }

  std::istream& file_;
};

struct Entry {
  std::string host;
  bool isDefault = false;
  std::map<std::string, std::string> values;

  bool isFor(const std::string& wantedHost, const std::string& wantedUser) const {
    const auto user = values.find("login");
    if (!isDefault && g_ascii_strcasecmp(host.c_str(), wantedHost.c_str()) != 0) return false;
    return wantedUser.empty() ? user != values.end() : user == values.end() || user->second == wantedUser;
  }
};

std::vector<Entry> readEntries(std::istream& file) {
  std::vector<Entry> entries;
  Words words(file);
  while (const auto word = words.next()) {
    if (word->starts_with('#'))
      words.passLine();
    else if (*word == "macdef")
      words.passMacro();
    else if (*word == "machine")
      entries.push_back({words.next().value_or(""), false, {}});
    else if (*word == "default")
      entries.push_back({"", true, {}});
    else if (!entries.empty())
      entries.back().values[*word] = words.next().value_or("");
  }
  return entries;
}

}  // namespace

std::string passwordFromFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string line;
  if (!file || (!std::getline(file, line) && !file.eof())) {
    throw std::runtime_error(path + ": " + std::generic_category().message(errno));
  }
  if (line.ends_with('\r')) line.pop_back();
  // The helper would hear of nothing behind it.
  if (line.find('\0') != std::string::npos) throw std::runtime_error(path + ": a password cannot hold a NUL");
  return line;
}

std::optional<std::string> passwordFromEnvironment(const char* variable) {
  std::optional<std::string> password;
  if (const char* const value = std::getenv(variable)) password = value;
  unsetenv(variable);
  return password;
}

std::optional<Login> loginFromNetrc(const std::string& host, const std::string& user) {
  const std::string path = std::string(g_get_home_dir()) + "/.netrc";
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    throw std::runtime_error(path + " is not used, because others may read it (chmod 600 mends that)");
  }
  std::ifstream file(path);
  if (!file) throw std::runtime_error(path + " is not used: " + std::generic_category().message(errno));
  for (const Entry& entry : readEntries(file)) {
    if (!entry.isFor(host, user)) continue;
    const auto valueOf = [&entry](const char* key, const std::string& otherwise) {
      const auto found = entry.values.find(key);
      return found == entry.values.end() ? otherwise : found->second;
    };
    return Login{valueOf("login", user), valueOf("password", "")};
  }
  return std::nullopt;
}

#ifdef TELVO_HAS_LIBSECRET
std::optional<std::string> passwordFromKeyring(const std::string& host, const std::string& user) {
  // File managers save with another schema than secret-tool(1), but with the same attributes.
  SecretSchema schema{};
  schema.name = "org.gnome.keyring.NetworkPassword";
  schema.flags = SECRET_SCHEMA_DONT_MATCH_NAME;
  const char* const attributes[] = {"protocol", "server", "user"};
  for (std::size_t index = 0; index < std::size(attributes); ++index) {
    schema.attributes[index] = {attributes[index], SECRET_SCHEMA_ATTRIBUTE_STRING};
  }
  gchar* const found = secret_password_lookup_sync(&schema, nullptr, nullptr, "protocol", "ftp", "server", host.c_str(),
                                                   "user", user.c_str(), nullptr);
  if (!found) return std::nullopt;
  std::string password(found);
  secret_password_free(found);
  return password;
}
#else
std::optional<std::string> passwordFromKeyring(const std::string&, const std::string&) { return std::nullopt; }
#endif

}  // namespace telvo
