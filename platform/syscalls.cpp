// The calls that go through kelSyscalls, the same on every OS: each platform
// file fills the table with its real calls, and tests may swap entries.
#include "platform/platform.h"

#include <cstdlib>

void* kelHeapAlloc(size_t bytes)
{
    return kelSyscalls.malloc(bytes);
}

void* kelHeapRealloc(void* block, size_t bytes)
{
    return kelSyscalls.realloc(block, bytes);
}

void kelHeapFree(void* block)
{
    std::free(block);
}

long long kelWrite(int fd, const void* data, size_t bytes)
{
    return kelSyscalls.write(fd, data, bytes);
}

long long kelLseeki64(int fd, long long offset, int origin)
{
    return kelSyscalls.seek(fd, offset, origin);
}

void kelShowOutOfMemoryMessage(const char16_t* message, const char16_t* caption)
{
    kelSyscalls.messageBox(message, caption);
}
