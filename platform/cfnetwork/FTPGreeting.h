#pragma once

inline namespace telvo {

namespace cfnetwork {

struct FTPReply;

// Whether the greeting names a server that leaves a data connection alone until it has read the command that it is
// for, so that data may go out right behind the command. Of every other server this is not known.
bool FTPGreetingNamesPatientServer(const FTPReply& greeting);

}  // namespace cfnetwork

}  // namespace telvo
