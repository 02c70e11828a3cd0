// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "telvo/owner/Namespace.h"

// Logins that people have saved for all their programs.
TELVO_OWNER_NAMESPACE_BEGIN

struct Login {
  std::string user;
  std::string password;
};

// The first line of the file. Throws std::runtime_error when it cannot be read, or holds a NUL.
std::string passwordFromFile(const std::string& path);

// The value of the environment variable, which is removed: what this program starts does not inherit it.
std::optional<std::string> passwordFromEnvironment(const char* variable);

// From ~/.netrc: the entry for the host, or the default one; with a user given, only an entry for that user. An entry
// may have no password; it is empty then. Throws std::runtime_error with a text for people when others than this user
// may read the file, or this user may not.
std::optional<Login> loginFromNetrc(const std::string& host, const std::string& user);

// From the desktop's keyring: the password that is saved for FTP with this user on this host, as file managers do it
// and "secret-tool store --label=FTP protocol ftp server HOST user USER". None where this library was built without
// libsecret, and where there is no keyring. May ask the user to unlock it.
std::optional<std::string> passwordFromKeyring(const std::string& host, const std::string& user);

TELVO_OWNER_NAMESPACE_END
