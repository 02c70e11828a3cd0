#pragma once

#include <string>

#include "foundation/files/FileIO.h"

inline namespace telvo {

namespace streams {

// What tells one upload from all others that may be under way at the same time, on this computer or another one, to the
// same place. It is the same again in the next run of the same upload. Any thread.
class RunIdentity {
 public:
  // Of the upload of a folder or file to a place, which is named by whatever tells places apart. Held as long as this
  // object: another one of the same upload gets another identity meanwhile.
  RunIdentity(const std::string& source, const std::string& place);

  // 16 hexadecimal digits.
  const std::string& text() const { return text_; }

 private:
  foundation::FileDescriptor claim_;
  std::string text_;
};

}  // namespace streams

}  // namespace telvo
