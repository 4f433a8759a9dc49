// Ctrl-C and --timeout during a script run, delivered through the component's
// kelInterruptScript on the script's own thread.
#include "host/hostinterrupt.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>

#include "host/hostsignals.h"
#include "host/kelhost_app.h"

namespace {

// What the handler calls, and the thread that runs the script.
std::atomic<KelInterruptScriptFunction> interruptScript{nullptr};
pthread_t scriptThread;

// Async-signal-safe: a signal that lands on another thread (a thread the
// script started) goes on to the script's thread, where it wakes a sleeping
// system call.
void onInterrupt(int)
{
    int savedErrno = errno;
    if (!pthread_equal(pthread_self(), scriptThread))
        pthread_kill(scriptThread, SIGINT);
    else if (KelInterruptScriptFunction interrupt = interruptScript.load())
        interrupt();
    errno = savedErrno;
}

// Ends kelhost when a script outlived its timeout and the grace period.
[[noreturn]] void abandonRun(double timeoutSeconds)
{
    char message[200];
    int length = std::snprintf(message, sizeof message,
                               "kelhost: the script did not stop within %d seconds after --timeout %g; kelhost "
                               "ends\n",
                               kelHostTimeoutGraceSeconds, timeoutSeconds);
    kelHostRemoveRunErrorFile();
    if (length > 0 && write(STDERR_FILENO, message, static_cast<size_t>(length)) < 0) {
        // Nothing more can be told.
    }
    _exit(kelHostTimeoutStatus);
}

}  // namespace

// Sends SIGINT to the script's thread when the time is up and every second
// after; gives up after the grace period.
class HostInterruptScope::Timer {
public:
    // `target` null: the time is only watched (nobody would catch the signal).
    Timer(double seconds, const pthread_t* target) : seconds_(seconds), signals_(target != nullptr)
    {
        // The timer thread never takes SIGINT itself.
        sigset_t interrupt, previous;
        sigemptyset(&interrupt);
        sigaddset(&interrupt, SIGINT);
        pthread_sigmask(SIG_BLOCK, &interrupt, &previous);
        if (target)
            target_ = *target;
        thread_ = std::thread([this] { watch(); });
        pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    }
    ~Timer()
    {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stop_ = true;
        }
        wake_.notify_all();
        thread_.join();
    }
    bool fired() const { return fired_.load(); }

private:
    using Clock = std::chrono::steady_clock;

    void watch()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const Clock::time_point deadline =
            Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds_));
        if (wake_.wait_until(lock, deadline, [this] { return stop_; }))
            return;
        fired_.store(true);
        const Clock::time_point giveUp = deadline + std::chrono::seconds(kelHostTimeoutGraceSeconds);
        for (;;) {
            if (signals_)
                pthread_kill(target_, SIGINT);
            const Clock::time_point next = std::min(Clock::now() + std::chrono::seconds(1), giveUp);
            if (wake_.wait_until(lock, next, [this] { return stop_; }))
                return;
            if (Clock::now() >= giveUp)
                abandonRun(seconds_);
        }
    }

    const double seconds_;
    const bool signals_;
    pthread_t target_{};
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stop_ = false;
    std::atomic<bool> fired_{false};
    std::thread thread_;
};

KelInterruptScriptFunction kelHostInterruptFunction(KelHost& host)
{
    return reinterpret_cast<KelInterruptScriptFunction>(host.componentSymbol(kelInterruptScriptName));
}

HostInterruptScope::HostInterruptScope(KelInterruptScriptFunction interrupt, double timeoutSeconds)
{
    if (interrupt) {
        scriptThread = pthread_self();
        enclosing_ = interruptScript.exchange(interrupt);
        struct sigaction action {};
        action.sa_handler = onInterrupt;
        sigemptyset(&action.sa_mask);
        installed_ = sigaction(SIGINT, &action, &previous_) == 0;
    }
    if (timeoutSeconds > 0) {
        const pthread_t self = pthread_self();
        timer_ = std::make_unique<Timer>(timeoutSeconds, installed_ ? &self : nullptr);
    }
}

HostInterruptScope::~HostInterruptScope()
{
    timer_.reset();
    if (installed_)
        sigaction(SIGINT, &previous_, nullptr);
    interruptScript.store(enclosing_);
}

bool HostInterruptScope::timedOut() const
{
    return timer_ && timer_->fired();
}
