// Conversions between Python objects and the host's script values, both ways.
#include "script/valueconversion.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/script/scripttesthost.h"

namespace {

// Converts a Python expression's value to the host and gives the ascii() of
// what the host value's own text reads back as: every type and character
// shows (bytes as b'', bool as True, a double with its point).
std::string toHost(const std::string& expression)
{
    PyObject* globals = PyModule_GetDict(PyImport_AddModule("__main__"));
    PyRef object = PyRef::steal(PyRun_String(expression.c_str(), Py_eval_input, globals, globals));
    if (!object)
        return "bad test expression";
    IPtr<IScriptValue> value(pyObjectToValue(object.get()));
    if (PyErr_Occurred()) {
        PyErr_Clear();
        return "a Python error left set";
    }
    if (!value)
        return "null";
    std::ostringstream text;
    value->write(text);
    return pyEval(text.str());
}

// Converts a host value to Python: its type name and ascii().
std::string fromHost(IScriptValue* value)
{
    IPtr<IScriptValue> hold(value);
    PyRef object = PyRef::steal(valueToPyObject(value));
    if (!object)
        return PyErr_Occurred() ? "null with a Python error set" : "null";
    PyRef text = PyRef::steal(PyObject_ASCII(object.get()));
    return std::string(Py_TYPE(object.get())->tp_name) + " " + PyUnicode_AsUTF8(text.get());
}

TEST(ValueConversion, PythonToHostFollowsTheTypeRules)
{
    scriptTestHost();
    const long before = HostScriptObject::alive();
    ASSERT_EQ(pyRun("selfList = [1]\nselfList.append(selfList)"), "");
    const struct {
        const char* expression;
        const char* expected;
    } cases[] = {
        // bool is tested before int
        {"True", "True"}, {"False", "False"}, {"0", "0"},
        // ints within 64 bits give their low 32 bits; wider ones have no host form
        {"2**31 - 1", "2147483647"}, {"2**31", "-2147483648"}, {"-2**31 - 1", "2147483647"}, {"2**32 + 5", "5"},
        {"2**63 - 1", "-1"}, {"-2**63", "0"}, {"type('I', (int,), {})(7)", "7"}, {"2**63", "null"},
        {"-2**63 - 1", "null"}, {"-0.25", "-0.25"}, {"float('inf')", "inf"}, {"type('F', (float,), {})(2)", "2.0"},
        // bytes are cut at the first zero
        {"b'ab\\x00cd'", "b'ab'"}, {"b''", "b''"}, {"b'\\xc3\\xa9'", "b'\\xc3\\xa9'"},
        {"type('B', (bytes,), {})(b'x')", "b'x'"},
        // str keeps its exact UTF-16 units: pairs, lone surrogates; cut at a zero
        {"'a\\u00e9\\u20ac'", "'a\\xe9\\u20ac'"}, {"'\\U0010FFFFz'", "'\\U0010ffffz'"},
        {"'\\ud800x'", "'\\ud800x'"}, {"'x\\udfff'", "'x\\udfff'"}, {"'ab\\x00cd'", "'ab'"}, {"''", "''"},
        {"type('S', (str,), {})('q')", "'q'"}, {"[]", "[]"},
        {"[1, [True, 'x'], [], b'y']", "[1, [True, 'x'], [], b'y']"}, {"type('L', (list,), {})([2.0])", "[2.0]"},
        // one unconvertible element spoils the whole list
        {"[1, 'a', None]", "null"}, {"[[1, [2, {}]], 3]", "null"}, {"[1, 2**64]", "null"}, {"selfList", "null"},
        // other types have no host form and set no error
        {"None", "null"}, {"(1,)", "null"}, {"{}", "null"}, {"{1}", "null"}, {"1j", "null"},
        {"object()", "null"}, {"len", "null"}, {"bytearray(b'x')", "null"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(toHost(c.expression), c.expected) << c.expression;
    EXPECT_EQ(HostScriptObject::alive(), before);  // spoiled lists leave nothing behind
}

TEST(ValueConversion, HostToPythonKeepsEveryCharacterAndWholeLists)
{
    HostScriptFactory& f = *scriptTestHost().factory;
    EXPECT_EQ(fromHost(f.makeBool(true)), "int 1");
    EXPECT_EQ(fromHost(f.makeBool(false)), "int 0");
    EXPECT_EQ(fromHost(f.makeInt(-2147483647 - 1)), "int -2147483648");
    EXPECT_EQ(fromHost(f.makeDouble(2.5)), "float 2.5");
    // byte strings as UTF-8 with surrogate escapes; a null one is None
    EXPECT_EQ(fromHost(f.makeString(KelCString("\xc3\xa9"))), "str '\\xe9'");
    EXPECT_EQ(fromHost(f.makeString(KelCString("a\xff"))), "str 'a\\udcff'");
    EXPECT_EQ(fromHost(f.makeString(KelCString(""))), "str ''");
    EXPECT_EQ(fromHost(f.makeString(KelCString())), "NoneType None");
    const char16_t pair[] = {u'a', 0xD83D, 0xDE00, 0};
    const char16_t lone[] = {0xDC00, u'b', 0xD800, 0};
    const char16_t reversed[] = {0xDE00, 0xD83D, 0};
    EXPECT_EQ(fromHost(f.makeUnicodeString(KelWideString(pair, kelBorrow))), "str 'a\\U0001f600'");
    EXPECT_EQ(fromHost(f.makeUnicodeString(KelWideString(lone, kelBorrow))), "str '\\udc00b\\ud800'");
    EXPECT_EQ(fromHost(f.makeUnicodeString(KelWideString(reversed, kelBorrow))), "str '\\ude00\\ud83d'");
    EXPECT_EQ(fromHost(f.makeUnicodeString(KelWideString::emptyString())), "str ''");
    IScriptValue* inner = f.makeList();
    kelQuery<IScriptValueList>(inner)->append(f.makeInt(2));
    IScriptValue* outer = f.makeList();
    kelQuery<IScriptValueList>(outer)->append(f.makeString(KelCString("s")));
    kelQuery<IScriptValueList>(outer)->append(inner);
    kelQuery<IScriptValueList>(outer)->append(f.makeList());
    EXPECT_EQ(fromHost(outer), "list ['s', [2], []]");

    const long before = HostScriptObject::alive();
    IScriptValue* spoiled = f.makeList();
    kelQuery<IScriptValueList>(spoiled)->append(f.makeInt(1));
    kelQuery<IScriptValueList>(spoiled)->append(new ForeignValue);
    EXPECT_EQ(fromHost(spoiled), "null");
    EXPECT_EQ(fromHost(new ForeignValue), "null");
    EXPECT_EQ(HostScriptObject::alive(), before);
}

}  // namespace
