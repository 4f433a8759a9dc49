// The Python texts that the interpreter runs at its start and around each
// run, in one place.
#pragma once

#include <string>

// Start-up: the output classes (only defined; a run installs them) and the
// replacement of sys.exit, which must not end the host.
std::string kelPyStartupText();
// The replacement of sys.exit again, at the start of each file run.
extern const char kelPyExitOverrideText[];
// A console run: the output classes again, writing the text of what they are
// given, installed as sys.stdout and sys.stderr.
std::string kelPyConsoleRunText();
// After a run: both streams back, or the error file closed and sys.stderr back.
extern const char kelPyRestoreBothText[];
extern const char kelPyRestoreErrorText[];
// Wraps every sys.unraisablehook that is set, so that an unraisable
// SystemExit or a failing hook marks the run as failed.
extern const char kelPyUnraisableGuardText[];
// Defines _kelHostPackage(directory), which loads the host's own package
// from its own directory.
extern const char kelPyHostPackageText[];
// Defines _kelTextStreams(), which gives the output classes what Python's own
// text streams offer beside write.
extern const char kelPyTextStreamText[];
// Defines _kelSiteFolder(folder), which puts a folder of packages on
// sys.path as the site module puts site-packages there.
extern const char kelPySiteFolderText[];
