#pragma once

#include <functional>

namespace foundation {

// Called again and again from inside long work, for whatever has to be done meanwhile; false gives the work up.
using Checkpoint = std::function<bool()>;

}  // namespace foundation
