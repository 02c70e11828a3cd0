#include "telvo/owner/EventText.h"

#include <concepts>
#include <cstdio>

#include "telvo/owner/ProgressText.h"

namespace telvo {

namespace {

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char byte : text) {
    char escape[8] = {byte, '\0'};
    if (static_cast<unsigned char>(byte) < 0x20) std::snprintf(escape, sizeof escape, "\\u%04x", byte);
    if (byte == '"' || byte == '\\') std::snprintf(escape, sizeof escape, "\\%c", byte);
    result += escape;
  }
  return result + "\"";
}

std::string value(const std::string& text) { return text.empty() ? "" : quoted(text); }
std::string value(std::same_as<bool> auto flag) { return flag ? "true" : ""; }
template <std::integral Number>
requires(!std::same_as<Number, bool>) std::string value(Number number) { return std::to_string(number); }

std::string members() { return {}; }
std::string members(const char* key, const auto& first, const auto&... rest) {
  const std::string text = value(first);
  return (text.empty() ? "" : "," + quoted(key) + ":" + text) + members(rest...);
}

// Keys and values in turn.
std::string event(const std::string& name, const auto&... keysAndValues) {
  return "{\"event\":" + quoted(name) + members(keysAndValues...) + "}";
}

}  // namespace

std::string readyEvent(const std::string& version) { return event("ready", "version", version); }

std::string itemEvent(const Record& record) {
  return event("item", "path", record.localPath, "remoteDirectory", record.remoteDirectory, "nth", record.nth, "total",
               record.total, "outcome", outcomeText(record), "isRemoval", record.isRemoval, "error", record.error,
               "errorCode", record.errorCode, "willRetry", record.willRetry);
}

std::string bytesEvent(const Bytes& bytes) {
  return event("bytes", "path", bytes.localPath, "nth", bytes.nth, "sent", bytes.sent, "total", bytes.total, "runSent",
               bytes.runSent, "runTotal", bytes.runTotal);
}

std::string endEvent(const Progress& progress, Verdict verdict) {
  return event("end", "status", exitStatus(verdict), "sent", progress.count(Outcome::sent), "removed",
               progress.count(Outcome::removed, true), "notArrived", progress.notArrived(verdict));
}

}  // namespace telvo
