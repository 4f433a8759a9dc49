// Ctrl-C during a script run: the script gets KeyboardInterrupt, the run
// fails, kelhost lives on.
//
// The component starts Python without signal handlers, so SIGINT stays the
// host's. While a HostInterruptScope lives, a handler of the host catches
// SIGINT and wakes a watcher thread, which asks the interpreter (through
// Py_AddPendingCall, which the component's Python makes visible to the
// process) to raise KeyboardInterrupt in the running script at its next
// check. Outside a scope SIGINT does what it did before: by default it ends
// kelhost.
#pragma once

#include <signal.h>

class HostInterruptScope {
public:
    HostInterruptScope();
    ~HostInterruptScope();
    HostInterruptScope(const HostInterruptScope&) = delete;
    HostInterruptScope& operator=(const HostInterruptScope&) = delete;

private:
    bool installed_ = false;
    struct sigaction previous_ {};
};
