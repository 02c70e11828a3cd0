#pragma once

#include "foundation/collections/NSData.h"

TELVO_NAMESPACE_BEGIN

// Extensions of data: one object as an archive and back. Threads: those of the object archived.

// The object in a keyed archive, written with secure coding; nil when the object is nil, or it or something in it is of
// a class that cannot be archived that way (see NSKeyedArchiver).
Ref<NSData> telvo_dataWithObject(const id& object);

// The object in a keyed archive: read with secure coding when it is of the class; else, so that archives from the time
// before secure coding still load, read without it, and then OF WHATEVER CLASS IT IS. Callers check what they get. Nil
// only when there is no object to be read.
id telvo_objectOfClass(const Ref<NSData>& data, Class type);

TELVO_NAMESPACE_END
