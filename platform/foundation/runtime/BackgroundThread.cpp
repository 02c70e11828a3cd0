#include "foundation/runtime/BackgroundThread.h"

#include <csignal>
#include <memory>
#include <utility>

#include <pthread.h>

inline namespace telvo {

namespace {

constexpr std::size_t stackSize = 256U * 1024U;

void* run(void* argument) {
  const std::unique_ptr<std::function<void()>> body(static_cast<std::function<void()>*>(argument));
  (*body)();
  return nullptr;
}

}  // namespace

bool foundation::startBackgroundThread(std::function<void()> body) {
  auto argument = std::make_unique<std::function<void()>>(std::move(body));
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_attr_setstacksize(&attributes, stackSize);
  // A thread begins with the mask of the one that makes it.
  sigset_t everything;
  sigset_t before;
  sigfillset(&everything);
  pthread_sigmask(SIG_BLOCK, &everything, &before);
  pthread_t thread{};
  const bool started = pthread_create(&thread, &attributes, run, argument.get()) == 0;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  pthread_attr_destroy(&attributes);
  // The thread has it now.
  if (started) [[maybe_unused]]
    auto* const handedOver = argument.release();
  return started;
}

}  // namespace telvo
