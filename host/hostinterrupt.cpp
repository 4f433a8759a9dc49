// Ctrl-C during a script run, delivered into the script by a watcher thread.
#include "host/hostinterrupt.h"

#include <dlfcn.h>
#include <semaphore.h>

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <thread>

namespace {

// The few interpreter functions needed, found in the process at run time:
// the host itself links no Python.
using AddPendingCall = int (*)(int (*)(void*), void*);
using SetNone = void (*)(void*);
using GilEnsure = int (*)();
using GilRelease = void (*)(int);

struct Interpreter {
    AddPendingCall addPendingCall = nullptr;
    SetNone setNone = nullptr;
    void** keyboardInterrupt = nullptr;  // the address of PyExc_KeyboardInterrupt
    GilEnsure gilEnsure = nullptr;
    GilRelease gilRelease = nullptr;
};

// Each run has a number, so that a request that reaches the interpreter only
// after its run has ended is dropped instead of breaking a later run.
std::atomic<bool> runActive{false};
std::atomic<uintptr_t> currentRun{0};
sem_t wakeUp;

const Interpreter& interpreter()
{
    static const Interpreter found = [] {
        Interpreter python;
        python.addPendingCall = reinterpret_cast<AddPendingCall>(dlsym(RTLD_DEFAULT, "Py_AddPendingCall"));
        python.setNone = reinterpret_cast<SetNone>(dlsym(RTLD_DEFAULT, "PyErr_SetNone"));
        python.keyboardInterrupt = static_cast<void**>(dlsym(RTLD_DEFAULT, "PyExc_KeyboardInterrupt"));
        python.gilEnsure = reinterpret_cast<GilEnsure>(dlsym(RTLD_DEFAULT, "PyGILState_Ensure"));
        python.gilRelease = reinterpret_cast<GilRelease>(dlsym(RTLD_DEFAULT, "PyGILState_Release"));
        return python;
    }();
    return found;
}

bool interpreterFound()
{
    const Interpreter& python = interpreter();
    return python.addPendingCall && python.setNone && python.keyboardInterrupt && python.gilEnsure &&
           python.gilRelease;
}

// Runs on the interpreter's thread between two of its steps.
int raiseInterrupt(void* run)
{
    if (!runActive.load() || currentRun.load() != reinterpret_cast<uintptr_t>(run))
        return 0;
    interpreter().setNone(*interpreter().keyboardInterrupt);
    return -1;
}

void onInterrupt(int)
{
    sem_post(&wakeUp);  // async-signal-safe
}

// Py_AddPendingCall takes a lock, so it is called here, not in the handler.
// A request from another thread is only noticed when the interpreter looks
// at its pending work, so the watcher then asks for the interpreter lock:
// the running script hands it over at its next step and finds the request.
void watch()
{
    for (;;) {
        while (sem_wait(&wakeUp) != 0 && errno == EINTR) {
        }
        if (!runActive.load())
            continue;
        const Interpreter& python = interpreter();
        python.addPendingCall(raiseInterrupt, reinterpret_cast<void*>(currentRun.load()));
        python.gilRelease(python.gilEnsure());
    }
}

void startWatcher()
{
    static const bool started = [] {
        sem_init(&wakeUp, 0, 0);
        // The watcher never takes SIGINT itself: the handler runs on the
        // interpreter's thread.
        sigset_t interrupt, previous;
        sigemptyset(&interrupt);
        sigaddset(&interrupt, SIGINT);
        pthread_sigmask(SIG_BLOCK, &interrupt, &previous);
        std::thread(watch).detach();
        pthread_sigmask(SIG_SETMASK, &previous, nullptr);
        return true;
    }();
    (void)started;
}

}  // namespace

HostInterruptScope::HostInterruptScope()
{
    if (!interpreterFound())
        return;
    startWatcher();
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    installed_ = sigaction(SIGINT, &action, &previous_) == 0;
    ++currentRun;
    runActive.store(installed_);
}

HostInterruptScope::~HostInterruptScope()
{
    if (!installed_)
        return;
    runActive.store(false);
    sigaction(SIGINT, &previous_, nullptr);
}
