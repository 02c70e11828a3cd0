#pragma once

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Foundation.h"

// Streams that do what a test tells them: nothing real opens by half, or has room when it is told to.
class TestInputStream : public NSInputStream {
  NS_OBJECT(TestInputStream, NSInputStream)

 public:
  void open() override {
    setStatus(NSStreamStatusOpening);
    for (const NSStreamEvent event : eventsOnOpen) signal(event);
    if (failsOnOpen) fail(NSError::errorWithPOSIXCode(ENOENT));
  }
  void close() override {
    ++closed;
    cancelAllEvents();
    setStatus(NSStreamStatusClosed);
    if (onClose) onClose();
  }
  NSInteger read_maxLength(std::uint8_t* buffer, NSUInteger length) override {
    asked.push_back(length);
    const auto size = std::min<std::size_t>(length, bytes.size());
    std::memcpy(buffer, bytes.data(), size);
    bytes.erase(0, size);
    return readResult ? *readResult : static_cast<NSInteger>(size);
  }
  bool hasBytesAvailable() const override { return !bytes.empty(); }
  using NSStream::signal;

  std::vector<NSStreamEvent> eventsOnOpen = {NSStreamEventOpenCompleted};
  bool failsOnOpen = false;
  std::string bytes;
  std::optional<NSInteger> readResult;
  std::vector<NSUInteger> asked;  // the lengths of the reads
  int closed = 0;
  std::function<void()> onClose;
};

inline Class TestInputStream::classObject() {
  static const NSClass object("TestInputStream", NSInputStream::classObject(), {});
  return &object;
}

class TestOutputStream : public NSOutputStream {
  NS_OBJECT(TestOutputStream, NSOutputStream)

 public:
  void open() override {
    setStatus(NSStreamStatusOpening);
    for (const NSStreamEvent event : eventsOnOpen) signal(event);
  }
  void close() override {
    ++closed;
    cancelAllEvents();
    setStatus(NSStreamStatusClosed);
    if (onClose) onClose();
  }
  NSInteger write_maxLength(const std::uint8_t* data, NSUInteger length) override {
    offered.emplace_back(reinterpret_cast<const char*>(data), length);
    if (writeResult) return *writeResult;
    const std::size_t size = takes.empty() ? length : std::min<std::size_t>(length, takes.front());
    if (!takes.empty()) takes.pop_front();
    written.append(reinterpret_cast<const char*>(data), size);
    if (fullAfter && written.size() >= *fullAfter) hasSpace = false;
    return static_cast<NSInteger>(size);
  }
  NSInteger writeFromStream_maxLength(const NSInputStream&, NSUInteger length) override {
    largestMove = std::max(largestMove, length);
    if (moves.empty()) return -1;
    const NSInteger size = moves.front();
    moves.pop_front();
    return size;
  }
  bool hasSpaceAvailable() const override { return hasSpace; }
  using NSStream::deliverIfWaiting;
  using NSStream::fail;
  using NSStream::signal;

  std::vector<NSStreamEvent> eventsOnOpen = {NSStreamEventOpenCompleted};
  bool hasSpace = true;
  std::optional<NSInteger> writeResult;
  std::deque<std::size_t> takes;         // how much the next writes take at most
  std::optional<std::size_t> fullAfter;  // there is no space any more once so much was written
  std::deque<NSInteger> moves;           // what it takes from the input stream itself
  NSUInteger largestMove = 0;            // that it was asked for
  std::vector<std::string> offered;      // the bytes of each write
  std::string written;
  int closed = 0;
  std::function<void()> onClose;
};

inline Class TestOutputStream::classObject() {
  static const NSClass object("TestOutputStream", NSOutputStream::classObject(), {});
  return &object;
}
