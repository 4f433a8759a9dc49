// ScriptInterpreterPython: running scripts and catching Python's diagnostics.
//
// Two modes, chosen by the host setting "Scripting/ShowScriptingConsole" at
// the start of each run:
//   console mode  sys.stdout and sys.stderr write into the application states
//                 "Python/Output String" and "Python/Error String" while the
//                 script runs;
//   file mode     sys.stderr is the error file "python_script_errors.log" in
//                 the host's "macros" directory; after a failed run its text
//                 goes to the user through IScriptEngine, once, and the file
//                 is removed.
// Either way the streams are sys.__stdout__ and sys.__stderr__ again after the
// run. Paths reach Python as escaped literals, never as raw text.
#include <ios>
#include <iterator>
#include <string>

#include "kel/hostservices.h"
#include "memory/kelfdstreambuf.h"
#include "memory/keltranslator.h"
#include "script/pythonrun.h"
#include "script/scriptinterpreterpython.h"
#include "text/utf16text.h"

namespace {

// The output classes of the start-up again, writing unicode(s), installed.
const char kConsoleRunText[] =
    "import sys\n"
    "from kelapp.appdata import *\n"
    "class OutputOverride:\n"
    "\tdef __init__(self):\n"
    "\t\tself.ds = StringAppState(\"Python/Output String\")\n"
    "\tdef write(self, s):\n"
    "\t\tself.ds.setValue(unicode(s))\n"
    "class ErrorOverride:\n"
    "\tdef __init__(self):\n"
    "\t\tself.ds = StringAppState(\"Python/Error String\")\n"
    "\tdef write(self, s):\n"
    "\t\tself.ds.setValue(unicode(s))\n"
    "sys.stdout = OutputOverride()\n"
    "sys.stderr = ErrorOverride()\n";

const char kExitOverrideText[] =
    "def kelScriptExitOverride(*args):\n"
    "   raise Exception('Script exited.')\n"
    "sys.exit = kelScriptExitOverride\n";

const char kRestoreBothText[] = "sys.stderr = sys.__stderr__\nsys.stdout = sys.__stdout__\n";
const char kRestoreErrorText[] = "sys.stderr = sys.__stderr__\nfsock_err.close()\n";

void run(const std::string& text)
{
    kelPythonRunOwnText(text);
}

bool fileExists(const KelWideString& path)
{
    KelIfstream in(path);
    return in.isOpen();
}

}  // namespace

KelPath ScriptInterpreterPython::errorFilePath() const
{
    KelPath path(kelDirectory("macros"));
    path.append("python_script_errors.log");
    return path;
}

// The error file holds what Python wrote, UTF-8; a byte that is not valid
// UTF-8 is kept as a unit of its own value. A script can write gigabytes
// there: the message shows the head of the file, which is the most a user
// reads and always fits the host's strings.
void ScriptInterpreterPython::reportFailure(const KelPath& errorFile)
{
    const std::streamsize kShownBytes = 1 << 20;
    KelIfstream in(errorFile.forOpen());
    if (!in.isOpen())
        return;
    std::string bytes(static_cast<size_t>(kShownBytes), '\0');
    in.read(bytes.data(), kShownBytes);
    bytes.resize(static_cast<size_t>(in.gcount()));
    if (in.peek() != std::char_traits<char>::eof())
        bytes += "\n...";
    KelWideString text = kelUnitsOfUtf8(bytes, KelBadByte::keep);
    if (text.isEmpty())
        return;
    SPtr<IScriptEngine> engine;
    if (!engine)
        return;
    KelWideString message;
    kelTranslate(&message, "Python interpreter error:\n%1", &text);
    engine->reportError(message, 0);
}

// Puts the streams back after a run and, outside the console, hands a
// failed run's error file to the host.
void ScriptInterpreterPython::restoreStreams(bool console, int32_t result, const KelPath& errorFile)
{
    run(console ? kRestoreBothText : kRestoreErrorText);
    kelPythonFlushStdio();
    if (!console && result < 0)
        reportFailure(errorFile);
}

int32_t ScriptInterpreterPython::runFile(const KelWideString& path)
{
    if (!scriptFactory)
        return 0;
    if (!kelPythonUsable())
        return -1;
    bindCommands(commands);
    KelPath errorFile = errorFilePath();
    std::string errorLiteral = kelPythonPathLiteral(errorFile.forOpen());
    bool console = kelSettingOn("Scripting/ShowScriptingConsole");
    if (console) {
        run("errFileName = " + errorLiteral);
        run(kConsoleRunText);
        kelGiveTextStreamMethods();
    } else {
        run("errFileName = u" + errorLiteral);
        run("import sys\nfsock_err = open(errFileName, 'w', errors='backslashreplace')\nsys.stderr = fsock_err\n");
    }
    int32_t result = kelPythonRunOwnText(kExitOverrideText);
    try {
        if (kelSettingOn("Advanced/python debug")) {
            int status = 0;
            kelPythonTakeRunFailure();  // what an earlier run left
            if (kelPythonRunFile(path, &status))
                result = kelPythonTakeRunFailure() ? -1 : status;
        } else {
            result = ScriptInterpreter::runFile(path);
        }
    } catch (...) {
        // A host exception ends the script; the streams are restored below.
    }
    restoreStreams(console, result, errorFile);
    if (console)  // no error file was opened
        return result;
    // The nested runString has normally removed the file already; removing
    // it again would only print a FileNotFoundError after every script.
    if (fileExists(errorFile.forOpen()))
        run("os.remove(" + errorLiteral + ")");
    return result;
}

int32_t ScriptInterpreterPython::runString(const KelWideString& text)
{
    if (!scriptFactory)
        return 0;
    if (!kelPythonUsable())
        return -1;
    KelPath errorFile = errorFilePath();
    std::string errorLiteral = kelPythonPathLiteral(errorFile.forOpen());
    bool console = kelSettingOn("Scripting/ShowScriptingConsole");
    if (console) {
        run("sys.stdout = OutputOverride()\nsys.stderr = ErrorOverride()\n");
    } else {
        run("errFileName = " + errorLiteral);
        run("fsock_err = open(errFileName, 'w', errors='backslashreplace')\nsys.stderr = fsock_err\n");
    }
    int32_t result = -1;
    kelPythonTakeRunFailure();  // what an earlier run left
    try {
        result = kelPythonRunText(kelUtf8OfUnits(text.chars(), KelLoneSurrogate::threeBytes).c_str());
    } catch (...) {
        result = -1;
    }
    if (kelPythonTakeRunFailure())
        result = -1;
    restoreStreams(console, result, errorFile);
    if (console)  // no error file was opened
        return result;
    run("os.remove(" + errorLiteral + ")");
    return result;
}

int32_t ScriptInterpreterPython::runFileWithArgs(const KelWideString& path, const KelObjectArray<KelCString>& args)
{
    if (kelPythonUsable())
        kelPythonSetArgv(args);
    return runFile(path);
}
