// telvo-upload: uploads a file or folder tree to an FTP server through the helper, and shows its progress.

#include <cstdio>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>

#include "telvo-upload/Password.h"
#include "telvo-upload/Upload.h"

namespace {

constexpr int usageError = 2;

// The text of a path as the helper is to see it: absolute, without "." and ".." and without a slash at its end.
std::string absolutePath(const std::string& text) {
  std::string path = std::filesystem::absolute(text).lexically_normal();
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

int run(int argc, char** argv) {
  CLI::App app("Uploads a file or folder to an FTP server and shows the progress.", "telvo-upload");
  app.set_version_flag("--version", TELVO_VERSION);
  std::string source;
  std::string host;
  std::string user;
  std::optional<std::string> passwordFile;
  std::string cache;
  bool debug = false;
  app.add_option("SOURCE", source, "The file or folder to upload; it arrives in the server's root")->required();
  app.add_option("HOST[:PORT]", host, "The FTP server")->required();
  app.add_option("--user", user, "The login; without it, the login is anonymous")->option_text("NAME");
  app.add_option("--password-file", passwordFile,
                 "A file whose first line is the password; else it comes from TELVO_PASSWORD, else it is asked for")
      ->option_text("FILE");
  app.add_option("--cache", cache, "A file that remembers what was sent, so that the next run sends only what changed")
      ->option_text("FILE");
  app.add_flag("--debug", debug, "Let the helper write its log");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : usageError;
  }

  UploadRequest request;
  request.source = absolutePath(source);
  if (!std::filesystem::exists(std::filesystem::symlink_status(request.source))) {
    std::fprintf(stderr, "telvo-upload: %s does not exist\n", source.c_str());
    return usageError;
  }
  if (host.empty()) {
    std::fputs("telvo-upload: the host is missing\n", stderr);
    return usageError;
  }
  request.host = host;
  request.user = user;
  if (!user.empty()) request.password = findPassword(passwordFile, user, host);
  if (!cache.empty()) request.cache = absolutePath(cache);
  request.debug = debug;
  return upload(request);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "telvo-upload: %s\n", error.what());
    return 1;
  }
}
