// ScriptInterpreterPython: running scripts and catching Python's diagnostics.
//
// Two modes, chosen by the host setting "Scripting/ShowScriptingConsole" at
// the start of each run:
//   console mode  sys.stdout and sys.stderr write into the application states
//                 "Python/Output String" and "Python/Error String" while the
//                 script runs;
//   file mode     sys.stderr is the error file "python_script_errors.log" in
//                 the host's "macros" directory (see scripterrorfile.h);
//                 after a failed run its text goes to the user through
//                 IScriptEngine, once, and the file is removed.
// Either way the streams are sys.__stdout__ and sys.__stderr__ again after the
// run. Paths reach Python as escaped literals, never as raw text.
#include <optional>
#include <string>

#include "platform/platform.h"
#include "script/commandbridge.h"
#include "script/pythonrun.h"
#include "script/scripterrorfile.h"
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

// Makes the error file, opened anew and empty, Python's sys.stderr; false
// when it cannot be opened, and sys.stderr stays as it was.
bool installErrorFile(ScriptErrorFile& errorFile, const char* before)
{
    int fd = errorFile.open();
    if (fd < 0)
        return false;
    std::string text = std::string(before) + "fsock_err = open(" + std::to_string(fd) +
                       ", 'w', errors='backslashreplace')\nsys.stderr = fsock_err\n";
    if (kelPythonRunOwnText(text) == 0)
        return true;
    kelClose(fd);  // Python did not take it
    return false;
}

}  // namespace

// Puts the streams back after a run and, outside the console, hands a
// failed run's error text to the host. When the file could not take the
// text (a full disk, a file size limit), its close fails: the traceback then
// comes from memory, with the reason, so that the user still sees it.
void ScriptInterpreterPython::restoreStreams(int32_t result, ScriptErrorFile* errorFile, bool installed)
{
    if (!errorFile) {
        run(kRestoreBothText);
        kelPythonFlushStdio();
        return;
    }
    std::string closeFailure;
    if (installed)
        kelPythonRunOwnTextQuietly(kRestoreErrorText, closeFailure);
    else
        run("sys.stderr = sys.__stderr__\n");
    kelPythonFlushStdio();
    if (result >= 0)
        return;
    std::string text = errorFile->read();
    if (!closeFailure.empty())
        text = kelPythonLastTraceback() + "(the error file could not take this text: " + closeFailure + ")\n";
    if (!text.empty())
        reportToUser("Python interpreter error:\n%1", text);
}

int32_t ScriptInterpreterPython::runFile(const KelWideString& path)
{
    if (!scriptFactory)
        return 0;
    if (!kelPythonUsable())
        return -1;
    bindCommands(commands);
    bool console = kelSettingOn("Scripting/ShowScriptingConsole");
    std::optional<ScriptErrorFile> errorFile;
    bool installed = false;
    if (console) {
        run("errFileName = " + kelPythonPathLiteral(ScriptErrorFile::currentPath().forOpen()));
        run(kConsoleRunText);
        kelGiveTextStreamMethods();
    } else {
        errorFile.emplace();
        run("errFileName = u" + kelPythonPathLiteral(errorFile->path().forOpen()));
        installed = installErrorFile(*errorFile, "import sys\n");
    }
    int32_t result = kelPythonRunOwnText(kExitOverrideText);
    try {
        if (kelSettingOn("Advanced/python debug")) {
            int status = 0;
            kelPythonTakeRunFailure();  // what an earlier run left
            if (kelPythonRunFile(path, &status))
                result = kelPythonTakeRunFailure() || kelPythonFlushOutput() != 0 ? -1 : status;
        } else {
            result = ScriptInterpreter::runFile(path);
        }
    } catch (...) {
        // A host exception ends the script; the streams are restored below.
    }
    // The nested runString has normally read back and removed the file
    // already; what is left here then is nothing.
    restoreStreams(result, errorFile ? &*errorFile : nullptr, installed);
    if (errorFile)
        errorFile->remove();
    return result;
}

int32_t ScriptInterpreterPython::runString(const KelWideString& text)
{
    if (!scriptFactory)
        return 0;
    if (!kelPythonUsable())
        return -1;
    bool console = kelSettingOn("Scripting/ShowScriptingConsole");
    std::optional<ScriptErrorFile> errorFile;
    bool installed = false;
    if (console) {
        run("sys.stdout = OutputOverride()\nsys.stderr = ErrorOverride()\n");
    } else {
        errorFile.emplace();
        run("errFileName = " + kelPythonPathLiteral(errorFile->path().forOpen()));
        installed = installErrorFile(*errorFile, "");
    }
    int32_t result = -1;
    kelPythonTakeRunFailure();  // what an earlier run left
    try {
        result = kelPythonRunText(kelUtf8OfUnits(text.chars(), KelLoneSurrogate::threeBytes).c_str());
    } catch (...) {
        result = -1;
    }
    if (kelPythonTakeRunFailure() || kelPythonFlushOutput() != 0)
        result = -1;
    restoreStreams(result, errorFile ? &*errorFile : nullptr, installed);
    if (errorFile)
        errorFile->remove();
    return result;
}

int32_t ScriptInterpreterPython::runFileWithArgs(const KelWideString& path, const KelObjectArray<KelCString>& args)
{
    if (kelPythonUsable())
        kelPythonSetArgv(args);
    return runFile(path);
}
