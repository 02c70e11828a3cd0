#include "cfnetwork/BrokenPipeSilencer.h"

#include <cerrno>
#include <ctime>

inline namespace telvo {

namespace cfnetwork {

BrokenPipeSilencer::BrokenPipeSilencer() {
  sigset_t pending;
  sigpending(&pending);
  wasPending_ = sigismember(&pending, SIGPIPE) == 1;
  sigemptyset(&signals_);
  sigaddset(&signals_, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &signals_, &before_);
}

// What the caller looks at next is why its own call has failed.
BrokenPipeSilencer::~BrokenPipeSilencer() {
  const int error = errno;
  const timespec none{};
  if (!wasPending_) sigtimedwait(&signals_, nullptr, &none);
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  errno = error;
}

}  // namespace cfnetwork

}  // namespace telvo
