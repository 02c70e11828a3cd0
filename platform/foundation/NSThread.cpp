#include "foundation/NSThread.h"

#include <unistd.h>

bool foundation::isMainThread() {
  thread_local const bool main = getpid() == gettid();
  return main;
}
