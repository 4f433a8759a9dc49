// The command bridge: what happens when a script calls a host command.
//
// Every function of the module "kel" is a C function on one entry point,
// callCommand, whose self is the command's name as a str. The name is the
// only link: the command is found again by name in the interpreter's current
// command list at each call. Arguments become host values through the host's
// factory, the command runs, and its result comes back as a Python object.
//
// What a script sees:
//   execute true with a value        the converted value
//   execute true without a value     None
//   execute true, value without a    null without an exception (Python
//     Python form                      raises its SystemError)
//   execute false                    None; the host is told "Python
//                                      interpreter error:\nError executing
//                                      command NAME"
//   an argument without a host form  TypeError "wrong type of argument N for
//                                      NAME()" (positional) or "wrong type of
//                                      argument for KEY for NAME" (keyword);
//                                      the host is told the same text behind
//                                      "Python interpreter error:\n"
// Keywords, when present, decide the road alone: positional arguments given
// together with keywords are dropped.
//
// No C++ exception leaves callCommand.
#pragma once

#include <string>

#include "kel/iptr.h"
#include "kel/kelobjectarray.h"
#include "kel/qtxcstring.h"
#include "kel/scripthost.h"
#include "script/pyref.h"

// The published functions' entry (METH_VARARGS | METH_KEYWORDS). `self` is the
// command's name, `args` the positional tuple, `keywords` a dict or null.
// Gives a new reference, or null.
PyObject* callCommand(PyObject* self, PyObject* args, PyObject* keywords);

// An argument list of the positional values of `args` (adds a reference);
// empty, with a TypeError set and the host told, when one has no host form.
IPtr<IScriptActualArgList> buildArgsFromTuple(const char* name, PyObject* args);
// The same for a call by keywords. Keys that are not str are skipped.
IPtr<IScriptActualArgList> buildArgsFromKeywords(const char* name, PyObject* keywords);

// Tells the user through the host's script engine, when the host has one:
// `message` translated, with `argument` (UTF-8; a byte that is not valid
// UTF-8 stands for itself) in its placeholder %1.
void reportToUser(const char* message, const std::string& argument);

// Fills `array` from index 1 with Python's reserved words ("keyword"'s
// "kwlist"), read once per process and empty for good when the module cannot
// be imported. Always true.
bool getPythonKeywords(KelObjectArray<KelCString>& array);
