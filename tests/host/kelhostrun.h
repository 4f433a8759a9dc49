// Runs the kelhost program as a real process for end-to-end tests.
#pragma once

#include <string>

struct KelhostRun {
    int status = -1;  // the exit status; -1 when the program did not exit normally
    std::string out;
    std::string err;
};

// Runs kelhost with `arguments` (a shell command line fragment, quoted by the
// caller) and `input` on its standard input.
KelhostRun runKelhost(const std::string& arguments, const std::string& input = "");

std::string shellQuote(const std::string& text);
std::string readFile(const std::string& path);  // the whole file, "" when absent
