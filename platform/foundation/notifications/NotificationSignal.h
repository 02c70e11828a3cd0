#pragma once

#include "foundation/notifications/NSNotification.h"

using GVariant = struct _GVariant;

inline namespace telvo {

// A notification as the bus signal that carries it, of type (ssa{sv}): name, object and details. For .cpp files of the
// platform only.
namespace foundation {

// The parameters as a floating reference; null when the user information is nested more deeply than the bus allows,
// or when they are larger than what is read.
GVariant* signalFromNotification(const NSNotification& notification, bool deliverImmediately);

// The notification in a signal of anybody's; nil when the parameters are of another type or larger than 1 MB. Details
// of another type than theirs count as missing.
Ref<NSNotification> notificationFromSignal(GVariant* parameters);

}  // namespace foundation

}  // namespace telvo
