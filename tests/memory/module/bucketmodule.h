// A second module for the pool tests: a shared library that carries its own
// copy of the foundation, so its pool state, allocator, critical section and
// service provider are separate from those of the test program.
#pragma once

class IKelServiceProvider;
class BucketMemoryPool;

#define BUCKET_MODULE_API extern "C" __attribute__((visibility("default")))

BUCKET_MODULE_API void moduleSetProvider(IKelServiceProvider* provider);
BUCKET_MODULE_API void* moduleAlloc(int size, int* gotSize);
BUCKET_MODULE_API void moduleFree(int size, void** block);
// Borrowed: the module's current pool, null before its first allocation.
BUCKET_MODULE_API BucketMemoryPool* moduleCurrentPool();
