// The operating-system seam: the only calls of this library that reach the OS.
//
// The rest of the system is written against the Windows runtime's model (wide
// paths with backslashes, _wopen flags, critical sections); each platform file
// maps that model onto its OS. Paths arrive in canonical form (UTF-16,
// backslashes) and are turned into the native form here, at every file call.
//
// Native names and wide paths. A POSIX name is any run of bytes but '/' and
// zero, and it need not be UTF-8; a wide path must name every such file, and
// a backslash, which separates in the wide form, may be an ordinary character
// of a POSIX name. So, between a native path and its wide form:
//   - '/' natively is '\' in the wide form; '\' and '/' in a wide path both
//     become '/';
//   - a character of valid UTF-8 is itself, a pair of surrogates above U+FFFF;
//   - a native byte that cannot stand as itself, a byte outside valid UTF-8
//     (0x80-0xFF) or a backslash inside a name, is the lone low surrogate
//     U+DC00 + byte: U+DC80-U+DCFF as Python's "surrogateescape" writes such
//     bytes, and U+DC5C for the backslash;
//   - any other lone surrogate has no native form and becomes U+FFFD.
// A native path therefore comes back from its wide form byte for byte, and a
// canonical wide path without other lone surrogates comes back from its
// native form unit for unit. A text
// that names a native file in the native way (Python's paths) differs from
// the wide form only in its backslashes, which are name characters there.
//
// Windows names are UTF-16 already: there the native form is the same path
// in UTF-8, backslashes kept, and '/' in a native path is '\' in the wide
// form. A lone surrogate, which a Windows name may hold, has no UTF-8 form
// and becomes U+FFFD as on POSIX; only the calls that take the wide path as
// it is (kelWUnlink and the run's own files) reach such a name.
//
// Allocation, open, write and seek go through kelSyscalls, a table of function
// pointers, so that a test can make exactly those calls fail; so does the
// out-of-memory message, so that a test can see it without a user to answer.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

// _wopen flags, with the Windows runtime's values.
enum : int {
    kelOpenReadOnly = 0x0000,
    kelOpenWriteOnly = 0x0001,
    kelOpenReadWrite = 0x0002,
    kelOpenAppend = 0x0008,
    kelOpenTemporary = 0x0040,  // the file goes away at its last close
    kelOpenCreate = 0x0100,
    kelOpenTruncate = 0x0200,
    kelOpenExclusive = 0x0400,
    kelOpenText = 0x4000,
    kelOpenBinary = 0x8000,
};
// Permission bits of _wopen: owner read (0x100) and write (0x80).
enum : int { kelPermOwnerReadWrite = 0x0180 };

// Seek origins.
enum : int { kelSeekSet = 0, kelSeekCur = 1, kelSeekEnd = 2 };

// The calls that tests may make fail. Each entry has the contract of the
// kel* wrapper of the same name below (open takes the native path with the
// kelOpen* flags and permission bits; messageBox is the one behind
// kelShowOutOfMemoryMessage); kelRestoreSyscalls() restores the real ones.
struct KelSyscalls {
    void* (*malloc)(size_t bytes);
    void* (*realloc)(void* block, size_t bytes);
    int (*open)(const char* nativePath, int flags, int permissions);
    long long (*write)(int fd, const void* data, size_t bytes);
    long long (*seek)(int fd, long long offset, int origin);
    void (*messageBox)(const char16_t* message, const char16_t* caption);
};
extern KelSyscalls kelSyscalls;
void kelRestoreSyscalls();

// The runtime heap. Null when the heap refuses; kelFree(null) does nothing.
void* kelHeapAlloc(size_t bytes);
void* kelHeapRealloc(void* block, size_t bytes);
void kelHeapFree(void* block);

// Descriptor calls by wide path. `path` is a terminated UTF-16 text in
// canonical form (backslashes); it is decoded and made native here. Flags are
// the kelOpen* values; text and binary mode are the same on POSIX. Results
// follow the runtime: a descriptor or -1; a byte count or -1; a position or
// -1; 0 or -1.
int kelWOpen(const char16_t* path, int flags, int permissions);
long long kelRead(int fd, void* buffer, size_t bytes);
long long kelWrite(int fd, const void* data, size_t bytes);
long long kelLseeki64(int fd, long long offset, int origin);
int kelClose(int fd);
int kelWUnlink(const char16_t* path);

// The native form of a canonical wide path, by the rule above: on POSIX every
// backslash becomes '/', and U+DC5C and U+DC80-U+DCFF their bytes; on
// Windows it is the path in UTF-8. Writes at
// most `capacity` bytes including the terminator; gives the length needed
// without the terminator (so a result >= capacity means the text was cut). A
// null path gives "".
size_t kelNativePath(const char16_t* path, char* out, size_t capacity);
// The canonical wide form of a native path, the other way round. Writes at
// most `capacity` units including the terminator and gives the length needed
// without it, as kelNativePath does. A null path gives "".
size_t kelWidePath(const char* nativePath, char16_t* out, size_t capacity);

// The separator of native paths: '/' on POSIX, '\\' on Windows.
char16_t kelNativeSeparator();

// Reads the file `path` (canonical wide form) byte for byte, as it is: calls
// `piece` with each block read (at most 64 KiB, not terminated), in order.
// False when the file cannot be opened or a read fails (the blocks before the
// failure have been given). No text is decoded here: a caller that wants text
// decodes the bytes itself, so that one codec serves every road.
bool kelReadFile(const char16_t* path, void (*piece)(void* context, const char* bytes, size_t length), void* context);

// Files that one run of this process makes and reads back itself (the
// script engine's error file).
//
// Opens `path` (canonical wide form) never through a symbolic link, never
// waiting on a FIFO or a device, and only when it is a regular file with one
// name that belongs to this process's user. With `create` the file is opened
// write-only, made when missing (owner read and write) and emptied once it
// is known to be such a file; without, read-only. Gives a descriptor, or -1
// with a short reason in `reason` (cut to `capacity` bytes, terminated).
int kelOpenOwnFile(const char16_t* path, bool create, char* reason, size_t capacity);
// Takes the lock of the directory `path` among the processes that take it the
// same way, without waiting. Gives a handle for kelUnlockDirectory, -1 when
// the directory cannot be opened, or -2 when another process holds the lock.
int kelLockDirectory(const char16_t* path);
void kelUnlockDirectory(int handle);
// True when `path` (canonical wide form) does not depend on the current
// directory.
bool kelIsAbsolutePath(const char16_t* path);
// What `path` (canonical wide form) names, links followed: nothing this
// process can see, a directory, a regular file, or anything else (a FIFO, a
// device, a socket), which a reader must not open blindly.
enum class KelFileKind { none, directory, regularFile, other };
KelFileKind kelFileKind(const char16_t* path);
// The native path of the current directory, the bytes the file system has.
// Writes at most `capacity` bytes including the terminator; gives the length
// without it, 0 on failure (a result >= capacity means the text was cut).
size_t kelCurrentDirectory(char* out, size_t capacity);

// A re-entrant lock. kelCriticalSectionInit must run before any other use;
// the section is never destroyed by this library.
#if defined(__linux__)
// The classic three-state futex word (0 free, 1 held, 2 held and maybe waited
// for), an owner and a depth. Entering a free section is one compare-and-swap,
// leaving it one exchange, which sees every waiter that marked the word before
// it, so no wake-up is lost; only a section found taken, or a release that
// finds a waiter, goes to the kernel (platform_linux.cpp). Enter and leave are
// inline because the bucket pool runs them on every block it hands out or
// takes back.
struct KelCriticalSection {
    std::atomic<int> word;
    // The holder's thread pointer, null while nobody holds the section. Only
    // a thread itself ever stores its own pointer, so a relaxed read that
    // finds it proves the section is already held by the reader.
    std::atomic<void*> owner;
    int depth;  // enters beyond the first, so 0 while free; touched by the holder only
};
void kelCriticalSectionInit(KelCriticalSection* section);
// The road of a section found taken: marks the word and sleeps until it is
// free, then holds it.
void kelCriticalSectionWait(KelCriticalSection* section);
// Wakes one thread that sleeps in kelCriticalSectionWait.
void kelCriticalSectionWake(KelCriticalSection* section);

inline void kelCriticalSectionEnter(KelCriticalSection* section)
{
    void* self = __builtin_thread_pointer();  // unique among live threads, read without a call
    if (section->owner.load(std::memory_order_relaxed) == self) {
        ++section->depth;
        return;
    }
    int expected = 0;
    if (!section->word.compare_exchange_strong(expected, 1, std::memory_order_acquire, std::memory_order_relaxed))
        kelCriticalSectionWait(section);
    section->owner.store(self, std::memory_order_relaxed);
}

inline void kelCriticalSectionLeave(KelCriticalSection* section)
{
    if (section->depth > 0) {
        --section->depth;
        return;
    }
    section->owner.store(nullptr, std::memory_order_relaxed);
    if (section->word.exchange(0, std::memory_order_release) == 2)
        kelCriticalSectionWake(section);
}
#else
struct KelCriticalSection {
    alignas(8) unsigned char storage[64];
};
void kelCriticalSectionInit(KelCriticalSection* section);
void kelCriticalSectionEnter(KelCriticalSection* section);
void kelCriticalSectionLeave(KelCriticalSection* section);
#endif

// The process's Ctrl-C disposition (SIGINT), kept across code that would
// take it: the embedded interpreter's signal module puts its own handler in
// place when it is imported and when a handler is set. Save before, restore
// after, on the same thread; in between a Ctrl-C waits (POSIX: SIGINT is
// blocked on this thread) and then meets the restored disposition.
struct KelInterruptDisposition {
    alignas(8) unsigned char storage[512];
};
void kelSaveInterruptDisposition(KelInterruptDisposition* saved);
void kelRestoreInterruptDisposition(const KelInterruptDisposition* saved);

// A monotonic high-resolution counter; only differences and uniqueness matter.
long long kelPerformanceCounter();
unsigned kelProcessId();

// Physical memory and swap from the kernel's own figures, in bytes. False when
// the query failed (the out values are then untouched).
bool kelMemoryStatus(unsigned long long* freePhysical, unsigned long long* totalPhysical,
                     unsigned long long* freeSwap, unsigned long long* totalSwap);

// Shows the out-of-memory message to the user (a message box where there is a
// window system, MessageBoxW on Windows; standard error on Linux). `message`
// is a terminated UTF-16 text.
void kelShowOutOfMemoryMessage(const char16_t* message, const char16_t* caption);

// Makes the symbols of the loaded shared library that holds `address` visible
// to libraries loaded later: the embedded interpreter's extension modules
// need the interpreter's symbols even when this module was loaded privately.
// False when no library holds the address.
bool kelPromoteLibraryOf(const void* address);

// Loads a shared library by its native path. Null on failure, with the
// loader's reason in `error` (cut to `capacity` bytes, terminated).
void* kelLoadLibrary(const char* path, char* error, size_t capacity);
// The address of the exported symbol `name` of a loaded library, or null.
void* kelLibrarySymbol(void* library, const char* name);
// The native path of the running program, UTF-8. Writes at most `capacity`
// bytes including the terminator; gives the length without it, 0 on failure.
size_t kelExecutablePath(char* out, size_t capacity);
