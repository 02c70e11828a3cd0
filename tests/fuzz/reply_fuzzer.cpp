#include <vector>

#include "cfnetwork/FTPReply.h"
#include "tests/fuzz/FuzzInput.h"

using namespace cfnetwork;

namespace {

struct Parsed {
  std::vector<FTPReply> replies;
  bool isDamaged = false;
};

Parsed parsed(std::string_view bytes, std::size_t packet) {
  FTPReplyParser parser;
  Parsed result;
  for (std::size_t start = 0; start < bytes.size(); start += packet) {
    parser.append(bytes.substr(start, packet));
    while (const auto reply = parser.next()) result.replies.push_back(*reply);
  }
  result.isDamaged = parser.isDamaged();
  return result;
}

void checkReply(const FTPReply& reply) {
  require(reply.code >= 100 && reply.code <= 599);
  require(reply.isPreliminary() + reply.isCompletion() + reply.isIntermediate() + reply.isRefusal() == 1);
  require(reply.text.size() <= FTPReplyParser::maximumText);
  // What one reply says about a port, another one with the same text does not.
  const auto extended = FTPPortFromExtendedPassiveReply(reply);
  const auto passive = FTPPortFromPassiveReply(reply);
  require(!extended || (reply.code == 229 && *extended != 0));
  require(!passive || (reply.code == 227 && *passive != 0));
  FTPPortFromExtendedPassiveReply({229, reply.text});
  FTPPortFromPassiveReply({227, reply.text});
}

}  // namespace

// However the bytes are split into packets, the replies in them are the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const Parsed whole = parsed(bytes, size + 1);
  for (const FTPReply& reply : whole.replies) checkReply(reply);
  for (const std::size_t packet : {std::size_t{1}, std::size_t{7}}) {
    const Parsed split = parsed(bytes, packet);
    require(split.isDamaged == whole.isDamaged && split.replies.size() == whole.replies.size());
    for (std::size_t i = 0; i < split.replies.size(); ++i) {
      require(split.replies[i].code == whole.replies[i].code && split.replies[i].text == whole.replies[i].text);
    }
  }
  return 0;
}
