#pragma once

#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <unordered_set>

#include "foundation/events/NSRunLoop.h"

using GMainContext = struct _GMainContext;
using GSource = struct _GSource;

inline namespace telvo {

// What an NSRunLoop is made of. For .cpp files of the platform only.
struct NSRunLoop::Context {
  explicit Context(GMainContext* mainContext) : context(mainContext) {}
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
  ~Context();

  GMainContext* context;           // owned
  GSource* blockSource = nullptr;  // owned; serves the queue below
  std::mutex mutex;
  std::deque<std::function<void()>> blocks;
  // The exception that left a callback: it must not unwind through the event loop, so it is kept here and goes on
  // from runMode_beforeDate().
  std::exception_ptr exception;
  std::unordered_set<Ref<NSTimer>> timers;  // those that are scheduled

  // Runs the callback, keeping what it throws.
  void guard(const std::function<void()>& callback) noexcept;
  void invalidateTimers();
};

}  // namespace telvo
