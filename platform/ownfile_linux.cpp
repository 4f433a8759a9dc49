// The Linux side of the files that belong to one run (see platform.h): the
// script engine's error file, the lock of its directory, the current
// directory.
#if defined(__linux__)

#include "platform/platform.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::string nativeOf(const char16_t* path)
{
    std::vector<char> buffer(256);
    size_t length = kelNativePath(path, buffer.data(), buffer.size());
    if (length >= buffer.size()) {
        buffer.resize(length + 1);
        length = kelNativePath(path, buffer.data(), buffer.size());
    }
    return std::string(buffer.data(), length);
}

int failWith(const char* text, char* reason, size_t capacity)
{
    if (reason && capacity)
        std::snprintf(reason, capacity, "%s", text);
    return -1;
}

}  // namespace

int kelOpenOwnFile(const char16_t* path, bool create, char* reason, size_t capacity)
{
    std::string native = nativeOf(path);
    // O_NONBLOCK: opening a FIFO for writing without a reader would wait for
    // ever; the flag is dropped again once the file is known to be regular.
    int flags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | (create ? O_WRONLY | O_CREAT : O_RDONLY);
    int fd;
    do
        fd = ::open(native.c_str(), flags, S_IRUSR | S_IWUSR);
    while (fd == -1 && errno == EINTR);
    if (fd == -1 && errno == ELOOP)
        return failWith("it is a symbolic link", reason, capacity);
    if (fd == -1)  // ENXIO: a FIFO without a reader, or a socket
        return failWith(errno == ENXIO ? "it is not a regular file" : std::strerror(errno), reason, capacity);
    struct stat status;
    const char* refused = nullptr;
    if (::fstat(fd, &status) != 0)
        refused = std::strerror(errno);
    else if (!S_ISREG(status.st_mode))
        refused = "it is not a regular file";
    else if (status.st_nlink != 1)
        refused = "it has other names";
    else if (status.st_uid != ::geteuid())
        refused = "it belongs to another user";
    else if (::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK & (O_ACCMODE | O_APPEND)) != 0 ||
             (create && ::ftruncate(fd, 0) != 0))
        refused = std::strerror(errno);
    if (refused) {
        ::close(fd);
        return failWith(refused, reason, capacity);
    }
    return fd;
}

int kelLockDirectory(const char16_t* path)
{
    int fd = ::open(nativeOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd == -1)
        return -1;
    if (::flock(fd, LOCK_EX | LOCK_NB) == 0)
        return fd;
    ::close(fd);
    return -2;
}

void kelUnlockDirectory(int handle)
{
    if (handle >= 0)
        ::close(handle);  // the lock goes with the descriptor
}

bool kelIsAbsolutePath(const char16_t* path)
{
    return path && (path[0] == u'\\' || path[0] == u'/');
}

size_t kelCurrentDirectory(char* out, size_t capacity)
{
    if (!out || capacity == 0)
        return 0;
    std::vector<char> directory(capacity);
    while (!::getcwd(directory.data(), directory.size())) {
        if (errno != ERANGE) {
            out[0] = '\0';
            return 0;
        }
        directory.resize(directory.size() * 2);
    }
    std::snprintf(out, capacity, "%s", directory.data());
    return std::strlen(directory.data());
}

#endif  // __linux__
