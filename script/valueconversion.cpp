// Conversions between Python objects and the host's script values. Values
// are made by the interpreter's factory; the assertions quote the interpreter's
// source file, where the conversions belong.
#include "script/valueconversion.h"

#include <cstdint>
#include <cstring>
#include <string>

#include "core/kelassert.h"
#include "kel/iptr.h"
#include "kel/kelwidestring.h"
#include "kel/qtxcstring.h"
#include "kel/scripthost.h"
#include "script/scriptinterpreterpython.h"

namespace {

const char kSourceFile[] = ".\\scriptinterpreterpython";

// A list that holds itself (directly or deeper down) would make both
// conversions recurse without end. Beyond this depth a list has no form on
// the other side; real data never nests this deep.
const int kMaxDepth = 1000;

IScriptFactory* conversionFactory()
{
    ScriptInterpreterPython* instance_ = ScriptInterpreterPython::instance_;
    KEL_ASSERT(instance_, kSourceFile);
    return instance_ ? instance_->factory() : nullptr;
}

// Destroys a value that nobody has taken: one reference taken and dropped.
void discard(IScriptValue* value)
{
    IPtr<IScriptValue> hold(value);
}

IScriptValue* intToValue(IScriptFactory* factory, PyObject* pyObj)
{
    int overflow = 0;
    long long wide = PyLong_AsLongLongAndOverflow(pyObj, &overflow);
    if (overflow != 0 || (wide == -1 && PyErr_Occurred())) {
        PyErr_Clear();
        return nullptr;  // wider than 64 bits: like a long of old, no host form
    }
    return factory->makeInt(static_cast<int32_t>(static_cast<uint32_t>(wide)));
}

IScriptValue* refuseLongText(const char* what, Py_ssize_t length, int32_t limit)
{
    PyErr_Format(PyExc_OverflowError, "%s of length %zd is longer than the host's strings hold (%d)", what, length,
                 static_cast<int>(limit));
    return nullptr;
}

IScriptValue* bytesToValue(IScriptFactory* factory, PyObject* pyObj)
{
    // The factory keeps its own copy, so the bytes object's buffer is only
    // borrowed; the copy ends at the first zero byte.
    const char* data = PyBytes_AS_STRING(pyObj);
    const auto size = static_cast<size_t>(PyBytes_GET_SIZE(pyObj));
    const void* zero = std::memchr(data, 0, size);
    const size_t length = zero ? static_cast<size_t>(static_cast<const char*>(zero) - data) : size;
    if (length > static_cast<size_t>(KelCString::maxLength))
        return refuseLongText("bytes", static_cast<Py_ssize_t>(length), KelCString::maxLength);
    KelCString text(data, kelBorrow);
    return factory->makeString(text);
}

// The UTF-16 code units of `text` up to its first zero character, counted
// before anything is copied, so that a text too long for the host costs no
// copy.
Py_ssize_t unitCount(int kind, const void* data, Py_ssize_t length)
{
    if (kind == PyUnicode_1BYTE_KIND) {
        const void* zero = std::memchr(data, 0, static_cast<size_t>(length));
        return zero ? static_cast<const char*>(zero) - static_cast<const char*>(data) : length;
    }
    Py_ssize_t units = 0;
    for (Py_ssize_t i = 0; i < length; ++i) {
        const Py_UCS4 c = PyUnicode_READ(kind, data, i);
        if (c == 0)
            break;
        units += c < 0x10000 ? 1 : 2;
    }
    return units;
}

// Appends the UTF-16 code units of `text` up to its first zero character.
// Code points from the surrogate range are kept as single units.
void appendUnits(std::u16string& units, int kind, const void* data, Py_ssize_t length)
{
    for (Py_ssize_t i = 0; i < length; ++i) {
        const Py_UCS4 c = PyUnicode_READ(kind, data, i);
        if (c == 0)
            break;
        if (c < 0x10000) {
            units.push_back(static_cast<char16_t>(c));
        } else {
            units.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
            units.push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
        }
    }
}

IScriptValue* strToValue(IScriptFactory* factory, PyObject* pyObj)
{
    if (PyUnicode_READY(pyObj) != 0) {
        PyErr_Clear();
        return nullptr;
    }
    const int kind = PyUnicode_KIND(pyObj);
    const void* data = PyUnicode_DATA(pyObj);
    const Py_ssize_t length = PyUnicode_GET_LENGTH(pyObj);
    const Py_ssize_t count = unitCount(kind, data, length);
    if (count > KelWideString::maxLength)
        return refuseLongText("str", count, KelWideString::maxLength);
    std::u16string units;
    units.reserve(static_cast<size_t>(count) + 1);
    appendUnits(units, kind, data, length);
    // Borrowed for the call: makeUnicodeString keeps its own copy.
    KelWideString text(units.c_str(), kelBorrow);
    return factory->makeUnicodeString(text);
}

IScriptValue* toValue(IScriptFactory* factory, PyObject* pyObj, int depth);

IScriptValue* listToValue(IScriptFactory* factory, PyObject* pyObj, int depth)
{
    if (depth >= kMaxDepth)
        return nullptr;
    IScriptValue* made = factory->makeList();
    IScriptValueList* result = made ? kelQuery<IScriptValueList>(made) : nullptr;
    KEL_ASSERT(result, kSourceFile);
    if (!result) {
        if (made)
            discard(made);
        return nullptr;
    }
    // Converting an element runs no Python code, so the size cannot change
    // under the loop.
    const Py_ssize_t size = PyList_GET_SIZE(pyObj);
    for (Py_ssize_t i = 0; i < size; ++i) {
        IScriptValue* element = toValue(factory, PyList_GET_ITEM(pyObj, i), depth + 1);  // borrowed item
        if (!element) {
            discard(made);  // takes the elements appended so far with it
            return nullptr;
        }
        result->append(element);
    }
    return made;
}

IScriptValue* toValue(IScriptFactory* factory, PyObject* pyObj, int depth)
{
    // Identity first: a bool would also pass the int check.
    if (pyObj == Py_True || pyObj == Py_False)
        return factory->makeBool(pyObj == Py_True);
    if (PyLong_Check(pyObj))
        return intToValue(factory, pyObj);
    if (PyFloat_Check(pyObj))
        return factory->makeDouble(PyFloat_AS_DOUBLE(pyObj));
    if (PyBytes_Check(pyObj))
        return bytesToValue(factory, pyObj);
    if (PyUnicode_Check(pyObj))
        return strToValue(factory, pyObj);
    if (PyList_Check(pyObj))
        return listToValue(factory, pyObj, depth);
    return nullptr;
}

PyObject* stringToPy(IScriptValue* value)
{
    IScriptValueString* sa = kelQuery<IScriptValueString>(value);
    KEL_ASSERT(sa, kSourceFile);
    if (!sa)
        return nullptr;
    KelCString text = sa->getValue();
    const char* chars = text.chars();
    if (!chars)
        Py_RETURN_NONE;
    return PyUnicode_DecodeUTF8(chars, static_cast<Py_ssize_t>(text.length()), "surrogateescape");  // new reference
}

// The character at units[i]; moves i behind it. A high surrogate followed by
// a low one is a pair; any other surrogate stands alone.
Py_UCS4 nextCharacter(const char16_t* units, Py_ssize_t length, Py_ssize_t& i)
{
    const Py_UCS4 c = units[i++];
    if (c >= 0xD800 && c < 0xDC00 && i < length && units[i] >= 0xDC00 && units[i] < 0xE000)
        return 0x10000 + ((c - 0xD800) << 10) + (units[i++] - 0xDC00);
    return c;
}

// Every unit of the text becomes a character: pairs are joined, a lone
// surrogate stays what it is.
PyObject* unicodeToPy(IScriptValue* value)
{
    IScriptValueUnicodeString* usa = kelQuery<IScriptValueUnicodeString>(value);
    KEL_ASSERT(usa, kSourceFile);
    if (!usa)
        return nullptr;
    KelWideString text = usa->getValue();
    const char16_t* units = text.chars();
    const Py_ssize_t length = text.length();
    Py_ssize_t characters = 0;
    Py_UCS4 maxChar = 0;
    for (Py_ssize_t i = 0; i < length; ++characters) {
        const Py_UCS4 c = nextCharacter(units, length, i);
        if (c > maxChar)
            maxChar = c;
    }
    PyObject* result = PyUnicode_New(characters, maxChar);  // new reference
    if (!result)
        return nullptr;
    const int kind = PyUnicode_KIND(result);
    void* data = PyUnicode_DATA(result);
    for (Py_ssize_t i = 0, at = 0; i < length; ++at)
        PyUnicode_WRITE(kind, data, at, nextCharacter(units, length, i));
    return result;
}

PyObject* toPy(IScriptFactory* factory, IScriptValue* value, int depth);

PyObject* listToPy(IScriptFactory* factory, IScriptValue* value, int depth)
{
    IScriptValueList* list = kelQuery<IScriptValueList>(value);
    KEL_ASSERT(list, kSourceFile);
    if (!list || depth >= kMaxDepth)
        return nullptr;
    PyRef result = PyRef::steal(PyList_New(0));
    if (!result)
        return nullptr;
    // The count is read anew at each step: the host may change the list.
    for (uint32_t i = 0; i < list->count(); ++i) {
        IScriptValue* item = list->item(i);  // borrowed from the list
        PyRef element = PyRef::steal(item ? toPy(factory, item, depth + 1) : nullptr);
        if (!element || PyList_Append(result.get(), element.get()) != 0)
            return nullptr;
    }
    return result.release();
}

PyObject* toPy(IScriptFactory* factory, IScriptValue* value, int depth)
{
    const ScriptTypeToken type = value->type();
    if (factory->isBool(type)) {
        IScriptValueBool* ba = kelQuery<IScriptValueBool>(value);
        KEL_ASSERT(ba, kSourceFile);
        return ba ? PyLong_FromLong(ba->getValue() ? 1 : 0) : nullptr;
    }
    if (factory->isInt(type)) {
        IScriptValueInt* ia = kelQuery<IScriptValueInt>(value);
        KEL_ASSERT(ia, kSourceFile);
        return ia ? PyLong_FromLong(ia->getValue()) : nullptr;
    }
    if (factory->isDouble(type)) {
        IScriptValueDouble* da = kelQuery<IScriptValueDouble>(value);
        KEL_ASSERT(da, kSourceFile);
        return da ? PyFloat_FromDouble(da->getValue()) : nullptr;
    }
    if (factory->isString(type))
        return stringToPy(value);
    if (factory->isUnicodeString(type))
        return unicodeToPy(value);
    if (factory->isList(type))
        return listToPy(factory, value, depth);
    return nullptr;
}

}  // namespace

IScriptValue* pyObjectToValue(PyObject* pyObj)
{
    KEL_ASSERT(pyObj, kSourceFile);
    IScriptFactory* factory = conversionFactory();
    if (!pyObj || !factory)
        return nullptr;
    return toValue(factory, pyObj, 0);
}

PyObject* valueToPyObject(IScriptValue* value)
{
    KEL_ASSERT(value, kSourceFile);
    IScriptFactory* factory = conversionFactory();
    if (!value || !factory)
        return nullptr;
    return toPy(factory, value, 0);
}
