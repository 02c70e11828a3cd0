#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

#include <gio/gio.h>

// Owning pointers for GLib's kinds of objects. Not for the library's callers.
namespace telvo {

struct Unref {
  void operator()(gpointer object) const { g_object_unref(object); }
  void operator()(GVariant* value) const { g_variant_unref(value); }
  void operator()(GMainContext* context) const { g_main_context_unref(context); }
};
template <class T>
using Object = std::unique_ptr<T, Unref>;
using Variant = Object<GVariant>;

struct Free {
  void operator()(gpointer memory) const { g_free(memory); }
};
using Text = std::unique_ptr<gchar, Free>;

// Where a function leaves its error. Give it to one function.
class Error {
 public:
  Error() = default;
  Error(const Error&) = delete;
  Error& operator=(const Error&) = delete;
  ~Error() { g_clear_error(&error_); }

  GError** place() { return &error_; }
  bool isCancelled() const { return g_error_matches(error_, G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE; }
  std::string message() const { return error_ ? error_->message : "unknown error"; }

 private:
  GError* error_ = nullptr;
};

// Cancels what is given its cancellable() when that takes longer than the limit: GIO's functions that wait have no
// limit of their own, or one of 25 s.
class TimeLimit {
 public:
  explicit TimeLimit(std::chrono::milliseconds limit)
      : cancellable_(g_cancellable_new()), thread_([this, limit](const std::stop_token& done) {
          std::unique_lock lock(mutex_);
          wake_.wait_for(lock, done, limit, [] { return false; });
          if (!done.stop_requested()) g_cancellable_cancel(cancellable_.get());
        }) {}

  GCancellable* cancellable() const { return cancellable_.get(); }

 private:
  Object<GCancellable> cancellable_;
  std::mutex mutex_;
  std::condition_variable_any wake_;
  std::jthread thread_;
};

}  // namespace telvo
