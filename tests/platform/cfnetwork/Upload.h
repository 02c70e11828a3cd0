#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "cfnetwork/CFFTPStream.h"
#include "cfnetwork/FTPWriteStream.h"
#include "foundation/Foundation.h"
#include "foundation/events/EventSource.h"
#include "testing/ScriptedFTPServer.h"

// An item on its way to a server: opens a stream for a URL and writes to it as a connection does, a piece for a piece
// while there is room, and closes it at the content's end or when an error is reported. It also watches that nothing
// keeps turning in circles: the turns of the run loop are bounded by the time and the data.
class Upload : private NSStreamDelegate {
 public:
  explicit Upload(const std::string& url, std::string data = "");
  // Of a file or, with a slash at its end, a folder below the server's root.
  Upload(const ScriptedFTPServer& server, const std::string& path, std::string text = "")
      : Upload(server.url("/" + path), std::move(text)) {}
  Upload(const Upload&) = delete;
  Upload& operator=(const Upload&) = delete;
  ~Upload() override;

  // Goes on to the item's end, or until the condition holds.
  void run(const std::function<bool()>& until = nullptr);
  // Goes on to the end: whether it was stored without an error.
  bool stores() {
    run();
    return isStored();
  }

  // As the writer does at its end.
  void close();

  static cfnetwork::FTPLimits oneConnection() {
    cfnetwork::FTPLimits limits;
    limits.connections = 1;
    return limits;
  }

  bool isOver() const { return over_; }
  bool isStored() const { return over_ && !error && failedWrites == 0; }
  bool has(NSStreamEvent event) const;
  // Of the error: the reply's code, 0 when there is none, and the text.
  NSInteger replyCode() const;
  std::string errorText() const;
  NSInteger errorCode() const { return error ? error->code() : 0; }

  Ref<FTPWriteStream> stream;
  // One connection does everything, unless a test wants more, however long the round trip seems on a busy machine.
  cfnetwork::FTPLimits limits = oneConnection();
  std::size_t pieceSize = 512000;
  std::string content;
  std::size_t offset = 0;           // how much of it has been written
  Ref<NSInputStream> source;        // opened; what the stream does not take from it itself is added to the content
  std::size_t moved = 0;            // how much it has taken itself
  std::function<void()> whenOpen;   // called for the event
  std::function<void()> whenSpace;  // called before anything is written
  std::function<void()> whenError;  // called instead of closing the stream
  std::function<bool()> interruption;
  std::size_t bytesFromServer = 0;  // what a talkative server sends may take turns, too

  std::vector<NSStreamEvent> events;
  Ref<NSError> error;
  int failedWrites = 0;
  bool errorCameInsideClose = false;

 private:
  void stream_handleEvent(const Ref<NSStream>& sender, NSStreamEvent event) override;
  void pump();
  void readSource();
  void expectCalm() const;

  foundation::SignalSource atEnd_;
  std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
  std::size_t turns_ = 0;
  bool opened_ = false;
  bool ended_ = false;
  bool closing_ = false;
  bool over_ = false;
};
