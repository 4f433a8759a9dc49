// The entries of the second test module; each runs on the module's own statics.
#include "tests/memory/module/bucketmodule.h"

#include "core/bucketpool.h"
#include "core/serviceprovider.h"

void moduleSetProvider(IKelServiceProvider* provider)
{
    kelSetServiceProvider(provider);
}

void* moduleAlloc(int size, int* gotSize)
{
    return bucketAlloc(size, gotSize);
}

void moduleFree(int size, void** block)
{
    bucketFree(size, block);
}

BucketMemoryPool* moduleCurrentPool()
{
    return bucketCurrentPool();
}
