// Ctrl-C and --timeout during a script run: the script gets KeyboardInterrupt,
// the run fails, kelhost lives on.
//
// The component starts Python without signal handlers, so SIGINT stays the
// host's. While a HostInterruptScope lives, kelhost's handler catches SIGINT
// on the thread that runs the script (a sleeping system call there wakes) and
// calls the component's export kelInterruptScript. Outside a scope SIGINT
// does what it did before: by default it ends kelhost.
//
// With a timeout, a timer thread sends SIGINT to the script's thread when the
// time is up and again every second. A script that swallows KeyboardInterrupt
// and keeps running past the grace period ends kelhost: one message, the
// run's error file removed, exit status kelHostTimeoutStatus.
#pragma once

#include <signal.h>

#include <memory>

#include "kel/kelinterrupt.h"

class KelHost;

// The exit status of kelhost when a script outlives its timeout's grace period.
inline constexpr int kelHostTimeoutStatus = 3;
// Seconds a script has after its timeout to stop before kelhost ends.
inline constexpr int kelHostTimeoutGraceSeconds = 5;

// The component's kelInterruptScript; null when it has none.
KelInterruptScriptFunction kelHostInterruptFunction(KelHost& host);

class HostInterruptScope {
public:
    // `interrupt` null: Ctrl-C keeps its disposition. `timeoutSeconds` 0: no timeout.
    HostInterruptScope(KelInterruptScriptFunction interrupt, double timeoutSeconds);
    ~HostInterruptScope();
    HostInterruptScope(const HostInterruptScope&) = delete;
    HostInterruptScope& operator=(const HostInterruptScope&) = delete;

    // True once the timeout has passed.
    bool timedOut() const;

private:
    class Timer;
    bool installed_ = false;
    struct sigaction previous_ {};
    KelInterruptScriptFunction enclosing_ = nullptr;
    std::unique_ptr<Timer> timer_;
};
