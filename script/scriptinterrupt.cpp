// The export kelInterruptScript and the runs it may stop.
#include "script/scriptinterrupt.h"

#include <atomic>

#include "kel/kelinterrupt.h"
#include "script/pythonrun.h"

namespace {

// Touched from signal handlers and other threads: lock-free atomics only.
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<uint64_t>::is_always_lock_free);
std::atomic<int> executingRuns{0};
std::atomic<uint64_t> requests{0};

KelScriptRun* innermost = nullptr;  // Python's thread only

}  // namespace

KelScriptRun::KelScriptRun() : enclosing_(innermost), heard_(requests.load())
{
    innermost = this;
}

KelScriptRun::~KelScriptRun()
{
    innermost = enclosing_;
    if (enclosing_ && requests.load() != enclosing_->heard_)
        kelPythonSignalInterrupt();
}

KelScriptRun::Executing::Executing(KelScriptRun& run) : run_(run)
{
    run_.heard_ = requests.load();
    run_.executing_ = true;
    executingRuns.fetch_add(1);
}

KelScriptRun::Executing::~Executing()
{
    executingRuns.fetch_sub(1);
    run_.executing_ = false;
}

bool kelInterruptDue()
{
    if (!innermost || !innermost->executing_)
        return false;
    uint64_t now = requests.load();
    if (now == innermost->heard_)
        return false;
    innermost->heard_ = now;
    return true;
}

// Async-signal-safe: atomics and Python's own async-signal-safe trip.
void kelInterruptScript()
{
    if (executingRuns.load() == 0)
        return;
    requests.fetch_add(1);
    kelPythonSignalInterrupt();
}
