#include "foundation/events/NSRunLoop.h"

#include <cmath>
#include <exception>
#include <utility>

#include <glib.h>

#include "foundation/events/EventSource.h"
#include "foundation/events/NSThread.h"
#include "foundation/events/NSTimer.h"
#include "foundation/events/RunLoopContext.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSDate.h"

inline namespace telvo {

namespace {

struct BlockSource {
  GSource source;
  NSRunLoop::Context* context;
};

gboolean dispatchBlocks(GSource* source, GSourceFunc, gpointer) {
  NSRunLoop::Context& context = *reinterpret_cast<BlockSource*>(source)->context;
  // One block per dispatch: a block that runs the loop again then finds the following ones still queued.
  std::function<void()> block;
  {
    const std::lock_guard lock(context.mutex);
    if (context.blocks.empty()) {
      g_source_set_ready_time(source, -1);
      return G_SOURCE_CONTINUE;
    }
    block = std::move(context.blocks.front());
    context.blocks.pop_front();
    if (context.blocks.empty()) g_source_set_ready_time(source, -1);
  }
  context.guard(block);
  return G_SOURCE_CONTINUE;
}

GSourceFuncs blockSourceFunctions = {nullptr, nullptr, dispatchBlocks, nullptr, nullptr, nullptr};

gboolean ignoreDeadline(GSource*, GSourceFunc, gpointer) { return G_SOURCE_REMOVE; }
GSourceFuncs deadlineFunctions = {nullptr, nullptr, ignoreDeadline, nullptr, nullptr, nullptr};

Ref<NSRunLoop> makeRunLoop(GMainContext* mainContext) {
  auto context = std::make_unique<NSRunLoop::Context>(mainContext);
  context->blockSource = g_source_new(&blockSourceFunctions, sizeof(BlockSource));
  reinterpret_cast<BlockSource*>(context->blockSource)->context = context.get();
  g_source_set_can_recurse(context->blockSource, TRUE);
  g_source_set_static_name(context->blockSource, "performed blocks");
  g_source_attach(context->blockSource, mainContext);
  return make<NSRunLoop>(std::move(context));
}

// The loop of a thread other than the main one; its context is the thread's default while the thread lives, so that
// asynchronous operations report to it.
struct ThreadRunLoop {
  ThreadRunLoop() {
    GMainContext* const mainContext = g_main_context_new();
    g_main_context_push_thread_default(mainContext);
    runLoop = makeRunLoop(mainContext);
  }
  ThreadRunLoop(const ThreadRunLoop&) = delete;
  ThreadRunLoop& operator=(const ThreadRunLoop&) = delete;
  ~ThreadRunLoop() {
    // A timer that nobody will fire any more would keep its target, and this loop, for ever.
    runLoop->context().invalidateTimers();
    g_main_context_pop_thread_default(runLoop->context().context);
  }

  Ref<NSRunLoop> runLoop;
};

}  // namespace

const Ref<NSString>& NSDefaultRunLoopMode() { return "kCFRunLoopDefaultMode"_ns; }
const Ref<NSString>& NSRunLoopCommonModes() { return "kCFRunLoopCommonModes"_ns; }

NSRunLoop::Context::~Context() {
  g_source_destroy(blockSource);
  g_source_unref(blockSource);
  g_main_context_unref(context);
}

void NSRunLoop::Context::guard(const std::function<void()>& callback) noexcept {
  try {
    callback();
  } catch (...) {
    if (!exception) exception = std::current_exception();
  }
}

void NSRunLoop::Context::invalidateTimers() {
  while (!timers.empty()) {
    const Ref<NSTimer> timer = *timers.begin();
    timer->invalidate();
  }
}

Class NSRunLoop::classObject() {
  static const NSClass object("NSRunLoop", NSObject::classObject(), {});
  return &object;
}

NSRunLoop::NSRunLoop(std::unique_ptr<Context> context) : context_(std::move(context)) {}
NSRunLoop::~NSRunLoop() = default;

Ref<NSRunLoop> NSRunLoop::mainRunLoop() {
  static const Ref<NSRunLoop>& runLoop = *new Ref<NSRunLoop>(makeRunLoop(g_main_context_ref(g_main_context_default())));
  return runLoop;
}

Ref<NSRunLoop> NSRunLoop::currentRunLoop() {
  if (foundation::isMainThread()) return mainRunLoop();
  thread_local const ThreadRunLoop own;
  return own.runLoop;
}

bool NSRunLoop::runMode_beforeDate(const Ref<NSString>&, const Ref<NSDate>& limit) {
  const Ref<NSRunLoop> keptAlive(this);
  // An exception that waits for the end of an outer turn is none of this turn's.
  std::exception_ptr outer = std::exchange(context_->exception, nullptr);
  const double seconds = limit ? limit->timeIntervalSinceNow() : 0.0;
  GSource* deadline = nullptr;
  if (seconds > 0) {
    // The limit is kept by the monotonic clock, so a change of the system's clock does not stretch a turn.
    constexpr double farthest = 1e9;
    deadline = g_source_new(&deadlineFunctions, sizeof(GSource));
    g_source_set_ready_time(deadline, g_get_monotonic_time() + std::llround(std::fmin(seconds, farthest) * 1e6));
    g_source_attach(deadline, context_->context);
  }
  g_main_context_iteration(context_->context, seconds > 0);
  if (deadline) {
    g_source_destroy(deadline);
    g_source_unref(deadline);
  }
  if (std::exception_ptr own = std::exchange(context_->exception, std::move(outer))) std::rethrow_exception(own);
  return true;
}

void NSRunLoop::runUntilDate(const Ref<NSDate>& limit) {
  if (!limit) return;
  do {
    runMode_beforeDate(NSDefaultRunLoopMode(), limit);
  } while (limit->timeIntervalSinceNow() > 0);
}

void NSRunLoop::performBlock(std::function<void()> block) {
  const std::lock_guard lock(context_->mutex);
  context_->blocks.push_back(std::move(block));
  g_source_set_ready_time(context_->blockSource, 0);
}

void NSRunLoop::addTimer_forMode(const Ref<NSTimer>& timer, const Ref<NSString>&) {
  if (timer) timer->scheduleInRunLoop(Ref<NSRunLoop>(this));
}

}  // namespace telvo
