#include "foundation/events/UrgentRequest.h"

#include <utility>

inline namespace telvo {

namespace foundation {
namespace {

UrgentRequest& shared() {
  static UrgentRequest& request = *new UrgentRequest;
  return request;
}

}  // namespace

void setUrgentRequest(UrgentRequest request) { shared() = std::move(request); }
const UrgentRequest& urgentRequest() { return shared(); }

}  // namespace foundation

}  // namespace telvo
