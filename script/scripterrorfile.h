// The error file of a run in file mode: "python_script_errors.log" in the
// host's "macros" directory, which exists only while the run lasts.
//
// The file is the engine's own and nobody else's:
//   - its path is made absolute when the outermost run starts, so a script
//     that changes the current directory cannot send the read-back or the
//     removal to another file;
//   - it is opened only as a regular file of its own, never through a
//     symbolic link and never waiting on a FIFO, so nothing planted under
//     its name is written to or hangs the run;
//   - the outermost file-mode run of a process holds the lock of the
//     directory until it ends, so no other process's run uses the name
//     meanwhile. A run that finds the lock taken does not wait for it (the
//     other run may be its own parent, waiting for it): it uses
//     "python_script_errors-<process id>.log" instead, so each run reads
//     back its own text, whole. Nested runs (runString inside runFile or
//     from a host command) share the outer run's lock and path.
// Everything belongs on the thread that runs Python.
#pragma once

#include <string>

#include "memory/kelpath.h"

class ScriptErrorFile {
public:
    // Builds the path and, for the outermost run, takes the directory's lock.
    ScriptErrorFile();
    // The outermost run gives the lock back.
    ~ScriptErrorFile();
    ScriptErrorFile(const ScriptErrorFile&) = delete;
    ScriptErrorFile& operator=(const ScriptErrorFile&) = delete;

    const KelPath& path() const;
    // The path of the running outermost file-mode run, or the one a run
    // starting now would take.
    static KelPath currentPath();
    // The file opened anew and empty for writing: a descriptor that the
    // caller owns, or -1. The first failure of an outermost run is told to
    // the user once, with the reason.
    int open();
    // What the file holds now, its first megabyte and "\n..." when there is
    // more; empty when it is gone or cannot be read.
    std::string read() const;
    void remove() const;
};
