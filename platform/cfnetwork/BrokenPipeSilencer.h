#pragma once

#include <csignal>

inline namespace telvo {

namespace cfnetwork {

// Keeps the signal of a broken connection from this thread for as long as it lasts, for calls that know no
// MSG_NOSIGNAL.
class BrokenPipeSilencer {
 public:
  BrokenPipeSilencer();
  BrokenPipeSilencer(const BrokenPipeSilencer&) = delete;
  BrokenPipeSilencer& operator=(const BrokenPipeSilencer&) = delete;
  ~BrokenPipeSilencer();

 private:
  sigset_t signals_;
  sigset_t before_;
  bool wasPending_ = false;
};

}  // namespace cfnetwork

}  // namespace telvo
