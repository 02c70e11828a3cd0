#include "telvo-upload/CommandLine.h"

#include <cstdlib>
#include <filesystem>

#include <CLI/CLI.hpp>

#include "telvo/owner/Login.h"

namespace {

struct Words {
  std::string source;
  std::string target;
  std::string user;
  std::string cache;
  std::string passwordFile;
  bool quiet = false, verbose = false, json = false;
};

void addOptions(CLI::App& app, Words& words, CommandLine& line) {
  const auto flag = [&app](const char* name, bool& value, const char* text) { return app.add_flag(name, value, text); };
  const auto option = [&app](const char* name, auto& value, const char* what, const char* text) {
    return app.add_option(name, value, text)->option_text(what)->allow_extra_args(false);
  };
  option("SOURCE", words.source, " ", "A file or folder; it arrives in the server's root")->required();
  option("TARGET", words.target, " ", "[USER@]HOST[:PORT], or an ftp:// URL of these parts")->required();
  option("--user", words.user, "NAME", "The login; default: USER, else ~/.netrc, else anonymous");
  option("--password-file", words.passwordFile, "FILE",
         "A file whose first line is the password; default: TELVO_PASSWORD, else ~/.netrc, else the desktop's keyring, "
         "else it is asked for");
  option("--cache", words.cache, "FILE", "Remember here what has been sent; the next run sends only what is new");
  auto* const quiet = flag("-q,--quiet", words.quiet, "Tell only what goes wrong");
  auto* const verbose = flag("-v,--verbose", words.verbose, "Tell of each item")->excludes(quiet);
  flag("--json", words.json, "Tell everything as JSON, one line an event")->excludes(quiet)->excludes(verbose);
  flag("--debug", line.upload.debug, "Let the helper write its log");
  app.footer(
      "Exit status: 0 the last item is over (the helper does not tell what has arrived), 1 the helper ended early,\n"
      "2 usage, 130 stopped.");
}

// Absolute, without "." and "..", and without a slash at its end: how the helper wants a path.
std::string absolutePath(const std::string& text) {
  std::string path = std::filesystem::absolute(text).lexically_normal();
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

std::optional<std::string> givenPassword(const std::string& file) {
  std::optional<std::string> password;
  if (const char* const variable = std::getenv("TELVO_PASSWORD")) password = variable;
  unsetenv("TELVO_PASSWORD");
  if (!file.empty()) password = telvo::passwordFromFile(file);
  return password;
}

void fillIn(CommandLine& line, const Words& words) {
  telvo::Upload& upload = line.upload;
  try {
    line.target = telvo::parseTarget(words.target);
  } catch (const std::invalid_argument& error) {
    throw UsageError(error.what());
  }
  if (!line.target.folder.empty()) throw UsageError("everything goes into the server's root folder");
  if (!words.user.empty()) line.target.user = words.user;
  upload.source = absolutePath(words.source);
  if (!std::filesystem::exists(std::filesystem::symlink_status(upload.source))) {
    throw UsageError(words.source + " does not exist");
  }
  upload.host = line.target.host;
  if (!words.cache.empty()) upload.cache = absolutePath(words.cache);
  line.password = givenPassword(words.passwordFile);
  if (words.quiet) line.output = Output::quiet;
  if (words.verbose) line.output = Output::verbose;
  if (words.json) line.output = Output::json;
}

}  // namespace

std::optional<CommandLine> readCommandLine(int argc, char** argv) {
  CLI::App app("Uploads a file or folder to an FTP server, and shows the progress.", "telvo-upload");
  app.set_version_flag("--version", TELVO_VERSION);
  CommandLine line;
  Words words;
  addOptions(app, words, line);
  try {
    app.parse(argc, argv);
    fillIn(line, words);
  } catch (const CLI::Success& request) {
    app.exit(request);
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  return line;
}
