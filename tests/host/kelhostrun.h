// Runs the kelhost program as a real process for end-to-end tests.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/support/testprovider.h"

struct KelhostRun {
    int status = -1;  // the exit status; -1 when the program did not exit normally
    std::string out;
    std::string err;
};

// Runs kelhost with `arguments` (a shell command line fragment, quoted by the
// caller) and `input` on its standard input; `prefix` goes ahead of the
// program on the command line (a "cd DIR && " or variables for its
// environment).
KelhostRun runKelhost(const std::string& arguments, const std::string& input = "", const std::string& prefix = "");

// kelhost running while the test acts on it: its standard input is a pipe
// the test writes to, its output goes to files the test can look at.
class KelhostProcess {
public:
    explicit KelhostProcess(const std::string& arguments);
    ~KelhostProcess();  // kills the program when it still runs
    KelhostProcess(const KelhostProcess&) = delete;
    KelhostProcess& operator=(const KelhostProcess&) = delete;

    void input(const std::string& text);
    void closeInput();
    // True once the standard output holds `text`; false after 30 seconds.
    bool waitForOutput(const std::string& text);
    void signal(int number);
    // Waits for the end (at most 60 seconds, then kills it).
    KelhostRun finish();

private:
    TempDir dir_;
    int pid_ = -1;
    int input_ = -1;
};

std::string shellQuote(const std::string& text);
std::string readFile(const std::string& path);  // the whole file, "" when absent

// Each test has a folder of its own, which is also kelhost's macros directory.
class KelhostTest : public ::testing::Test {
protected:
    TempDir dir;
    std::string write(const std::string& name, const std::string& bytes);  // gives the path
    KelhostRun kelhost(const std::string& arguments, const std::string& input = "", const std::string& prefix = "")
    {
        return runKelhost("--macros " + shellQuote(dir.path()) + " " + arguments, input, prefix);
    }
};
