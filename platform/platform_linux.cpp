// The Linux side of the operating-system seam (see platform.h): the Windows
// runtime's model of wide paths, _wopen flags and critical sections mapped
// onto POSIX and glibc.
#if defined(__linux__)

#include "platform/platform.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <pthread.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// ---- UTF-16 to native path -------------------------------------------------

// Appends the UTF-8 form of `codePoint` at out[length] when it fits in
// `capacity` (terminator excluded); gives the new length either way.
size_t putUtf8(char32_t codePoint, char* out, size_t capacity, size_t length)
{
    char bytes[4];
    size_t count;
    if (codePoint < 0x80) {
        bytes[0] = char(codePoint);
        count = 1;
    } else if (codePoint < 0x800) {
        bytes[0] = char(0xC0 | (codePoint >> 6));
        bytes[1] = char(0x80 | (codePoint & 0x3F));
        count = 2;
    } else if (codePoint < 0x10000) {
        bytes[0] = char(0xE0 | (codePoint >> 12));
        bytes[1] = char(0x80 | ((codePoint >> 6) & 0x3F));
        bytes[2] = char(0x80 | (codePoint & 0x3F));
        count = 3;
    } else {
        bytes[0] = char(0xF0 | (codePoint >> 18));
        bytes[1] = char(0x80 | ((codePoint >> 12) & 0x3F));
        bytes[2] = char(0x80 | ((codePoint >> 6) & 0x3F));
        bytes[3] = char(0x80 | (codePoint & 0x3F));
        count = 4;
    }
    for (size_t i = 0; i < count; ++i, ++length)
        if (length < capacity)
            out[length] = bytes[i];
    return length;
}

// Takes one code point from a terminated UTF-16 text; a lone surrogate
// becomes U+FFFD so that every path has a UTF-8 form.
char32_t nextCodePoint(const char16_t*& text)
{
    char32_t unit = *text++;
    if (unit >= 0xD800 && unit <= 0xDBFF && *text >= 0xDC00 && *text <= 0xDFFF)
        return 0x10000 + ((unit - 0xD800) << 10) + (*text++ - 0xDC00);
    if (unit >= 0xD800 && unit <= 0xDFFF)
        return 0xFFFD;
    return unit;
}

// The byte of a native name that a lone low surrogate stands for (see
// platform.h), or -1 for any other unit.
int escapedByte(char16_t unit)
{
    return unit == 0xDC5C || (unit >= 0xDC80 && unit <= 0xDCFF) ? unit - 0xDC00 : -1;
}

// The native form of a wide path into out[0, capacity), terminated and cut
// to fit (capacity >= 1); gives the full length without the terminator.
size_t nativeForm(const char16_t* path, char* out, size_t capacity)
{
    size_t length = 0;
    while (path && *path) {
        // A low surrogate here has no high one before it: a pair is taken whole.
        if (int byte = escapedByte(*path); byte >= 0) {
            if (length < capacity - 1)
                out[length] = char(byte);
            ++length;
            ++path;
            continue;
        }
        char32_t codePoint = nextCodePoint(path);
        length = putUtf8(codePoint == u'\\' ? char32_t(u'/') : codePoint, out, capacity - 1, length);
    }
    out[length < capacity ? length : capacity - 1] = '\0';
    return length;
}

// The native form of a wide path without touching the heap when it is short;
// long paths fall back to a vector.
class NativeText {
public:
    explicit NativeText(const char16_t* path)
    {
        size_t need = nativeForm(path, local_, sizeof local_);
        if (need >= sizeof local_) {
            heap_.resize(need + 1);
            nativeForm(path, heap_.data(), heap_.size());
        }
    }
    const char* get() const { return heap_.empty() ? local_ : heap_.data(); }

private:
    char local_[1024];
    std::vector<char> heap_;
};

// ---- the real system calls behind kelSyscalls ------------------------------

int nativeOpenFlags(int flags)
{
    // Programs that a script starts must not inherit the component's files.
    int native = O_CLOEXEC;
    switch (flags & (kelOpenWriteOnly | kelOpenReadWrite)) {
    case kelOpenWriteOnly:
        native |= O_WRONLY;
        break;
    case kelOpenReadWrite:
        native |= O_RDWR;
        break;
    default:
        native |= O_RDONLY;
        break;
    }
    if (flags & kelOpenAppend)
        native |= O_APPEND;
    if (flags & kelOpenCreate)
        native |= O_CREAT;
    if (flags & kelOpenTruncate)
        native |= O_TRUNC;
    if (flags & kelOpenExclusive)
        native |= O_EXCL;
    // Text and binary mode are the same thing here.
    return native;
}

mode_t nativePermissions(int permissions)
{
    mode_t mode = 0;
    if (permissions & 0x100)
        mode |= S_IRUSR;
    if (permissions & 0x80)
        mode |= S_IWUSR;
    return mode;
}

void* systemMalloc(size_t bytes)
{
    return std::malloc(bytes);
}

void* systemRealloc(void* block, size_t bytes)
{
    return std::realloc(block, bytes);
}

int systemOpen(const char* nativePath, int flags, int permissions)
{
    int fd;
    do
        fd = ::open(nativePath, nativeOpenFlags(flags), nativePermissions(permissions));
    while (fd == -1 && errno == EINTR);
    // A temporary file is deleted at its last close on Windows; unlinking the
    // name at once gives the same end, and nothing opens it by name again.
    if (fd != -1 && (flags & kelOpenTemporary))
        ::unlink(nativePath);
    return fd;
}

long long systemWrite(int fd, const void* data, size_t bytes)
{
    ssize_t written;
    do
        written = ::write(fd, data, bytes);
    while (written == -1 && errno == EINTR);
    return written;
}

long long systemSeek(int fd, long long offset, int origin)
{
    int whence = origin == kelSeekCur ? SEEK_CUR : origin == kelSeekEnd ? SEEK_END : SEEK_SET;
    return ::lseek(fd, off_t(offset), whence);
}

void showOnStandardError(const char16_t* message, const char16_t* caption);

constexpr KelSyscalls defaultSyscalls = {systemMalloc, systemRealloc, systemOpen,
                                         systemWrite,  systemSeek,    showOnStandardError};

}  // namespace

KelSyscalls kelSyscalls = defaultSyscalls;

void kelRestoreSyscalls()
{
    kelSyscalls = defaultSyscalls;
}

// ---- descriptor calls ------------------------------------------------------

size_t kelNativePath(const char16_t* path, char* out, size_t capacity)
{
    char dummy;
    if (capacity == 0) {
        out = &dummy;
        capacity = 1;
    }
    return nativeForm(path, out, capacity);
}

char16_t kelNativeSeparator()
{
    return u'/';
}

int kelWOpen(const char16_t* path, int flags, int permissions)
{
    NativeText native(path);
    return kelSyscalls.open(native.get(), flags, permissions);
}

long long kelRead(int fd, void* buffer, size_t bytes)
{
    ssize_t got;
    do
        got = ::read(fd, buffer, bytes);
    while (got == -1 && errno == EINTR);
    return got;
}

int kelClose(int fd)
{
    // Retrying a close after EINTR may close a descriptor that another thread
    // has just been given, so the one call stands.
    return ::close(fd);
}

int kelWUnlink(const char16_t* path)
{
    NativeText native(path);
    return ::unlink(native.get());
}

// ---- native path to UTF-16 ---------------------------------------------------

namespace {

// The length of the valid shortest UTF-8 form at `p` (1 to 4 bytes), whose
// character goes to `codePoint`; 0 when the bytes up to `end` hold none
// there. A native name needs only this test, as any other byte is escaped;
// decoding text is not this layer's job.
int validLength(const unsigned char* p, const unsigned char* end, char32_t& codePoint)
{
    unsigned char lead = p[0];
    int length = lead < 0x80 ? 1 : (lead & 0xE0) == 0xC0 ? 2 : (lead & 0xF0) == 0xE0 ? 3 : (lead & 0xF8) == 0xF0 ? 4 : 0;
    if (length == 0 || end - p < length)
        return 0;
    static const char32_t shortest[] = {0, 0, 0x80, 0x800, 0x10000};
    char32_t value = length == 1 ? lead : lead & (0x7F >> length);
    for (int i = 1; i < length; ++i) {
        if ((p[i] & 0xC0) != 0x80)
            return 0;
        value = (value << 6) | (p[i] & 0x3F);
    }
    if (value < shortest[length] || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
        return 0;
    codePoint = value;
    return length;
}

void putUnit(char16_t unit, char16_t* out, size_t capacity, size_t& length)
{
    if (length < capacity)
        out[length] = unit;
    ++length;
}

}  // namespace

size_t kelWidePath(const char* nativePath, char16_t* out, size_t capacity)
{
    char16_t dummy;
    if (capacity == 0) {
        out = &dummy;
        capacity = 1;
    }
    size_t length = 0;
    const auto* p = reinterpret_cast<const unsigned char*>(nativePath ? nativePath : "");
    const unsigned char* end = p + std::strlen(reinterpret_cast<const char*>(p));
    while (p < end) {
        char32_t codePoint = 0;
        int taken = validLength(p, end, codePoint);
        if (taken == 0 || codePoint == u'\\') {
            putUnit(char16_t(0xDC00 + *p++), out, capacity - 1, length);
            continue;
        }
        p += taken;
        if (codePoint >= 0x10000) {
            putUnit(char16_t(0xD800 + ((codePoint - 0x10000) >> 10)), out, capacity - 1, length);
            codePoint = 0xDC00 + ((codePoint - 0x10000) & 0x3FF);
        }
        putUnit(codePoint == u'/' ? u'\\' : char16_t(codePoint), out, capacity - 1, length);
    }
    out[length < capacity ? length : capacity - 1] = 0;
    return length;
}

// ---- critical section ------------------------------------------------------

// Enter and leave are inline in platform.h; these are the roads that meet
// another thread. A waiter sleeps at once instead of spinning: with more
// threads than cores, spinning on a preempted holder only burns the holder's
// time.

void kelCriticalSectionInit(KelCriticalSection* section)
{
    section->word.store(0, std::memory_order_relaxed);
    section->owner.store(nullptr, std::memory_order_relaxed);
    section->depth = 0;
}

void kelCriticalSectionWait(KelCriticalSection* section)
{
    // From here on the word says 2, so that the holder's release wakes a sleeper.
    while (section->word.exchange(2, std::memory_order_acquire) != 0)
        syscall(SYS_futex, reinterpret_cast<int*>(&section->word), FUTEX_WAIT_PRIVATE, 2, nullptr, nullptr, 0);
}

void kelCriticalSectionWake(KelCriticalSection* section)
{
    syscall(SYS_futex, reinterpret_cast<int*>(&section->word), FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

// ---- Ctrl-C disposition ----------------------------------------------------

namespace {

struct InterruptDisposition {
    struct sigaction action;
    sigset_t mask;  // this thread's mask before SIGINT was blocked
};
static_assert(sizeof(InterruptDisposition) <= sizeof(KelInterruptDisposition::storage),
              "the disposition must fit its storage");

}  // namespace

void kelSaveInterruptDisposition(KelInterruptDisposition* saved)
{
    auto* disposition = new (saved->storage) InterruptDisposition;
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, &disposition->mask);
    sigaction(SIGINT, nullptr, &disposition->action);
}

void kelRestoreInterruptDisposition(const KelInterruptDisposition* saved)
{
    const auto* disposition = std::launder(reinterpret_cast<const InterruptDisposition*>(saved->storage));
    sigaction(SIGINT, &disposition->action, nullptr);
    pthread_sigmask(SIG_SETMASK, &disposition->mask, nullptr);
}

// ---- counter, process, memory ----------------------------------------------

long long kelPerformanceCounter()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (long long)now.tv_sec * 1000000000LL + now.tv_nsec;
}

unsigned kelProcessId()
{
    return unsigned(getpid());
}

namespace {

// Finds "Name:   12345 kB" in the text of /proc/meminfo; gives bytes.
bool meminfoField(const char* text, const char* name, unsigned long long* bytes)
{
    size_t nameLength = std::strlen(name);
    for (const char* line = text; line && *line; line = std::strchr(line, '\n'), line = line ? line + 1 : nullptr) {
        if (std::strncmp(line, name, nameLength) != 0 || line[nameLength] != ':')
            continue;
        char* end = nullptr;
        unsigned long long kib = std::strtoull(line + nameLength + 1, &end, 10);
        if (end == line + nameLength + 1)
            return false;
        *bytes = kib * 1024;
        return true;
    }
    return false;
}

}  // namespace

bool kelMemoryStatus(unsigned long long* freePhysical, unsigned long long* totalPhysical,
                     unsigned long long* freeSwap, unsigned long long* totalSwap)
{
    // Read with plain descriptor calls: this runs when the heap is exhausted.
    char text[8192];
    int fd = ::open("/proc/meminfo", O_RDONLY | O_CLOEXEC);
    if (fd == -1)
        return false;
    size_t length = 0;
    for (;;) {
        long long got = kelRead(fd, text + length, sizeof text - 1 - length);
        if (got <= 0)
            break;
        length += size_t(got);
    }
    ::close(fd);
    text[length] = '\0';

    unsigned long long values[4];
    // Kernels before 3.14 lack MemAvailable; MemFree is the nearest figure.
    bool found = (meminfoField(text, "MemAvailable", &values[0]) || meminfoField(text, "MemFree", &values[0]))
                 && meminfoField(text, "MemTotal", &values[1]) && meminfoField(text, "SwapFree", &values[2])
                 && meminfoField(text, "SwapTotal", &values[3]);
    if (!found)
        return false;
    *freePhysical = values[0];
    *totalPhysical = values[1];
    *freeSwap = values[2];
    *totalSwap = values[3];
    return true;
}

namespace {

// Writes a UTF-16 text to a descriptor as UTF-8 through a stack buffer: the
// heap may be exhausted when this runs.
void writeWide(int fd, const char16_t* text)
{
    char buffer[256];
    size_t length = 0;
    while (text && *text) {
        length = putUtf8(nextCodePoint(text), buffer, sizeof buffer, length);
        if (length > sizeof buffer - 4) {
            systemWrite(fd, buffer, length);
            length = 0;
        }
    }
    if (length)
        systemWrite(fd, buffer, length);
}

void showOnStandardError(const char16_t* message, const char16_t* caption)
{
    // There is no window system to ask; standard error is the user's screen.
    writeWide(STDERR_FILENO, caption);
    systemWrite(STDERR_FILENO, ": ", 2);
    writeWide(STDERR_FILENO, message);
    systemWrite(STDERR_FILENO, "\n", 1);
}

}  // namespace

bool kelPromoteLibraryOf(const void* address)
{
    Dl_info info;
    if (!dladdr(address, &info) || !info.dli_fname)
        return false;
    // RTLD_NOLOAD only changes the flags of the library that is already
    // there. The handle is kept, not closed: the interpreter that needs the
    // symbols cannot be unloaded safely anyway.
    return dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_GLOBAL) != nullptr;
}

void* kelLoadLibrary(const char* path, char* error, size_t capacity)
{
    // RTLD_LOCAL: a component keeps its own copy of the foundation's statics.
    void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!library && error && capacity) {
        const char* reason = dlerror();
        std::strncpy(error, reason ? reason : "unknown error", capacity - 1);
        error[capacity - 1] = '\0';
    }
    return library;
}

void* kelLibrarySymbol(void* library, const char* name)
{
    return library ? dlsym(library, name) : nullptr;
}

size_t kelExecutablePath(char* out, size_t capacity)
{
    if (!out || capacity == 0)
        return 0;
    ssize_t length = readlink("/proc/self/exe", out, capacity - 1);
    if (length <= 0) {
        out[0] = '\0';
        return 0;
    }
    out[length] = '\0';
    return static_cast<size_t>(length);
}

// ---- files that belong to one run: the error file, its directory's lock ----

namespace {

int failWith(const char* text, char* reason, size_t capacity)
{
    if (reason && capacity)
        std::snprintf(reason, capacity, "%s", text);
    return -1;
}

}  // namespace

int kelOpenOwnFile(const char16_t* path, bool create, char* reason, size_t capacity)
{
    NativeText native(path);
    // O_NONBLOCK: opening a FIFO for writing without a reader would wait for
    // ever; the flag is dropped again once the file is known to be regular.
    int flags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | (create ? O_WRONLY | O_CREAT : O_RDONLY);
    int fd;
    do
        fd = ::open(native.get(), flags, S_IRUSR | S_IWUSR);
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
    int fd = ::open(NativeText(path).get(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
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

KelFileKind kelFileKind(const char16_t* path)
{
    struct stat status;
    if (!path || ::stat(NativeText(path).get(), &status) != 0)
        return KelFileKind::none;
    if (S_ISDIR(status.st_mode))
        return KelFileKind::directory;
    return S_ISREG(status.st_mode) ? KelFileKind::regularFile : KelFileKind::other;
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
