#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "telvo-upload/Report.h"
#include "telvo/owner/Target.h"
#include "telvo/owner/Upload.h"

// What the user asked for.
struct CommandLine {
  telvo::Upload upload;  // complete but for the login and the usual cache
  telvo::Target target;
  bool hasUsualCache = false;           // no other was named
  std::optional<std::string> password;  // from --password-file, else from TELVO_PASSWORD
  Output output = Output::usual;
};

// The command line is wrong; the text says how.
class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// None when everything that was asked for has been printed (--help, --version). Takes TELVO_PASSWORD out of the
// environment: it is not for the programs that are started. Throws UsageError, also for a file that the command line
// names and that cannot be read.
std::optional<CommandLine> readCommandLine(int argc, char** argv);

// Fills in the cache that belongs to this pair of source and target; the target's user has to be known. Throws
// std::runtime_error when there can be none.
void useUsualCache(CommandLine& line);
