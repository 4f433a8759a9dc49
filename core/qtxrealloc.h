// Guarded allocation inside the foundation: the host's memory manager, and the
// one hook by which a spill and the orderly end (qtxMemoryExhausted) reach the
// layers above. The allocation calls and arrays are in kel/kelarray.h.
#pragma once

#include "kel/kelarray.h"

namespace KelMM {
class IKelMManager;
}
class KelWideString;

// Borrowed: the host's memory manager, looked up once on first use and kept
// (with one reference) until process end; null when the host has none.
KelMM::IKelMManager* qtxMemoryManager();

// What guarded allocation needs from above when the heap has refused: the
// name of the temporary file that parks a block's contents (paths and the
// host's directories live in memory/), and the report and message before the
// end (file streams, translators). memory/memoryreport.cpp installs its
// handler before any other static initialiser of the module runs, and the
// foundation's link options make sure that file is linked. Without a handler
// no file can be named, so a spill ends with code -1, and the end is a bare
// exit(-1).
class QtxOutOfMemoryHandler {
public:
    // Sets `name` to a fresh temporary file name; false when there is none.
    virtual bool temporaryFileName(KelWideString& name) = 0;
    // Writes the memory report and shows the message; the caller then exits.
    virtual void reportExhaustion(long long attemptedBytes, int code) = 0;

protected:
    ~QtxOutOfMemoryHandler() = default;
};

// Installs `handler` (not owned; null restores the bare end).
void qtxSetOutOfMemoryHandler(QtxOutOfMemoryHandler* handler);
