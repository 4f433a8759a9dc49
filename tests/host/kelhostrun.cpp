#include "tests/host/kelhostrun.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>
#include <fstream>
#include <sstream>


std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string shellQuote(const std::string& text)
{
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

KelhostRun runKelhost(const std::string& arguments, const std::string& input, const std::string& prefix)
{
    TempDir dir;
    std::ofstream(dir.file("in"), std::ios::binary) << input;
    std::string command = prefix + shellQuote(KELHOST_PATH) + " " + arguments + " <" + shellQuote(dir.file("in")) + " >" +
                          shellQuote(dir.file("out")) + " 2>" + shellQuote(dir.file("err"));
    int status = std::system(command.c_str());
    KelhostRun run;
    // The wait status: the exit code in the second byte when no signal ended it.
    if (status != -1 && (status & 0x7f) == 0)
        run.status = (status >> 8) & 0xff;
    run.out = readFile(dir.file("out"));
    run.err = readFile(dir.file("err"));
    return run;
}

std::string KelhostTest::write(const std::string& name, const std::string& bytes)
{
    std::ofstream(dir.file(name), std::ios::binary) << bytes;
    return dir.file(name);
}

KelhostProcess::KelhostProcess(const std::string& arguments)
{
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0)
        return;
    std::string command = "exec " + shellQuote(KELHOST_PATH) + " " + arguments + " >" + shellQuote(dir_.file("out")) +
                          " 2>" + shellQuote(dir_.file("err"));
    pid_ = fork();
    if (pid_ == 0) {
        // The program meets Ctrl-C as from a terminal, whatever the test runner set.
        ::signal(SIGINT, SIG_DFL);
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        dup2(pipeEnds[0], 0);
        close(pipeEnds[0]);
        close(pipeEnds[1]);
        execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    close(pipeEnds[0]);
    input_ = pipeEnds[1];
}

KelhostProcess::~KelhostProcess()
{
    closeInput();
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

void KelhostProcess::input(const std::string& text)
{
    ::signal(SIGPIPE, SIG_IGN);  // a program that ended fails the write instead
    if (input_ >= 0 && write(input_, text.data(), text.size()) < 0)
        closeInput();
}

void KelhostProcess::closeInput()
{
    if (input_ >= 0)
        close(input_);
    input_ = -1;
}

bool KelhostProcess::waitForOutput(const std::string& text)
{
    auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (readFile(dir_.file("out")).find(text) == std::string::npos) {
        if (std::chrono::steady_clock::now() > giveUp)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

void KelhostProcess::signal(int number)
{
    if (pid_ > 0)
        kill(pid_, number);
}

KelhostRun KelhostProcess::finish()
{
    closeInput();
    KelhostRun run;
    int status = 0;
    auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    pid_t ended = 0;
    while (pid_ > 0 && (ended = waitpid(pid_, &status, WNOHANG)) == 0 && std::chrono::steady_clock::now() < giveUp)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    if (pid_ > 0 && ended == 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
        status = -1;
    }
    pid_ = -1;
    if (status != -1 && WIFEXITED(status))
        run.status = WEXITSTATUS(status);
    run.out = readFile(dir_.file("out"));
    run.err = readFile(dir_.file("err"));
    return run;
}
