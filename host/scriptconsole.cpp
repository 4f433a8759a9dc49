// kelhost console: an interactive read-run loop over the component's
// runString, with line editing and history from libreadline.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <readline/history.h>
#include <readline/readline.h>

#include "host/scriptrunner.h"

namespace {

// What one scan of the lines read so far found.
struct StatementScan {
    int depth = 0;            // open brackets
    bool inString = false;    // inside a string that runs on (triple or continued)
    bool opensBlock = false;  // some line ended in ':'
    bool lastContinues = false;  // the last line ended in '\'
    bool lastBlank = true;    // the last line holds nothing but blanks
};

StatementScan scanStatement(const std::string& buffer)
{
    StatementScan scan;
    char quote = 0;
    bool triple = false;
    char lastSignificant = 0;
    bool blank = true;
    for (size_t i = 0; i < buffer.size(); ++i) {
        char c = buffer[i];
        if (c == '\n') {
            if (lastSignificant == ':' && !quote)
                scan.opensBlock = true;
            scan.lastContinues = lastSignificant == '\\';
            scan.lastBlank = blank;
            if (quote && !triple && lastSignificant != '\\')
                quote = 0;  // an unterminated one-line string: the line is an error anyway
            lastSignificant = 0;
            blank = true;
            continue;
        }
        if (c != ' ' && c != '\t' && c != '\r')
            blank = false;
        if (quote) {
            lastSignificant = c;
            if (c == '\\') {
                if (i + 1 < buffer.size() && buffer[i + 1] != '\n')
                    ++i;
            } else if (c == quote && (!triple || buffer.compare(i, 3, std::string(3, quote)) == 0)) {
                i += triple ? 2 : 0;
                quote = 0;
            }
            continue;
        }
        if (c == '#') {
            while (i + 1 < buffer.size() && buffer[i + 1] != '\n')
                ++i;
            continue;
        }
        if (c == '\'' || c == '"') {
            triple = buffer.compare(i, 3, std::string(3, c)) == 0;
            quote = c;
            i += triple ? 2 : 0;
        } else if (c == '(' || c == '[' || c == '{') {
            ++scan.depth;
        } else if ((c == ')' || c == ']' || c == '}') && scan.depth > 0) {
            --scan.depth;
        }
        if (c != ' ' && c != '\t' && c != '\r')
            lastSignificant = c;
    }
    scan.inString = quote != 0;
    return scan;
}

// The next line from the user; false at the end of input.
bool readLine(const char* prompt, std::string& line)
{
    char* text = readline(prompt);
    if (!text)
        return false;
    line = text;
    if (!line.empty())
        add_history(text);
    std::free(text);
    return true;
}

}  // namespace

bool scriptNeedsMoreLines(const std::string& buffer)
{
    StatementScan scan = scanStatement(buffer);
    if (scan.inString || scan.depth > 0 || scan.lastContinues)
        return true;
    // A block ends with an empty line, as at Python's own prompt.
    return scan.opensBlock && !scan.lastBlank;
}

int runScriptConsole(ScriptRunner& runner)
{
    std::string line;
    while (readLine(">>> ", line)) {
        std::string statement = line + "\n";
        bool complete = !scriptNeedsMoreLines(statement);
        while (!complete && readLine("... ", line)) {
            statement += line + "\n";
            complete = !scriptNeedsMoreLines(statement);
        }
        if (statement.find_first_not_of(" \t\r\n") != std::string::npos)
            runner.runText(statement);
        std::fflush(stdout);
    }
    std::fputs("\n", stdout);
    return 0;
}
