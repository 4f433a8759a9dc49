// The embedded interpreter's low-level roads: starting Python, running a text
// or a source file in __main__, path literals and sys.argv.
//
// These are the only run functions that the interpreter class uses. They
// behave like Python's simple run functions (traceback through
// sys.excepthook to sys.stderr, status 0 or -1) with one difference: nothing
// ends the process. An uncaught SystemExit (exit(), quit(), raise
// SystemExit) ends only the script; its traceback goes where any other goes
// and the status is -1. A sys.excepthook that raises, SystemExit included,
// is reported as Python reports a failed hook.
//
// Everything belongs on the thread that started Python.
#pragma once

#include <string>

#include "kel/kelobjectarray.h"
#include "kel/kelwidestring.h"
#include "kel/qtxcstring.h"

enum class KelPythonStart { started, alreadyUp, failed };

// Starts Python when nobody has yet: makes the interpreter library's symbols
// visible to the extension modules that Python loads later, starts it in
// UTF-8 mode, isolated from the PYTHON* variables and the user site unless
// `useEnvironment`, without signal handlers of its own, runs the coding line
// and puts the interrupt handler in place (kelPythonSignalInterrupt). A
// `siteFolder` (canonical wide path; empty for none) then joins sys.path
// behind the standard library, ahead of the site-packages that Python's site
// module added, and its .pth files are read as theirs are.
// A failed start fills `failure` with Python's reason; from then on
// kelPythonUsable is false. Python's own out-of-memory failure ends in the
// orderly out-of-memory stop.
KelPythonStart kelPythonStart(bool useEnvironment, const KelWideString& siteFolder, std::string* failure);
// The embedded Python's version, "3.11".
std::string kelPythonVersion();
// Async-signal-safe, from any thread: makes Python call its SIGINT handler at
// its next step. kelPythonStart puts the component's handler into Python's
// own table (the process's SIGINT disposition stays as it was); it raises
// KeyboardInterrupt when kelInterruptDue says so. Nothing happens when
// Python was not started here or the handler could not be set.
void kelPythonSignalInterrupt();
// True while Python is up and was not left half-started by a failed start.
bool kelPythonUsable();
// Stops Python (the interpreter object's last release).
void kelPythonStop();

// Makes `unicode` a name of str in builtins, so that texts written for the
// older language keep working.
void kelPythonAliasUnicode();

// Runs `text` (UTF-8) as statements in __main__. 0 when it ran to its end,
// -1 when it raised; the traceback has then gone to sys.stderr.
int kelPythonRunText(const char* text);

// Runs one of the component's own texts (UTF-8), which come back at every
// run: each is compiled once and its code kept (a few dozen at most). They
// run in the component's own namespace, so that nothing a script rebinds or
// deletes in __main__ changes what they do; afterwards every name there that
// does not begin with an underscore is published in __main__, where scripts
// find it. 0 or -1 as kelPythonRunText.
int kelPythonRunOwnText(const std::string& text);

// As kelPythonRunOwnText, but an exception is not printed: its type and
// text ("OSError: [Errno 27] File too large") go to `failure`.
int kelPythonRunOwnTextQuietly(const std::string& text, std::string& failure);

// The traceback of the last failure that a run printed, as Python prints it
// (UTF-8, a character without a UTF-8 form as its escape); empty when there
// is none.
std::string kelPythonLastTraceback();

// True when something during the run failed the script without an exception
// reaching its top level (an unraisable SystemExit, a failed unraisable
// hook); the mark is cleared.
bool kelPythonTakeRunFailure();

// Flushes the script's sys.stdout while the run's sys.stderr is still in
// place: output that cannot be written (a closed pipe, a full disk) fails
// the run like any other error. 0, or -1 with the traceback printed.
int kelPythonFlushOutput();

// Flushes Python's own standard streams, so that what a run printed is out
// before the host writes anything of its own.
void kelPythonFlushStdio();

// Reads the file `path` (canonical wide path) as bytes and runs it in
// __main__ under its own name, so that tracebacks name the file and line.
// False when the file cannot be read (nothing ran, `status` untouched).
bool kelPythonRunFile(const KelWideString& path, int* status);

// A Python string literal that stands for exactly the file system path
// `path` (canonical wide path, turned into the native form): quotes,
// backslashes, line ends and non-ASCII characters are escaped, so the text
// is plain ASCII and no path can ever run as code.
std::string kelPythonPathLiteral(const KelWideString& path);

// sys.argv becomes the texts of args[1..count] decoded as UTF-8 (invalid bytes
// kept by surrogateescape), [''] when there are none. sys.path is untouched.
void kelPythonSetArgv(const KelObjectArray<KelCString>& args);
