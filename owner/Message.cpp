#include "telvo/owner/Message.h"

#include <array>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <regex>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace telvo {

namespace {

class Arguments {
 public:
  void add(const char* key, const std::string& value) {
    if (!value.empty()) list_.insert(list_.end(), {std::string("-") + key, value});
  }
  void add(const char* key, bool isOn) { add(key, std::string(isOn ? "YES" : "")); }
  void add(const char* key, std::int64_t number, std::int64_t usual) {
    if (number != usual) add(key, std::to_string(number));
  }

  std::vector<std::string> take() { return std::move(list_); }

 private:
  std::vector<std::string> list_;
};

std::string lines(const std::vector<std::string>& patterns) {
  std::string result;
  for (const std::string& pattern : patterns) result.append(result.empty() ? "" : "\n").append(pattern);
  return result;
}

std::string wordFor(TemporaryNames names) {
  switch (names) {
    case TemporaryNames::never:
      return {};
    case TemporaryNames::large:
      return "large";
    case TemporaryNames::always:
      return "always";
  }
  return {};
}

std::string wordFor(Security security) {
  switch (security) {
    case Security::none:
      return {};
    case Security::tls:
      return "tls";
    case Security::implicit:
      return "implicit";
  }
  return {};
}

Outcome outcomeFor(std::string_view word) {
  constexpr std::array<std::pair<std::string_view, Outcome>, 5> words = {{{"sent", Outcome::sent},
                                                                          {"removed", Outcome::removed},
                                                                          {"failed", Outcome::failed},
                                                                          {"skipped", Outcome::skipped},
                                                                          {"planned", Outcome::planned}}};
  for (const auto& [text, outcome] : words) {
    if (text == word) return outcome;
  }
  return Outcome::unknown;
}

void read(GVariant* info, const char* key, std::string& value) {
  const gchar* text = nullptr;
  if (g_variant_lookup(info, key, "&s", &text)) value = text;
}

void read(GVariant* info, const char* key, bool& value) {
  gboolean flag = FALSE;
  if (g_variant_lookup(info, key, "b", &flag)) value = flag != FALSE;
}

void read(GVariant* info, const char* key, std::int64_t& value) {
  gint64 number = 0;
  if (g_variant_lookup(info, key, "x", &number)) value = number;
}

// Counts travel as either kind of integer; none is negative.
void read(GVariant* info, const char* key, std::uint64_t& value) {
  guint64 count = 0;
  std::int64_t number = -1;
  read(info, key, number);
  if (g_variant_lookup(info, key, "t", &count)) value = count;
  if (number >= 0) value = static_cast<std::uint64_t>(number);
}

// The system takes ".." of where a link leads to, not of where it stands, and so does whoever writes such a path.
std::filesystem::path withRealParents(const std::filesystem::path& path) {
  std::filesystem::path result;
  for (const auto& part : path) {
    result /= part;
    if (part != "..") continue;
    std::error_code notThere;
    if (auto real = std::filesystem::canonical(result, notThere); !notThere) result = std::move(real);
  }
  return result;
}

}  // namespace

std::string absolutePath(const std::string& path) {
  if (path.empty()) return path;
  std::error_code failure;
  const std::filesystem::path absolute = std::filesystem::absolute(path, failure);
  if (failure) throw std::runtime_error(path + ": " + failure.message());
  std::string result = withRealParents(absolute).lexically_normal();
  while (result.size() > 1 && result.ends_with('/')) result.pop_back();
  return result;
}

void addPatterns(const std::string& path, std::vector<std::string>& patterns) {
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  const std::size_t first = patterns.size();
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    // The helper would hear of nothing behind it, and what was to be left out would be sent.
    if (line.find('\0') != std::string::npos) throw std::runtime_error(path + ": a pattern cannot hold a NUL");
    patterns.push_back(line);
  }
  if (!file.eof()) throw std::runtime_error(path + ": " + std::generic_category().message(errno));
  if (patterns.size() > first && patterns[first].starts_with(byteOrderMark)) {
    patterns[first].erase(0, byteOrderMark.size());
  }
}

std::int64_t rateFrom(const std::string& text) {
  static const std::regex form("([0-9]{1,15}([.][0-9]{1,15})?) ?([kmg]?)(i?b)?", std::regex::icase);
  constexpr double most = 1e18;
  std::smatch parts;
  if (!std::regex_match(text, parts, form)) throw std::invalid_argument("\"" + text + "\" is no rate, such as 500k");
  const std::string unit = parts[3];
  const std::size_t power = unit.empty() ? 0 : std::string_view("_kmg").find(static_cast<char>(unit[0] | 0x20));
  const double number = std::stod(parts[1]);
  const double rate = number * std::pow(1024.0, static_cast<double>(power));
  if (rate > most || (number > 0 && rate < 1)) {
    throw std::invalid_argument("nothing can be sent at a rate of " + text);
  }
  return static_cast<std::int64_t>(rate);
}

std::vector<std::string> launchArguments(const Upload& upload, const std::string& ownerName, const std::string& token) {
  Arguments arguments;
  arguments.add("bundleIdentifier", ownerName);
  arguments.add("notificationIdentifier", token);
  arguments.add("sourcePath", upload.source);
  arguments.add("host", upload.host);
  arguments.add("username", upload.user);
  arguments.add("password", upload.password);
  arguments.add("security", wordFor(upload.security));
  arguments.add("tlsCertificateAuthority", upload.certificateAuthority);
  arguments.add("tlsFingerprint", upload.fingerprint);
  arguments.add("tlsCertificate", upload.certificate);
  arguments.add("tlsKey", upload.key.empty() ? upload.certificate : upload.key);
  arguments.add("cachedInfoPath", upload.cache);
  arguments.add("debug", upload.debug);
  arguments.add("reportOutcomes", upload.reportOutcomes);
  arguments.add("rememberSentOnly", upload.rememberSentOnly);
  arguments.add("escapeNames", upload.escapeNames);
  arguments.add("remoteDirectory", upload.remoteDirectory);
  arguments.add("contentsOnly", upload.contentsOnly);
  arguments.add("exclude", lines(upload.exclude));
  arguments.add("temporaryNames", wordFor(upload.temporaryNames));
  arguments.add("attempts", upload.attempts, 1);
  arguments.add("deleteMissing", upload.deleteMissing);
  arguments.add("allowEmptySource", upload.allowEmptySource);
  arguments.add("reportBytes", upload.reportBytes);
  arguments.add("announce", upload.announce);
  arguments.add("bytesPerSecond", upload.bytesPerSecond, 0);
  arguments.add("dryRun", upload.dryRun);
  return arguments.take();
}

Record readRecord(GVariant* info) {
  Record record;
  read(info, "LocalPath", record.localPath);
  read(info, "RemoteDirectory", record.remoteDirectory);
  read(info, "Nth", record.nth);
  read(info, "Total", record.total);
  read(info, "Percent", record.percent);
  read(info, "IsMore", record.isMore);
  std::string outcome;
  read(info, "Outcome", outcome);
  record.outcome = outcomeFor(outcome);
  read(info, "Error", record.error);
  read(info, "ErrorCode", record.errorCode);
  read(info, "Aborted", record.aborted);
  read(info, "IsRemoval", record.isRemoval);
  read(info, "WillRetry", record.willRetry);
  read(info, "Reason", record.reason);
  return record;
}

Bytes readBytes(GVariant* info) {
  Bytes bytes;
  read(info, "LocalPath", bytes.localPath);
  read(info, "Nth", bytes.nth);
  read(info, "BytesSent", bytes.sent);
  read(info, "BytesTotal", bytes.total);
  read(info, "RunBytesSent", bytes.runSent);
  read(info, "RunBytesTotal", bytes.runTotal);
  return bytes;
}

std::string readVersion(GVariant* info) {
  std::string version;
  read(info, "Version", version);
  return version;
}

}  // namespace telvo
