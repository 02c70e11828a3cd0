#pragma once

#include <functional>

inline namespace telvo {

namespace foundation {

// Starts a thread that nobody waits for, with a small stack and with every signal blocked, so that no handler runs on
// it. It ends with the process. False when the system has no thread to give.
bool startBackgroundThread(std::function<void()> body);

}  // namespace foundation

}  // namespace telvo
