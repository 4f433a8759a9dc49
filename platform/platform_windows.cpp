// The Windows side of the operating-system seam (see platform.h): the wide
// runtime calls, critical sections and the Win32 process queries, with the
// 16-bit unit of this library being wchar_t here.
#if defined(_WIN32)

#include "platform/platform.h"

#include <windows.h>

#include <aclapi.h>

#include <fcntl.h>
#include <signal.h>
#include <io.h>
#include <sys/stat.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

static_assert(sizeof(wchar_t) == sizeof(char16_t), "the runtime's wide unit is UTF-16");

namespace {

const wchar_t* wideOf(const char16_t* text)
{
    return reinterpret_cast<const wchar_t*>(text);
}

// A text converted by one of the system's two UTF-8 converters, on the stack
// when it is short: the spill opens its file when the heap has run out.
// Lone surrogates have no UTF-8 form and come out as U+FFFD, the rule of the
// POSIX side too; the descriptor calls that take a wide path as it is
// (_wunlink, _wfopen) see such a name whole.
template <class Unit>
class Converted {
public:
    const Unit* get() const { return heap_.empty() ? local_ : heap_.data(); }

protected:
    // `convert(out, capacity)` gives the units needed including the
    // terminator, or 0 on failure; a capacity of 0 only measures.
    template <class Convert>
    void fill(Convert convert)
    {
        local_[0] = 0;
        int need = convert(local_, int(sizeof local_ / sizeof local_[0]));
        if (need > 0)
            return;
        need = convert(nullptr, 0);
        if (need <= 0)
            return;
        heap_.resize(size_t(need));
        if (convert(heap_.data(), need) <= 0)
            heap_.assign(1, 0);
    }

private:
    Unit local_[1024];
    std::vector<Unit> heap_;
};

class Utf8Text : public Converted<char> {
public:
    explicit Utf8Text(const char16_t* text)
    {
        const wchar_t* wide = text ? wideOf(text) : L"";
        fill([wide](char* out, int capacity) {
            return WideCharToMultiByte(CP_UTF8, 0, wide, -1, out, capacity, nullptr, nullptr);
        });
    }
};

class WideText : public Converted<wchar_t> {
public:
    explicit WideText(const char* text)
    {
        const char* bytes = text ? text : "";
        fill([bytes](wchar_t* out, int capacity) { return MultiByteToWideChar(CP_UTF8, 0, bytes, -1, out, capacity); });
    }
};

// Copies a terminated text into out[0, capacity), cut to fit and terminated;
// gives its length. A capacity of 0 writes nothing.
template <class Unit>
size_t copyCut(const Unit* text, Unit* out, size_t capacity)
{
    size_t length = 0;
    while (text[length])
        ++length;
    if (capacity > 0) {
        size_t kept = length < capacity ? length : capacity - 1;
        std::memcpy(out, text, kept * sizeof(Unit));
        out[kept] = 0;
    }
    return length;
}

// The system's text for an error code, without its line end, cut to fit.
void systemErrorText(DWORD code, char* out, size_t capacity)
{
    char text[512];
    DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, text,
                                  sizeof text, nullptr);
    while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r' || text[length - 1] == ' '))
        --length;
    if (length == 0)
        length = DWORD(std::snprintf(text, sizeof text, "error %lu", (unsigned long)code));
    text[length] = '\0';
    copyCut(text, out, capacity);
}

// The runtime takes counts as unsigned int: larger requests go in as the
// largest count that a result of int can still report.
unsigned runtimeCount(size_t bytes)
{
    return bytes > size_t(INT_MAX) ? unsigned(INT_MAX) : unsigned(bytes);
}

// ---- the real calls behind kelSyscalls -------------------------------------

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
    // The kelOpen* flags are the runtime's own. Programs that a script starts
    // must not inherit the component's files.
    WideText path(nativePath);
    return _wopen(path.get(), flags | _O_NOINHERIT, permissions & (_S_IREAD | _S_IWRITE));
}

long long systemWrite(int fd, const void* data, size_t bytes)
{
    return _write(fd, data, runtimeCount(bytes));
}

long long systemSeek(int fd, long long offset, int origin)
{
    return _lseeki64(fd, offset, origin == kelSeekCur ? SEEK_CUR : origin == kelSeekEnd ? SEEK_END : SEEK_SET);
}

void systemMessageBox(const char16_t* message, const char16_t* caption)
{
    MessageBoxW(nullptr, message ? wideOf(message) : L"", caption ? wideOf(caption) : L"", MB_OK);
}

constexpr KelSyscalls defaultSyscalls = {systemMalloc, systemRealloc, systemOpen,
                                         systemWrite,  systemSeek,    systemMessageBox};

}  // namespace

KelSyscalls kelSyscalls = defaultSyscalls;

void kelRestoreSyscalls()
{
    kelSyscalls = defaultSyscalls;
}

// ---- descriptor calls ------------------------------------------------------

size_t kelNativePath(const char16_t* path, char* out, size_t capacity)
{
    // Windows names are UTF-16 and take the canonical backslashes as they
    // are: the native form is the same path in UTF-8.
    Utf8Text native(path);
    return copyCut(native.get(), out, capacity);
}

size_t kelWidePath(const char* nativePath, char16_t* out, size_t capacity)
{
    WideText wide(nativePath);
    size_t length = copyCut(reinterpret_cast<const char16_t*>(wide.get()), out, capacity);
    // Both slashes separate here; the canonical form has backslashes.
    for (size_t i = 0; capacity > 0 && i < length && i < capacity - 1; ++i)
        if (out[i] == u'/')
            out[i] = u'\\';
    return length;
}

char16_t kelNativeSeparator()
{
    return u'\\';
}

int kelWOpen(const char16_t* path, int flags, int permissions)
{
    Utf8Text native(path);
    return kelSyscalls.open(native.get(), flags, permissions);
}

long long kelRead(int fd, void* buffer, size_t bytes)
{
    return _read(fd, buffer, runtimeCount(bytes));
}

int kelClose(int fd)
{
    return _close(fd);
}

int kelWUnlink(const char16_t* path)
{
    return _wunlink(path ? wideOf(path) : L"");
}

// ---- critical section ------------------------------------------------------

static_assert(sizeof(CRITICAL_SECTION) <= sizeof(KelCriticalSection::storage), "the section must fit its storage");

namespace {

CRITICAL_SECTION* sectionOf(KelCriticalSection* section)
{
    return std::launder(reinterpret_cast<CRITICAL_SECTION*>(section->storage));
}

}  // namespace

void kelCriticalSectionInit(KelCriticalSection* section)
{
    InitializeCriticalSection(new (section->storage) CRITICAL_SECTION);
}

void kelCriticalSectionEnter(KelCriticalSection* section)
{
    EnterCriticalSection(sectionOf(section));
}

void kelCriticalSectionLeave(KelCriticalSection* section)
{
    LeaveCriticalSection(sectionOf(section));
}

// ---- counter, process, memory ----------------------------------------------

long long kelPerformanceCounter()
{
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return now.QuadPart;
}

unsigned kelProcessId()
{
    return unsigned(GetCurrentProcessId());
}

bool kelMemoryStatus(unsigned long long* freePhysical, unsigned long long* totalPhysical,
                     unsigned long long* freeSwap, unsigned long long* totalSwap)
{
    MEMORYSTATUSEX status;
    status.dwLength = sizeof status;
    if (!GlobalMemoryStatusEx(&status))
        return false;
    // Windows has no swap figure of its own. The memory report's swap rows
    // take the smaller of the address space beyond physical memory and the
    // commit limit (which counts physical memory too), and likewise for what
    // is free; on 64-bit Windows that is in effect the commit figures.
    unsigned long long swapTotal = status.ullTotalVirtual - status.ullTotalPhys;
    if (status.ullTotalPageFile < swapTotal)
        swapTotal = status.ullTotalPageFile;
    unsigned long long swapFree = status.ullAvailVirtual - status.ullAvailPhys;
    if (status.ullAvailPageFile < swapFree)
        swapFree = status.ullAvailPageFile;
    if ((long long)swapTotal < (long long)swapFree)
        swapFree = swapTotal;
    *freePhysical = status.ullAvailPhys;
    *totalPhysical = status.ullTotalPhys;
    *freeSwap = swapFree;
    *totalSwap = swapTotal;
    return true;
}

// ---- libraries and the program ---------------------------------------------

bool kelPromoteLibraryOf(const void* address)
{
    // Each module binds its imports by name at load, so there is no global
    // symbol scope to join: finding the module is all there is to do.
    HMODULE module = nullptr;
    return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                              static_cast<LPCWSTR>(address), &module)
           && module;
}

void* kelLoadLibrary(const char* path, char* error, size_t capacity)
{
    WideText widePath(path);
    HMODULE library = LoadLibraryW(widePath.get());
    if (!library && error)
        systemErrorText(GetLastError(), error, capacity);
    return library;
}

void* kelLibrarySymbol(void* library, const char* name)
{
    return library ? reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name)) : nullptr;
}

size_t kelExecutablePath(char* out, size_t capacity)
{
    if (!out || capacity == 0)
        return 0;
    // Long paths may pass MAX_PATH; the runtime's own limit is 32767 units.
    std::vector<wchar_t> wide(32768);
    DWORD length = GetModuleFileNameW(nullptr, wide.data(), DWORD(wide.size()));
    if (length == 0 || length >= wide.size()) {
        out[0] = '\0';
        return 0;
    }
    Utf8Text native(reinterpret_cast<const char16_t*>(wide.data()));
    return copyCut(native.get(), out, capacity);
}

// ---- files that belong to one run: the error file, its directory's lock ----

namespace {

int failWith(const char* text, char* reason, size_t capacity)
{
    if (reason && capacity)
        copyCut(text, reason, capacity);
    return -1;
}

// True when the file's owner is the user this process runs as.
bool ownedByThisUser(HANDLE file)
{
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr, nullptr,
                        &descriptor) != ERROR_SUCCESS)
        return false;
    bool same = false;
    HANDLE token = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) {
        DWORD size = 0;
        GetTokenInformation(token, TokenUser, nullptr, 0, &size);
        std::vector<unsigned char> user(size ? size : 1);
        if (GetTokenInformation(token, TokenUser, user.data(), size, &size))
            same = EqualSid(owner, reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid);
        CloseHandle(token);
    }
    LocalFree(descriptor);
    return same;
}

// Why an open file is not one of this run's own, or null when it is.
const char* refusalOf(HANDLE file)
{
    // Devices (NUL, CON, COM1 in any folder) and pipes are no disk files.
    if (GetFileType(file) != FILE_TYPE_DISK)
        return "it is not a regular file";
    BY_HANDLE_FILE_INFORMATION information;
    if (!GetFileInformationByHandle(file, &information))
        return "its file information cannot be read";
    if (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT)
        return "it is a symbolic link";
    if (information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        return "it is not a regular file";
    if (information.nNumberOfLinks != 1)
        return "it has other names";
    if (!ownedByThisUser(file))
        return "it belongs to another user";
    return nullptr;
}

}  // namespace

int kelOpenOwnFile(const char16_t* path, bool create, char* reason, size_t capacity)
{
    // FILE_FLAG_OPEN_REPARSE_POINT opens a link itself instead of its target,
    // FILE_FLAG_BACKUP_SEMANTICS lets a directory open so that it is refused
    // by name, and sharing delete lets the file be removed while open, as on
    // POSIX. Opening a pipe that is busy fails at once instead of waiting.
    HANDLE file = CreateFileW(path ? wideOf(path) : L"", create ? GENERIC_WRITE : GENERIC_READ,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              create ? OPEN_ALWAYS : OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        if (reason)
            systemErrorText(GetLastError(), reason, capacity);
        return -1;
    }
    const char* refused = refusalOf(file);
    if (!refused && create && !SetEndOfFile(file))
        refused = "it cannot be emptied";
    // From here on the runtime's descriptor owns the handle.
    int fd = refused ? -1 : _open_osfhandle(intptr_t(file), (create ? _O_WRONLY : _O_RDONLY) | _O_BINARY);
    if (fd == -1) {
        CloseHandle(file);
        return failWith(refused ? refused : "no descriptor is left", reason, capacity);
    }
    return fd;
}

int kelLockDirectory(const char16_t* path)
{
    // Windows locks no directories. The lock is a handle with the right to
    // add files that shares everything but that right: a second lock meets a
    // sharing violation, while listing the directory and working in it go on.
    HANDLE directory = CreateFileW(path ? wideOf(path) : L"", FILE_ADD_FILE, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                   nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (directory == INVALID_HANDLE_VALUE)
        return GetLastError() == ERROR_SHARING_VIOLATION ? -2 : -1;
    int fd = _open_osfhandle(intptr_t(directory), _O_RDONLY);
    if (fd == -1)
        CloseHandle(directory);
    return fd;
}

void kelUnlockDirectory(int handle)
{
    if (handle >= 0)
        _close(handle);  // closes the directory handle, and the lock with it
}

bool kelIsAbsolutePath(const char16_t* path)
{
    // "c:\x" and UNC names ("\\server\share", "\\?\c:\x"); "\x" depends on
    // the current drive and "c:x" on the current directory of c:.
    auto separator = [](char16_t unit) { return unit == u'\\' || unit == u'/'; };
    if (!path || !path[0])
        return false;
    if (separator(path[0]))
        return separator(path[1]);
    return path[1] == u':' && separator(path[2]);
}

KelFileKind kelFileKind(const char16_t* path)
{
    DWORD attributes = path ? GetFileAttributesW(wideOf(path)) : INVALID_FILE_ATTRIBUTES;
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return KelFileKind::none;
    if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        return KelFileKind::directory;
    return attributes & FILE_ATTRIBUTE_DEVICE ? KelFileKind::other : KelFileKind::regularFile;
}

size_t kelCurrentDirectory(char* out, size_t capacity)
{
    if (!out || capacity == 0)
        return 0;
    std::vector<wchar_t> directory(GetCurrentDirectoryW(0, nullptr) + 1);
    if (directory.size() == 1 || GetCurrentDirectoryW(DWORD(directory.size()), directory.data()) == 0) {
        out[0] = '\0';
        return 0;
    }
    return kelNativePath(reinterpret_cast<const char16_t*>(directory.data()), out, capacity);
}

// ---- Ctrl-C disposition ----------------------------------------------------

namespace {

using InterruptHandler = void (*)(int);

}  // namespace

// The runtime's signal() is the only way to read a disposition, and it sets
// one (ignoring, for that moment): what it gave back is set again at once.
void kelSaveInterruptDisposition(KelInterruptDisposition* saved)
{
    InterruptHandler previous = signal(SIGINT, SIG_IGN);
    if (previous != SIG_ERR)
        signal(SIGINT, previous);
    std::memcpy(saved->storage, &previous, sizeof previous);
}

void kelRestoreInterruptDisposition(const KelInterruptDisposition* saved)
{
    InterruptHandler previous;
    std::memcpy(&previous, saved->storage, sizeof previous);
    if (previous != SIG_ERR)
        signal(SIGINT, previous);
}

#endif  // _WIN32
