#include "cfnetwork/FTPErrand.h"

#include <utility>

#include "cfnetwork/FTPErrors.h"
#include "foundation/errors/NSError.h"

inline namespace telvo {

namespace cfnetwork {

FTPErrand::FTPErrand(std::vector<std::string> commands, Question question, std::string questionCommand)
    : commands_(std::move(commands)), question_(question), questionCommand_(std::move(questionCommand)) {}

// Servers refuse to make what is there, some with 521 and most with the 550 that they have for everything. Whether it
// is a folder shows in whether it can be entered; since all paths are absolute, being in it changes nothing.
FTPErrand FTPErrand::makeFolder(const std::string& path, bool mayExist) {
  return {{"MKD " + path}, mayExist ? Question::AnswerIsGood : Question::None, "CWD " + path};
}

FTPErrand FTPErrand::removeFile(const std::string& path) {
  return {{"DELE " + path}, Question::RefusalIsGood, "SIZE " + path};
}

FTPErrand FTPErrand::removeFolder(const std::string& path) {
  return {{"RMD " + path}, Question::RefusalIsGood, "CWD " + path};
}

FTPErrand FTPErrand::rename(const std::string& from, const std::string& to) {
  return {{"RNFR " + from, "RNTO " + to}, Question::None, ""};
}

void FTPErrand::run(FTPConnection& connection, Completion completion) {
  connection_ = &connection;
  completion_ = std::move(completion);
  next_ = 0;
  runNext();
}

void FTPErrand::runNext() {
  connection_->send(commands_[next_], [this](const FTPReply& reply) {
    const bool isLast = ++next_ == commands_.size();
    if (reply.isRefusal() || (isLast && !reply.isCompletion())) return ask(reply);
    if (!isLast) return runNext();
    // May be the end of this object.
    const Completion completion = std::move(completion_);
    completion(nil);
  });
}

void FTPErrand::ask(const FTPReply& refusal) {
  // "Action not taken", for good. A question about anything else would have no bearing on it.
  const bool isWorthAsking = question_ != Question::None && refusal.code >= 500 && refusal.code != FTPCode::notLoggedIn;
  if (!isWorthAsking) {
    const Completion completion = std::move(completion_);
    return completion(errorWithReply(refusal));
  }
  connection_->send(questionCommand_, [this, refusal](const FTPReply& reply) {
    const bool isGood =
        question_ == Question::AnswerIsGood ? reply.isCompletion() : reply.code == FTPCode::fileUnavailable;
    const Completion completion = std::move(completion_);
    completion(isGood ? Ref<NSError>() : errorWithReply(refusal));
  });
}

}  // namespace cfnetwork

}  // namespace telvo
