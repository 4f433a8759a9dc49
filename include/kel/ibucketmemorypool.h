// IBucketMemoryPool: the service under which the host publishes the one bucket
// pool of the process (core/bucketpool.h).
#pragma once

#include "kel/kelobject.h"

// The pool as the host publishes it. Adds no operation of its own: callers
// query it for "BucketMemoryPool" and use that table.
class IBucketMemoryPool : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IBucketMemoryPool";
};
