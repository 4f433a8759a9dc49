// The component's second export: stopping the script that runs.
//
// kelInterruptScript() asks the running script to stop: it raises
// KeyboardInterrupt at its next step, and the run fails the usual way (-1,
// one message, no error file left). A script that sleeps in a system call
// (time.sleep, a read) notices when the call returns, which a signal that
// lands on the script's thread makes at once; a long host command is not cut
// short, the script notices when it returns.
//
// Safe from any thread and from a signal handler: it only sets flags. A
// request when no run is active (before the first, between two) is dropped,
// and so is one that reaches Python only after its run has ended: it never
// breaks a later run. A request stops the run that is active and every run
// that encloses it (a host command that ran a script), not runs started after
// it. Nothing happens when Python is not up or failed to start.
//
// The host finds it by name, as it finds EntryPoint:
//   auto stop = reinterpret_cast<KelInterruptScriptFunction>(dlsym(library, kelInterruptScriptName));
#pragma once

#include "kel/kelexport.h"

using KelInterruptScriptFunction = void (*)();

// The symbol name under which the loader finds it.
inline constexpr char kelInterruptScriptName[] = "kelInterruptScript";

KEL_EXPORT void kelInterruptScript();
