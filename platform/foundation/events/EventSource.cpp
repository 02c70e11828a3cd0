#include "foundation/events/EventSource.h"

#include <cmath>
#include <utility>

#include <glib-unix.h>

#include "foundation/events/NSRunLoop.h"
#include "foundation/events/RunLoopContext.h"

inline namespace telvo {

namespace foundation {

// The part that outlives the EventSource while its callback runs.
struct EventSource::Implementation {
  struct Body {
    GSource source;
    Implementation* owner;  // null once the EventSource has gone
  };

  Implementation(const Ref<NSRunLoop>& loop, std::function<void()> function)
      : runLoop(loop), callback(std::make_shared<std::function<void()>>(std::move(function))) {
    source = g_source_new(&functions, sizeof(Body));
    body().owner = this;
    g_source_set_can_recurse(source, TRUE);
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;
  ~Implementation() {
    body().owner = nullptr;
    g_source_destroy(source);
    g_source_unref(source);
  }

  Body& body() const { return *reinterpret_cast<Body*>(source); }
  void attach() { g_source_attach(source, runLoop->context().context); }

  static gboolean prepare(GSource*, gint* timeout) {
    *timeout = -1;
    return FALSE;
  }
  static gboolean check(GSource* source) {
    const Implementation* owner = reinterpret_cast<Body*>(source)->owner;
    return owner && owner->tag && g_source_query_unix_fd(source, owner->tag) != 0;
  }
  static gboolean dispatch(GSource* source, GSourceFunc, gpointer) {
    Implementation* const owner = reinterpret_cast<Body*>(source)->owner;
    if (!owner) return G_SOURCE_REMOVE;
    if (owner->tag) {
      owner->ready = g_source_query_unix_fd(source, owner->tag);
    } else {
      g_source_set_ready_time(source, -1);
    }
    // The callback may destroy the source; what it needs until it returns is held here.
    const auto callback = owner->callback;
    const Ref<NSRunLoop> runLoop = owner->runLoop;
    runLoop->context().guard(*callback);
    return G_SOURCE_CONTINUE;
  }
  static GSourceFuncs functions;

  Ref<NSRunLoop> runLoop;
  std::shared_ptr<std::function<void()>> callback;
  GSource* source = nullptr;
  int descriptor = -1;
  gpointer tag = nullptr;  // of the descriptor, while it is watched
  GIOCondition ready = {};
};

GSourceFuncs EventSource::Implementation::functions = {prepare, check, dispatch, nullptr, nullptr, nullptr};

namespace {

GIOCondition conditionFor(unsigned events) {
  unsigned condition = 0;
  if (events & DescriptorSource::Readable) condition |= G_IO_IN | G_IO_HUP | G_IO_ERR;
  if (events & DescriptorSource::Writable) condition |= G_IO_OUT | G_IO_HUP | G_IO_ERR;
  return static_cast<GIOCondition>(condition);
}

}  // namespace

EventSource::EventSource(const Ref<NSRunLoop>& runLoop, std::function<void()> callback)
    : implementation_(std::make_unique<Implementation>(runLoop, std::move(callback))) {}

EventSource::~EventSource() = default;

DescriptorSource::DescriptorSource(const Ref<NSRunLoop>& runLoop, int descriptor, unsigned events,
                                   std::function<void()> callback)
    : EventSource(runLoop, std::move(callback)) {
  implementation_->descriptor = descriptor;
  setEvents(events);
  implementation_->attach();
}

void DescriptorSource::setEvents(unsigned events) {
  Implementation& own = *implementation_;
  // A descriptor that has failed is reported whatever is asked for, so one that is not watched must not be polled.
  if (own.tag && events == None) {
    g_source_remove_unix_fd(own.source, std::exchange(own.tag, nullptr));
  } else if (own.tag) {
    g_source_modify_unix_fd(own.source, own.tag, conditionFor(events));
  } else if (events != None) {
    own.tag = g_source_add_unix_fd(own.source, own.descriptor, conditionFor(events));
  }
}

bool DescriptorSource::isReadable() const {
  return (implementation_->ready & (G_IO_IN | G_IO_HUP | G_IO_ERR | G_IO_NVAL)) != 0;
}

bool DescriptorSource::isWritable() const { return (implementation_->ready & (G_IO_OUT | G_IO_ERR | G_IO_NVAL)) != 0; }

TimerSource::TimerSource(const Ref<NSRunLoop>& runLoop, std::function<void()> callback)
    : EventSource(runLoop, std::move(callback)) {
  implementation_->attach();
}

void TimerSource::fireAfter(NSTimeInterval seconds) {
  constexpr double farthest = 1e9;
  const double bounded = std::fmin(std::fmax(seconds, 0.0), farthest);
  g_source_set_ready_time(implementation_->source, g_get_monotonic_time() + std::llround(bounded * 1e6));
}

void TimerSource::cancel() { g_source_set_ready_time(implementation_->source, -1); }
bool TimerSource::isPending() const { return g_source_get_ready_time(implementation_->source) >= 0; }

SignalSource::SignalSource(const Ref<NSRunLoop>& runLoop, std::function<void()> callback)
    : EventSource(runLoop, std::move(callback)) {
  implementation_->attach();
}

void SignalSource::signal() { g_source_set_ready_time(implementation_->source, 0); }
void SignalSource::clear() { g_source_set_ready_time(implementation_->source, -1); }

}  // namespace foundation

}  // namespace telvo
