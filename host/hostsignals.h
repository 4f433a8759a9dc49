// How kelhost meets the signals that end or disturb a run.
//
// Writes to a closed pipe or past the file size limit must fail as writes,
// so that the program can report them, rather than end the process:
// SIGPIPE and SIGXFSZ are ignored. SIGTERM and SIGHUP end the process as
// usual, but first remove the engine's error file when this process has it
// open: a run that is cut short leaves nothing behind. A file that another
// process's run holds is never open here, so it stays.
#pragma once

#include <string>

// `macros`: the absolute native path of the engine's macros directory.
void kelHostInstallSignals(const std::string& macros);

// Async-signal-safe, from any thread: removes the engine's error file when
// this process has it open (the run is being cut short).
void kelHostRemoveRunErrorFile();
