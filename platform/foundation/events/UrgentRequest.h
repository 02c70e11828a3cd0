#pragma once

#include <functional>

inline namespace telvo {

namespace foundation {

// What is served on the main thread even while a call there waits for another program without turning the run loop: the
// request to end the process. One for the process, set by the application before anything waits; a descriptor of -1 is
// none.
struct UrgentRequest {
  int descriptor = -1;  // readable when the request has come
  std::function<void()> serve;
};

void setUrgentRequest(UrgentRequest request);
const UrgentRequest& urgentRequest();

}  // namespace foundation

}  // namespace telvo
