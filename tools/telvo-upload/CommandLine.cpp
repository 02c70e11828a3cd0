#include "telvo-upload/CommandLine.h"

#include <filesystem>
#include <vector>

#include <CLI/CLI.hpp>

#include "telvo/owner/Encryption.h"
#include "telvo/owner/Login.h"

namespace {

struct Words {
  std::string source;
  std::string target;
  std::string user;
  std::vector<std::string> excludeFiles;
  std::string cache;
  std::string passwordFile;
  std::string security;
  std::uint64_t retries = 3;
  std::uint64_t rate = 0;
  bool atomic = false, inPlace = false, noCache = false;
  bool quiet = false, verbose = false, json = false;
};

void addOptions(CLI::App& app, Words& words, CommandLine& line) {
  const auto flag = [&app](const char* name, bool& value, const char* text) { return app.add_flag(name, value, text); };
  const auto option = [&app](const char* name, auto& value, const char* what, const char* text) {
    return app.add_option(name, value, text)->option_text(what)->allow_extra_args(false);
  };
  option("SOURCE", words.source, " ", "A file or folder; with a slash at its end, the folder's contents")->required();
  option("TARGET", words.target, " ", "[USER@]HOST[:PORT][/FOLDER], or an ftp:// or ftps:// URL")->required();
  option("--user", words.user, "NAME", "The login; default: USER, else ~/.netrc, else anonymous");
  option("--password-file", words.passwordFile, "FILE",
         "A file whose first line is the password; default: TELVO_PASSWORD, else ~/.netrc, else the desktop's keyring, "
         "else it is asked for");
  option("--security", words.security, "MODE",
         "none, tls (encrypted, by AUTH TLS) or implicit (encrypted, port 990); default: none, for ftps:// implicit");
  option("--ca", line.upload.certificateAuthority, "FILE",
         "Who may have signed the server's certificate; default: those whom the system trusts");
  option("--fingerprint", line.upload.fingerprint, "HEX",
         "SHA-256 of the server's certificate, whoever has signed that");
  option("--certificate", line.upload.certificate, "FILE", "Your own certificate, where the server wants one");
  option("--key", line.upload.key, "FILE", "... and its key; default: in the same file");
  option("--exclude", line.upload.exclude, "PATTERN", "Leave out what matches, as in a .gitignore; may be repeated");
  option("--exclude-from", words.excludeFiles, "FILE", "Patterns from a file, one a line; may be repeated");
  auto* const remove = flag("--delete", line.upload.deleteMissing, "Remove what an earlier run sent and is gone here");
  flag("--allow-empty-source", line.upload.allowEmptySource, "With --delete, also when SOURCE is empty")->needs(remove);
  flag("-n,--dry-run", line.upload.dryRun, "Only tell what would be sent or removed, and why");
  option("--limit-rate", words.rate, "BYTES", "At most so many bytes a second, as in 500k or 2M; default: no limit")
      ->transform(CLI::AsSizeValue(false));
  option("--retries", words.retries, "N", "Further tries for what fails for a passing reason; default: 3")
      ->check(CLI::Range(0, 1000));
  auto* const atomic = flag("--atomic", words.atomic,
                            "Store every file under a temporary name first; default: those above 512,000 bytes");
  flag("--in-place", words.inPlace, "Store no file under a temporary name")->excludes(atomic);
  auto* const cache = option("--cache", words.cache, "FILE",
                             "Remember here what has arrived; default: a file for each pair of SOURCE and TARGET below "
                             "~/.cache/telvo-upload");
  flag("--no-cache", words.noCache, "Remember nothing; send everything")->excludes(cache)->excludes(remove);
  auto* const quiet = flag("-q,--quiet", words.quiet, "Tell only what fails");
  auto* const verbose = flag("-v,--verbose", words.verbose, "Tell of each item")->excludes(quiet);
  flag("--json", words.json, "Tell everything as JSON, one line an event")->excludes(quiet)->excludes(verbose);
  flag("--debug", line.upload.debug, "Let the helper write its log");
  app.footer(
      "Exit status: 0 all has arrived, 1 something has not, 2 usage, 3 login or encryption refused, 4 host\n"
      "not reached, or not securely, 130 stopped.");
}

void fillIn(CommandLine& line, const Words& words) {
  telvo::Upload& upload = line.upload;
  try {
    line.target = telvo::parseTarget(words.target);
    upload.security = telvo::securityFor(words.security, line.target);
    telvo::checkEncryption(upload);
  } catch (const std::invalid_argument& error) {
    throw UsageError(error.what());
  }
  if (!words.user.empty()) line.target.user = words.user;
  upload.source = telvo::absolutePath(words.source);
  for (std::string* const path : {&upload.certificateAuthority, &upload.certificate, &upload.key}) {
    if (!path->empty()) *path = telvo::absolutePath(*path);
  }
  upload.contentsOnly = words.source.ends_with('/');
  if (!std::filesystem::exists(std::filesystem::symlink_status(upload.source)) && !upload.allowEmptySource) {
    throw UsageError(words.source + " does not exist");
  }
  upload.host = line.target.host;
  upload.remoteDirectory = line.target.folder;
  for (const std::string& path : words.excludeFiles) telvo::addPatterns(path, upload.exclude);
  upload.attempts = static_cast<std::int64_t>(words.retries) + 1;
  upload.bytesPerSecond = static_cast<std::int64_t>(words.rate);
  upload.temporaryNames = words.atomic ? telvo::TemporaryNames::always : telvo::TemporaryNames::large;
  if (words.inPlace) upload.temporaryNames = telvo::TemporaryNames::never;
  if (!words.cache.empty()) upload.cache = telvo::absolutePath(words.cache);
  if (upload.cache.empty() && !words.noCache) {
    upload.cache = telvo::cacheFileFor(upload.source, line.target, upload.contentsOnly);
  }
  upload.rememberSentOnly = upload.escapeNames = upload.reportOutcomes = upload.announce = true;
  line.password = telvo::passwordFromEnvironment("TELVO_PASSWORD");
  if (!words.passwordFile.empty()) line.password = telvo::passwordFromFile(words.passwordFile);
  upload.reportBytes = !words.quiet;
  if (words.quiet) line.output = Output::quiet;
  if (words.verbose) line.output = Output::verbose;
  if (words.json) line.output = Output::json;
}

}  // namespace

std::optional<CommandLine> readCommandLine(int argc, char** argv) {
  CLI::App app("Uploads a file or folder to an FTP server, and tells what has arrived.", "telvo-upload");
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
