#include "app/CommandLine.h"

#include <string_view>

inline namespace telvo {

namespace {

constexpr std::string_view help =
    R"(Usage: TelvoFTPHelper -KEY VALUE ...

Uploads a file or a folder to an FTP server, for an application that follows it on the session bus. To upload
something from the command line, use telvo-upload.

Who and what:
  -bundleIdentifier NAME        the owner's name on the session bus; nothing is done without it
  -notificationIdentifier TEXT  pairs the owner's notifications with this helper's
  -sourcePath PATH              the file or folder
  -host HOST[:PORT]             the server
  -username TEXT, -password TEXT
  -cachedInfoPath PATH          where it is kept what need not be sent again
  -debug YES                    writes to the system log and to standard error

For owners that ask for more, each off when absent:
  -reportOutcomes YES           tells what has become of each item; stops when nobody can be reached or logged in to
  -rememberSentOnly YES         keeps what has arrived, not what was planned
  -escapeNames YES              sends names as they are, whatever is in them
  -remoteDirectory PATH         where it goes, made when missing ("/" otherwise)
  -contentsOnly YES             sends what is in the folder, not the folder itself
  -exclude PATTERNS             leaves out what fits a pattern, one a line, as in .gitignore
  -temporaryNames always|large  stores files under another name until they are complete
  -attempts N                   tries so often what fails for a passing reason (1)
  -deleteMissing YES            removes there what was sent and is gone here (with -rememberSentOnly)
  -allowEmptySource YES         ... also when nothing is left here
  -reportBytes YES              tells of progress inside a file
  -announce YES                 tells when the helper can be reached
  -bytesPerSecond N             sends no faster
  -dryRun YES                   tells what would be done, and does nothing
  -security tls|implicit        encrypts the connections, on request or from the first byte on (port 990)
  -tlsCertificateAuthority FILE trusts these certificates in place of the system's (PEM)
  -tlsFingerprint SHA256        trusts the server's certificate that has this fingerprint, and no other
  -tlsCertificate FILE, -tlsKey FILE
                                shows this certificate to the server (PEM)

  --help, --version             print this, or the version
)";

}  // namespace

std::string helperVersion() { return TELVO_VERSION; }

std::optional<std::string> answerToArguments(int argc, const char* const* argv) {
  if (argc != 2) return std::nullopt;
  const std::string_view argument = argv[1];
  if (argument == "--help") return std::string(help);
  if (argument == "--version") return "TelvoFTPHelper " + helperVersion() + "\n";
  return std::nullopt;
}

}  // namespace telvo
