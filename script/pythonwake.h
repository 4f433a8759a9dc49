// Waking the interpreter's evaluation loop from another thread.
//
// Python looks at a signal that arrived (PyErr_SetInterrupt) only when its
// evaluation loop's breaker flag is up. Python 3.11 on POSIX raises that flag
// only when the signal is tripped on the thread that runs Python, so a
// request from another thread would wait for a step that never comes in a
// loop like `while True: pass`. kelPythonWakeEvalLoop raises the flag from
// any thread; the loop then looks at its pending work, handles the signal on
// its own thread and computes the flag anew. It uses no lock and no thread
// state, only one atomic store into the interpreter, so it is
// async-signal-safe.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// On Python's thread, once Python is up: finds the flag and checks that the
// interpreter's layout is the one this file was built against. 0 when it is
// not; kelPythonWakeEvalLoop then does nothing.
int kelPythonPrepareWake(void);
// Any thread, a signal handler too.
void kelPythonWakeEvalLoop(void);

#ifdef __cplusplus
}
#endif
