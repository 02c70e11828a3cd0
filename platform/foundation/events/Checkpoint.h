#pragma once

#include <functional>

#include "foundation/runtime/Namespace.h"

TELVO_NAMESPACE_BEGIN

namespace foundation {

// Called again and again from inside long work, for whatever has to be done meanwhile; false gives the work up.
using Checkpoint = std::function<bool()>;

}  // namespace foundation

TELVO_NAMESPACE_END
