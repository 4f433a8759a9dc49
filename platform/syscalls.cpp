// The calls that are the same on every OS: those that go through kelSyscalls
// (each platform file fills the table with its real calls, and tests may swap
// entries) and the whole-file read built on the descriptor calls.
#include "platform/platform.h"

#include <cstdlib>
#include <memory>

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

bool kelReadFile(const char16_t* path, void (*piece)(void* context, const char* bytes, size_t length), void* context)
{
    int fd = kelWOpen(path, kelOpenReadOnly | kelOpenBinary, 0);
    if (fd == -1)
        return false;
    // Large for a stack; it lives on the heap for the call.
    std::unique_ptr<char[]> block(new char[65536]);
    long long got;
    while ((got = kelRead(fd, block.get(), 65536)) > 0)
        piece(context, block.get(), size_t(got));
    kelClose(fd);
    return got == 0;
}
