#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cfnetwork/FTPConnection.h"

inline namespace telvo {

class NSError;

namespace cfnetwork {

// A few commands without data that change something on a server, and the question that tells whether a refusal means
// that everything is as wanted already. Paths are raw bytes.
class FTPErrand {
 public:
  // Makes a folder (MKD). One that exists already is an error, or with mayExist none.
  static FTPErrand makeFolder(const std::string& path, bool mayExist);
  // Remove something (DELE, RMD); what is not there is removed. A folder with something in it is an error.
  static FTPErrand removeFile(const std::string& path);
  static FTPErrand removeFolder(const std::string& path);
  // Gives a file another name (RNFR, RNTO), in place of another one of that name.
  static FTPErrand rename(const std::string& from, const std::string& to);

  // The error is nil when all is done, and else carries the server's reply to the command that was refused.
  using Completion = std::function<void(const Ref<NSError>& error)>;
  // The connection is quiet. What keeps it from answering at all its delegate is told. The errand stays where it is
  // until then.
  void run(FTPConnection& connection, Completion completion);

 private:
  // What a refusal of the question, or an answer, says.
  enum class Question { None, AnswerIsGood, RefusalIsGood };

  FTPErrand(std::vector<std::string> commands, Question question, std::string questionCommand);
  void runNext();
  void ask(const FTPReply& refusal);

  std::vector<std::string> commands_;
  Question question_;
  std::string questionCommand_;
  std::size_t next_ = 0;
  FTPConnection* connection_ = nullptr;
  Completion completion_;
};

}  // namespace cfnetwork

}  // namespace telvo
