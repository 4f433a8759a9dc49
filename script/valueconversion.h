// The two conversions between Python objects and the host's script values.
//
// Python side          host side (IScriptFactory)
// -------------------  -------------------------------------------------
// True, False          makeBool            (back: the int 1 or 0)
// int within 64 bits   makeInt, low 32 bits (wider ints have no host form)
// float                makeDouble
// bytes                makeString, cut at the first zero byte
//                      (back: str, the bytes read as UTF-8, surrogateescape)
// str                  makeUnicodeString, its exact UTF-16 code units
//                      (pairs above U+FFFF, lone surrogates kept), cut at
//                      the first zero unit (back: str with every character)
// list                 makeList, element by element, nested lists included
// anything else        no host form
//
// Subclasses convert like their bases. The two directions are not inverse:
// True comes back as 1, bytes come back as str.
#pragma once

#include "script/pyref.h"

class IScriptValue;

// `pyObj` is borrowed and only read. Gives a new host value (reference count
// 0, as the factory made it), or null without a Python error when the object
// or one of its elements has no host form. A text longer than the host's
// strings can hold (KelCString::maxLength bytes, KelWideString::maxLength
// units) gives null with an OverflowError set: it is refused here, before
// any host string has to hold it.
IScriptValue* pyObjectToValue(PyObject* pyObj);

// Gives a new reference, or null without a Python error when the value's type
// is none of the six or an element of a list has no Python form. `value` is
// only read.
PyObject* valueToPyObject(IScriptValue* value);
