// The console's terminal lines through readline's callback mode.
#include "host/consolelinereader.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <readline/history.h>
#include <readline/readline.h>

namespace {

// readline calls back into plain functions, so what they need is here; one
// reader at a time.
const ConsoleLineReader::Completer* activeCompleter = nullptr;
std::string prefill;
bool lineDone = false;
char* enteredLine = nullptr;  // readline's; null at the end of input
std::vector<std::string> candidates;
size_t nextCandidate = 0;
int signalPipe[2] = {-1, -1};

// As Python's own prompt splits words: a dotted name is one word.
const char kWordBreaks[] = " \t\n`~!@#$%^&*()-=+[{]}\\|;:'\",<>/?";
const char kIndentStep[] = "    ";

void onSignal(int number)
{
    int saved = errno;
    char byte = static_cast<char>(number);
    ssize_t ignored = write(signalPipe[1], &byte, 1);  // async-signal-safe
    (void)ignored;
    errno = saved;
}

// SIGINT and SIGWINCH go to the pipe while it lives; the program's own
// handling is back afterwards.
class SignalsToPipe {
public:
    SignalsToPipe()
    {
        struct sigaction action {};
        action.sa_handler = onSignal;
        sigemptyset(&action.sa_mask);
        for (size_t i = 0; i < count; ++i)
            installed_[i] = sigaction(signals_[i], &action, &previous_[i]) == 0;
    }
    ~SignalsToPipe()
    {
        for (size_t i = 0; i < count; ++i) {
            if (installed_[i])
                sigaction(signals_[i], &previous_[i], nullptr);
        }
    }
    SignalsToPipe(const SignalsToPipe&) = delete;
    SignalsToPipe& operator=(const SignalsToPipe&) = delete;

private:
    static constexpr size_t count = 2;
    const int signals_[count] = {SIGINT, SIGWINCH};
    struct sigaction previous_[count] {};
    bool installed_[count] = {};
};

void onLine(char* line)
{
    enteredLine = line;
    lineDone = true;
    rl_callback_handler_remove();
}

bool inputWaiting()
{
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, 0) > 0 && (input.revents & POLLIN);
}

int prefillLine()
{
    if (!prefill.empty() && !inputWaiting()) {
        rl_insert_text(prefill.c_str());
        rl_redisplay();
    }
    return 0;
}

char* nextMatch(const char*, int state)
{
    if (state == 0)
        nextCandidate = 0;
    return nextCandidate < candidates.size() ? strdup(candidates[nextCandidate++].c_str()) : nullptr;
}

char** completeWord(const char* text, int start, int end)
{
    rl_attempted_completion_over = 1;  // no file names instead
    rl_completion_append_character = '\0';  // the candidates bring their own "(" or " "
    candidates.clear();
    if (activeCompleter)
        candidates = (*activeCompleter)(std::string(rl_line_buffer, static_cast<size_t>(start)),
                                        std::string(rl_line_buffer + start, static_cast<size_t>(end - start)));
    return candidates.empty() ? nullptr : rl_completion_matches(text, nextMatch);
}

// Tab at the start of a line indents it; elsewhere it completes.
int tabKey(int count, int key)
{
    for (int i = 0; i < rl_point; ++i) {
        if (rl_line_buffer[i] != ' ' && rl_line_buffer[i] != '\t')
            return rl_complete(count, key);
    }
    rl_insert_text(kIndentStep);
    return 0;
}

void configure()
{
    rl_readline_name = "kelhost";
    rl_instream = stdin;
    rl_outstream = stdout;
    rl_catch_signals = 0;
    rl_catch_sigwinch = 0;
    rl_persistent_signal_handlers = 0;
    rl_change_environment = 0;
    rl_startup_hook = nullptr;
    rl_pre_input_hook = prefillLine;
    rl_attempted_completion_function = completeWord;
    rl_completion_display_matches_hook = nullptr;
    rl_completer_word_break_characters = kWordBreaks;
    rl_completer_quote_characters = nullptr;
    rl_bind_key('\t', tabKey);
}

// Drops the line being edited and puts the terminal back, as readline does
// after a signal of its own.
void abandonLine()
{
    rl_free_line_state();
    rl_callback_sigcleanup();
    rl_cleanup_after_signal();
    rl_callback_handler_remove();
}

// What the signal pipe brought: true for Ctrl-C.
bool takeSignals()
{
    char got[64];
    bool interrupt = false;
    ssize_t count;
    while ((count = read(signalPipe[0], got, sizeof got)) > 0) {
        for (ssize_t i = 0; i < count; ++i) {
            if (got[i] == SIGINT)
                interrupt = true;
            else if (got[i] == SIGWINCH)
                rl_resize_terminal();
        }
    }
    return interrupt;
}

ConsoleLineReader::Result waitForLine()
{
    int hangups = 0;
    for (;;) {
        pollfd waits[2] = {{STDIN_FILENO, POLLIN, 0}, {signalPipe[0], POLLIN, 0}};
        if (poll(waits, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            abandonLine();
            return ConsoleLineReader::Result::end;
        }
        if ((waits[1].revents & POLLIN) && takeSignals()) {
            abandonLine();
            std::fputs("\nKeyboardInterrupt\n", stderr);
            return ConsoleLineReader::Result::interrupted;
        }
        short input = waits[0].revents;
        if (input & POLLIN)
            rl_callback_read_char();
        // A terminal that is gone reads as the end, whatever readline makes
        // of its errors.
        if (!lineDone && (input & (POLLHUP | POLLERR | POLLNVAL)) && (!(input & POLLIN) || ++hangups > 8)) {
            abandonLine();
            return ConsoleLineReader::Result::end;
        }
        if (lineDone)
            return enteredLine ? ConsoleLineReader::Result::line : ConsoleLineReader::Result::end;
    }
}

}  // namespace

ConsoleLineReader::ConsoleLineReader(Completer completer, size_t historyLimit) : completer_(std::move(completer))
{
    if (signalPipe[0] < 0 && pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        signalPipe[0] = signalPipe[1] = -1;
    configure();
    rl_initialize();  // reads the user's inputrc once, before the settings are made again
    stifle_history(static_cast<int>(historyLimit));
}

ConsoleLineReader::~ConsoleLineReader()
{
    activeCompleter = nullptr;
}

ConsoleLineReader::Result ConsoleLineReader::read(const std::string& prompt, const std::string& fill,
                                                 std::string& line)
{
    configure();
    activeCompleter = &completer_;
    prefill = fill;
    lineDone = false;
    enteredLine = nullptr;
    std::fflush(stdout);
    takeSignals();  // a Ctrl-C that came as the last line ended belonged to it
    Result result;
    {
        SignalsToPipe signals;
        rl_callback_handler_install(prompt.c_str(), onLine);
        result = waitForLine();
    }
    activeCompleter = nullptr;
    if (result == Result::line) {
        // A pasted piece may end its lines with carriage returns.
        line.clear();
        for (const char* c = enteredLine; *c; ++c) {
            if (*c != '\r')
                line += *c;
            else if (c[1] != '\n')
                line += '\n';
        }
    }
    std::free(enteredLine);
    enteredLine = nullptr;
    return result;
}

void ConsoleLineReader::remember(const std::string& line)
{
    add_history(line.c_str());
}
