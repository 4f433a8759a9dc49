// The Python texts that the interpreter runs at its start and around each
// run, in one place.
#include "script/pythontexts.h"

namespace {

// The output classes, which write what they are given (`value` is "s") or
// its text (`value` is "unicode(s)") into the application states.
std::string outputClasses(const char* value)
{
    std::string text = "import sys\n"
                       "from kelapp.appdata import *\n";
    const char* const classes[][2] = {{"OutputOverride", "Python/Output String"},
                                      {"ErrorOverride", "Python/Error String"}};
    for (const auto& c : classes) {
        text += std::string("class ") + c[0] + ":\n"
                "\tdef __init__(self):\n"
                "\t\tself.ds = StringAppState(\"" + c[1] + "\")\n"
                "\tdef write(self, s):\n"
                "\t\tself.ds.setValue(" + value + ")\n";
    }
    return text;
}

}  // namespace

const char kelPyExitOverrideText[] =
    "def kelScriptExitOverride(*args):\n"
    "   raise Exception('Script exited.')\n"
    "sys.exit = kelScriptExitOverride\n";

std::string kelPyStartupText()
{
    return outputClasses("s") + kelPyExitOverrideText;
}

std::string kelPyConsoleRunText()
{
    return outputClasses("unicode(s)") + "sys.stdout = OutputOverride()\nsys.stderr = ErrorOverride()\n";
}

const char kelPyRestoreBothText[] = "sys.stderr = sys.__stderr__\nsys.stdout = sys.__stdout__\n";
const char kelPyRestoreErrorText[] = "sys.stderr = sys.__stderr__\nfsock_err.close()\n";

// Python calls a script's sys.unraisablehook itself, where a SystemExit or
// any other exception of the hook is only printed and the run would count
// as a success. So every hook that is set is wrapped as it is set: an
// unraisable SystemExit (from a __del__, say) or a hook that raises marks
// the run as failed, and the hook's failure is printed as Python prints it.
const char kelPyUnraisableGuardText[] =
    "import sys as _sys\n"
    "_kelRunFailed = False\n"
    "def _kelGuardUnraisable(hook):\n"
    "    if hook is None:\n"
    "        hook = _sys.__unraisablehook__\n"
    "    def unraisablehook(args):\n"
    "        global _kelRunFailed\n"
    "        if isinstance(args.exc_value, SystemExit):\n"
    "            _kelRunFailed = True\n"
    "        try:\n"
    "            hook(args)\n"
    "        except BaseException as failure:\n"
    "            _kelRunFailed = True\n"
    "            _sys.__unraisablehook__(type(args)((type(failure), failure, failure.__traceback__,\n"
    "                'Exception ignored in sys.unraisablehook', hook)))\n"
    "    return unraisablehook\n"
    "class _KelSysModule(type(_sys)):\n"
    "    def __setattr__(self, name, value):\n"
    "        if name == 'unraisablehook':\n"
    "            value = _kelGuardUnraisable(value)\n"
    "        super().__setattr__(name, value)\n"
    "_sys.__class__ = _KelSysModule\n"
    "_sys.unraisablehook = _sys.unraisablehook\n";

// The host's own package comes from its own directory, whatever a folder
// ahead of it on sys.path (the current one, '.') holds. The finder and
// module_from_spec are taken from the import system's own modules, which are
// always loaded: importing importlib for them (and importlib.util, which
// only passes module_from_spec on) would import warnings, contextlib,
// functools and more at every start of the host.
const char kelPyHostPackageText[] =
    "def _kelHostPackage(directory):\n"
    "    import sys\n"
    "    from _frozen_importlib import module_from_spec\n"
    "    from _frozen_importlib_external import PathFinder\n"
    "    found = PathFinder.find_spec('kelapp', [directory])\n"
    "    if found is None:\n"
    "        return\n"
    "    module = module_from_spec(found)\n"
    "    sys.modules['kelapp'] = module\n"
    "    try:\n"
    "        found.loader.exec_module(module)\n"
    "    except BaseException:\n"
    "        del sys.modules['kelapp']\n"
    "        raise\n";

// What Python's own text streams offer beside write, for code that flushes
// or asks about the stream (print(flush=True), logging, the warnings). Given
// to the output classes each time a text has defined them (see
// kelGiveTextStreamMethods).
const char kelPyTextStreamText[] =
    "def _kelTextStreams():\n"
    "    for name in ('OutputOverride', 'ErrorOverride'):\n"
    "        cls = globals().get(name)\n"
    "        if cls is not None:\n"
    "            cls.flush = lambda self: None\n"
    "            cls.isatty = lambda self: False\n"
    "            cls.writable = lambda self: True\n"
    "            cls.readable = lambda self: False\n"
    "            cls.seekable = lambda self: False\n"
    "            cls.encoding = 'utf-8'\n"
    "            cls.errors = 'surrogatepass'\n";

// The folder goes where the site module would put one more site-packages
// folder: ahead of those it added at start-up (the user's, when the
// environment is let in, and the system's), behind the standard library.
// Its .pth files are read as theirs are; the site module reports a bad line
// itself. A folder that does not exist yet stays on sys.path once: the site
// module would add it again, as it knows only folders that exist.
const char kelPySiteFolderText[] =
    "def _kelSiteFolder(folder):\n"
    "    import os, site, sys\n"
    "    added = [os.path.normcase(os.path.abspath(p)) for p in site.getsitepackages()]\n"
    "    if site.ENABLE_USER_SITE:\n"
    "        added.append(os.path.normcase(os.path.abspath(site.getusersitepackages())))\n"
    "    at = next((i for i, p in enumerate(sys.path) if os.path.normcase(os.path.abspath(p)) in added),\n"
    "              len(sys.path))\n"
    "    sys.path.insert(at, folder)\n"
    "    if os.path.isdir(folder):\n"
    "        site.addsitedir(folder)\n";
