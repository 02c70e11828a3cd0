#pragma once

#include <string>

#include "foundation/events/NSStream.h"
#include "foundation/files/FileIO.h"

inline namespace telvo {

// Reads a regular file. A folder can be opened too and is at its end at once; anything else (a pipe, a socket, a
// device) is an error, and opening it does not wait for anybody. "Open completed" or the error follows open() in a
// run-loop turn; the end is reported only after a read has returned 0, so no byte that was read is left over.
class FileReadStream : public NSInputStream {
  NS_OBJECT(FileReadStream, NSInputStream)

 public:
  explicit FileReadStream(std::string path) : path_(std::move(path)) {}

  void open() override;
  void close() override;
  NSInteger read_maxLength(std::uint8_t* buffer, NSUInteger length) override;
  bool hasBytesAvailable() const override;
  int fileDescriptor() const override;

 private:
  int openFile();

  std::string path_;
  foundation::FileDescriptor file_;
  bool isFolder_ = false;
};

}  // namespace telvo
