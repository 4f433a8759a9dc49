// Lines typed at the console's terminal, edited with libreadline.
//
// readline runs in its callback mode on a wait loop of this reader, and is
// never let to install signal handlers: while a line is being read, Ctrl-C
// and window size changes reach the loop through a pipe of its own, and the
// reader's handlers go again before read() returns. A statement therefore
// runs under the program's own signal handling, and Ctrl-C at the prompt
// drops the line, as at Python's own prompt.
//
// readline's settings are made again before each line: a script that
// imports Python's readline module changes the same library's state.
#pragma once

#include <functional>
#include <string>
#include <vector>

class ConsoleLineReader {
public:
    enum class Result {
        line,         // a line was entered
        interrupted,  // Ctrl-C: the line is gone, "KeyboardInterrupt" shown
        end,          // Ctrl-D on an empty line, or the terminal is gone
    };
    // The candidates that may replace `word`, typed after `before` (UTF-8).
    using Completer = std::function<std::vector<std::string>(const std::string& before, const std::string& word)>;

    // At most one reader exists at a time; readline's state is global.
    ConsoleLineReader(Completer completer, size_t historyLimit);
    ~ConsoleLineReader();
    ConsoleLineReader(const ConsoleLineReader&) = delete;
    ConsoleLineReader& operator=(const ConsoleLineReader&) = delete;

    // Reads a line after `prompt` with `prefill` already typed, unless more
    // input is waiting already (the rest of a paste, which brings its own
    // indentation). A pasted piece may hold several lines, one a line feed.
    Result read(const std::string& prompt, const std::string& prefill, std::string& line);
    // Adds a line to the history that the arrow keys walk.
    void remember(const std::string& line);

private:
    Completer completer_;
};
