// A program driven through a pseudo-terminal, as a user at a terminal
// drives it: keys go in, everything it shows comes out.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

class PtyProcess {
public:
    // Starts `argv` on a new terminal, with this process's environment
    // changed by `environment`: "NAME=VALUE" sets, a bare "NAME" removes.
    PtyProcess(const std::vector<std::string>& argv, const std::vector<std::string>& environment);
    // Ends the program when it still runs.
    ~PtyProcess();
    PtyProcess(const PtyProcess&) = delete;
    PtyProcess& operator=(const PtyProcess&) = delete;

    void send(const std::string& keys);
    // Reads until `text` appears in what came out after the previous match;
    // true when it did within `seconds`. Matching moves past it, so the next
    // wait sees only later output (a prompt shown again, for instance).
    bool waitFor(const std::string& text, int seconds = 60);
    // Waits for the program's end: its exit status, or -1 when it did not
    // exit in time or was ended by a signal.
    int wait(int seconds = 60);
    // Everything shown so far.
    const std::string& output() const { return output_; }
    // What was shown after the previous match.
    std::string unmatched() const { return output_.substr(mark_); }

private:
    // Takes what is there within `milliseconds`; false at the end of output.
    bool readSome(int milliseconds);

    pid_t pid_ = -1;
    int master_ = -1;
    std::string output_;
    size_t mark_ = 0;
    int status_ = -1;
};
