#include "tests/host/ptyprocess.h"

#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

int millisecondsLeft(Clock::time_point deadline)
{
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

}  // namespace

PtyProcess::PtyProcess(const std::vector<std::string>& argv, const std::vector<std::string>& environment)
{
    struct winsize size {};
    size.ws_row = 40;
    size.ws_col = 200;  // wide enough that no line of the tests wraps
    pid_ = forkpty(&master_, nullptr, nullptr, &size);
    if (pid_ != 0)
        return;
    for (const std::string& change : environment) {
        size_t equals = change.find('=');
        if (equals == std::string::npos)
            unsetenv(change.c_str());
        else
            setenv(change.substr(0, equals).c_str(), change.substr(equals + 1).c_str(), 1);
    }
    std::vector<char*> pointers;
    for (const std::string& arg : argv)
        pointers.push_back(const_cast<char*>(arg.c_str()));
    pointers.push_back(nullptr);
    execv(pointers[0], pointers.data());
    _exit(127);
}

PtyProcess::~PtyProcess()
{
    if (pid_ > 0 && status_ < 0 && waitpid(pid_, nullptr, WNOHANG) == 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    if (master_ >= 0)
        close(master_);
}

void PtyProcess::send(const std::string& keys)
{
    size_t done = 0;
    while (master_ >= 0 && done < keys.size()) {
        ssize_t put = write(master_, keys.data() + done, keys.size() - done);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return;
        done += static_cast<size_t>(put);
    }
}

bool PtyProcess::readSome(int milliseconds)
{
    pollfd master{master_, POLLIN, 0};
    int ready = poll(&master, 1, milliseconds);
    if (ready <= 0)
        return ready == 0 || errno == EINTR;
    char buffer[4096];
    ssize_t got = read(master_, buffer, sizeof buffer);
    if (got > 0)
        output_.append(buffer, static_cast<size_t>(got));
    // Linux gives EIO once the program's side of the terminal is closed.
    return got > 0 || (got < 0 && errno == EINTR);
}

bool PtyProcess::waitFor(const std::string& text, int seconds)
{
    Clock::time_point deadline = Clock::now() + std::chrono::seconds(seconds);
    for (;;) {
        size_t found = output_.find(text, mark_);
        if (found != std::string::npos) {
            mark_ = found + text.size();
            return true;
        }
        if (millisecondsLeft(deadline) == 0 || master_ < 0 || !readSome(millisecondsLeft(deadline)))
            return false;
    }
}

int PtyProcess::wait(int seconds)
{
    Clock::time_point deadline = Clock::now() + std::chrono::seconds(seconds);
    while (status_ < 0 && pid_ > 0) {
        int status = 0;
        pid_t done = waitpid(pid_, &status, WNOHANG);
        if (done == pid_) {
            status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 256;
            break;
        }
        if (done < 0 || millisecondsLeft(deadline) == 0)
            return -1;
        // Keep reading, so that a program with much to say is never held up.
        if (!readSome(50))
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return status_ == 256 ? -1 : status_;
}
