// Stopping the running script from outside: the state behind the export
// kelInterruptScript (kel/kelinterrupt.h).
//
// A request is counted; Python's SIGINT handler, which the component puts in
// Python's own table at start-up, asks kelInterruptDue whether the innermost
// run is executing its script and a request came since that began or since
// the run last heard of one. A request that Python notices while the
// component sets up or tears down a run is not the script's: a top-level
// run's request then is dropped, an enclosing run's waits for it.
#pragma once

#include <cstdint>

// One run (runString, runFile) on Python's thread, from its entry to its
// return. Runs nest: a host command that the script calls may run a script.
// When a run returns and a request came that its enclosing run has not heard
// of, the enclosing script is interrupted as soon as it goes on.
class KelScriptRun {
public:
    KelScriptRun();
    ~KelScriptRun();
    KelScriptRun(const KelScriptRun&) = delete;
    KelScriptRun& operator=(const KelScriptRun&) = delete;

    // The script's own execution within the run: requests count only here.
    class Executing {
    public:
        explicit Executing(KelScriptRun& run);
        ~Executing();
        Executing(const Executing&) = delete;
        Executing& operator=(const Executing&) = delete;

    private:
        KelScriptRun& run_;
    };

private:
    friend bool kelInterruptDue();
    KelScriptRun* enclosing_;
    uint64_t heard_;  // the request count this run has answered (or found when it began)
    bool executing_ = false;
};

// On Python's thread, from its SIGINT handler: true when the innermost run's
// script is to raise KeyboardInterrupt now; the requests so far count as
// answered.
bool kelInterruptDue();
