#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "telvo-upload/Report.h"
#include "telvo/owner/Target.h"
#include "telvo/owner/Upload.h"

// What the user asked for.
struct CommandLine {
  telvo::Upload upload;  // complete but for the login
  telvo::Target target;
  std::optional<std::string> password;  // from --password-file, else from TELVO_PASSWORD
  Output output = Output::usual;
};

// The command line is wrong; the text says how.
class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// None when everything that was asked for has been printed (--help, --version). Takes
// TELVO_PASSWORD out of the environment: it is not for the programs that are started. Throws UsageError, and
// std::runtime_error when the password's file cannot be read.
std::optional<CommandLine> readCommandLine(int argc, char** argv);
