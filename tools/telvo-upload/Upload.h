#pragma once

#include <string>

// What the user asked for.
struct UploadRequest {
  std::string source;  // absolute path
  std::string host;
  std::string user;
  std::string password;
  std::string cache;  // absolute path, or empty
  bool debug = false;
};

// Launches the helper and follows it as its owner: shows its progress, asks it to stop on SIGINT and SIGTERM (and
// leaves at once on a second one), and lets it go when the last record has come. Without a session bus it starts a bus
// of its own for as long as it lasts. Returns the exit status: 0 when everything was sent or nothing was to send, 130
// after a stop, 1 when the helper ended early or could not be started.
int upload(const UploadRequest& request);
