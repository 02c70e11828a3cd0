#include "telvo-upload/CommandLine.h"

#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

#include "telvo/owner/Checks.h"
#include "telvo/owner/Encryption.h"
#include "telvo/owner/Login.h"

namespace {

struct Words {
  std::string source;
  std::string target;
  std::string user;
  std::vector<std::string> patterns;
  std::vector<std::string> patternFiles;
  std::string cache;
  std::string passwordFile;
  std::string security;
  std::string rate = "0";
  std::uint64_t retries = 3;
  bool atomic = false, inPlace = false, noCache = false;
  bool quiet = false, verbose = false, json = false;
};

// Mostly it is a variable of a script that has not been set.
std::string emptyComplaint(const std::string& value) { return value.empty() ? "the value is empty" : ""; }

void addOptions(CLI::App& app, Words& words, CommandLine& line) {
  const auto flag = [&app](const char* name, bool& value, const char* text) { return app.add_flag(name, value, text); };
  const auto option = [&app](const char* name, auto& value, const char* what, const char* text) {
    return app.add_option(name, value, text)->option_text(what)->allow_extra_args(false)->check(emptyComplaint);
  };
  option("SOURCE", words.source, " ", "A file or folder; with a slash at its end, the\nfolder's contents")->required();
  option("TARGET", words.target, " ", "[USER@]HOST[:PORT][/FOLDER], or an ftp:// or\nftps:// URL")->required();
  option("--user", words.user, "NAME", "The login; default: USER, else the one in ~/.netrc,\nelse anonymous");
  option("--password-file", words.passwordFile, "FILE",
         "A file whose first line is the password; default:\nTELVO_PASSWORD, else ~/.netrc, else the desktop's\n"
         "keyring, else it is asked for");
  option("--security", words.security, "MODE",
         "none, tls (encrypted, by AUTH TLS) or implicit\n(encrypted, port 990); default: none, for ftps://\nimplicit");
  option("--ca", line.upload.certificateAuthority, "FILE",
         "Who may have signed the server's certificate;\ndefault: those whom the system trusts");
  option("--fingerprint", line.upload.fingerprint, "HEX",
         "SHA-256 of the server's certificate, whoever has\nsigned that");
  option("--certificate", line.upload.certificate, "FILE", "Your own certificate, where the server wants one");
  option("--key", line.upload.key, "FILE", "... and its key; default: in the same file");
  option("--exclude", words.patterns, "PATTERN", "Leave out what matches, as in a .gitignore; may be\nrepeated");
  option("--exclude-from", words.patternFiles, "FILE", "Patterns from a file, one a line; may be repeated");
  auto* const remove = flag("--delete", line.upload.deleteMissing, "Remove what an earlier run sent and is gone here");
  flag("--allow-empty-source", line.upload.allowEmptySource, "With --delete, also when SOURCE is empty")->needs(remove);
  flag("-n,--dry-run", line.upload.dryRun, "Only tell what would be sent or removed, and why");
  option("--limit-rate", words.rate, "BYTES",
         "At most so many bytes a second, as in 500k or 1.5M;\ndefault: 0, no limit");
  option("--retries", words.retries, "N", "Further tries for what fails for a passing reason;\ndefault: 3")
      ->check(CLI::Range(0, 1000));
  auto* const atomic = flag("--atomic", words.atomic,
                            "Store every file under a temporary name first;\ndefault: those above 512,000 bytes");
  flag("--in-place", words.inPlace, "Store no file under a temporary name")->excludes(atomic);
  auto* const cache =
      option("--cache", words.cache, "FILE",
             "Remember here what has arrived; default: a file for\neach pair of SOURCE and TARGET below\n"
             "~/.cache/telvo-upload");
  flag("--no-cache", words.noCache, "Remember nothing; send everything")->excludes(cache)->excludes(remove);
  auto* const quiet = flag("-q,--quiet", words.quiet, "Tell only what fails");
  auto* const verbose = flag("-v,--verbose", words.verbose, "Tell of each item")->excludes(quiet);
  flag("--json", words.json, "Tell everything as JSON, one line an event")->excludes(quiet)->excludes(verbose);
  flag("--debug", line.upload.debug, "Let the helper write its log");
  constexpr std::size_t columnsForNames = 26;
  app.get_formatter()->column_width(columnsForNames);
  app.footer(
      "Exit status: 0 all has arrived, 1 something has not, 2 usage, 3 login or\n"
      "encryption refused, 4 host not reached, or not securely, 130 stopped.");
}

// "--option=" would take the next argument for its value.
void checkValues(int argc, char** argv) {
  for (int index = 1; index < argc && argv[index] != std::string_view("--"); ++index) {
    const std::string_view argument = argv[index];
    const bool isWithoutValue = argument.starts_with("--") && argument.find('=') == argument.size() - 1;
    if (isWithoutValue) throw UsageError(std::string(argument.substr(0, argument.size() - 1)) + ": the value is empty");
  }
}

// In the order of the command line, since the last one that matches counts.
std::vector<std::string> patternsFrom(const CLI::App& app, const Words& words) {
  std::vector<std::string> patterns;
  auto pattern = words.patterns.begin();
  auto file = words.patternFiles.begin();
  for (const CLI::Option* const option : app.parse_order()) {
    if (option->check_name("--exclude")) patterns.push_back(*pattern++);
    if (option->check_name("--exclude-from")) telvo::addPatterns(*file++, patterns);
  }
  return patterns;
}

void fillInTarget(CommandLine& line, const Words& words) {
  telvo::Upload& upload = line.upload;
  line.target = telvo::parseTarget(words.target);
  upload.security = telvo::securityFor(words.security, line.target);
  telvo::checkEncryption(upload);
  if (!words.user.empty()) line.target.user = words.user;
  upload.host = line.target.host;
  upload.remoteDirectory = line.target.folder;
  for (std::string* const path : {&upload.certificateAuthority, &upload.certificate, &upload.key}) {
    *path = telvo::absolutePath(*path);
  }
}

void fillIn(CommandLine& line, const Words& words) {
  telvo::Upload& upload = line.upload;
  fillInTarget(line, words);
  upload.source = telvo::absolutePath(words.source);
  upload.contentsOnly = words.source.ends_with('/');
  telvo::checkSource(upload);
  upload.attempts = static_cast<std::int64_t>(words.retries) + 1;
  upload.bytesPerSecond = telvo::rateFrom(words.rate);
  upload.temporaryNames = words.atomic ? telvo::TemporaryNames::always : telvo::TemporaryNames::large;
  if (words.inPlace) upload.temporaryNames = telvo::TemporaryNames::never;
  upload.cache = telvo::absolutePath(words.cache);
  telvo::checkCache(upload);
  line.hasUsualCache = words.cache.empty() && !words.noCache;
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
    checkValues(argc, argv);
    app.parse(argc, argv);
    line.upload.exclude = patternsFrom(app, words);
    fillIn(line, words);
  } catch (const CLI::Success& request) {
    app.exit(request);
    return std::nullopt;
  } catch (const UsageError&) {
    throw;
  } catch (const std::exception& error) {
    throw UsageError(error.what());
  }
  return line;
}

void useUsualCache(CommandLine& line) {
  telvo::Upload& upload = line.upload;
  if (!line.hasUsualCache) return;
  upload.cache = telvo::cacheFileFor(upload.source, line.target, upload.contentsOnly);
  if (!upload.dryRun) telvo::makeCacheFolder();
}
