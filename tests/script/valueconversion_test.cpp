// Conversions between Python objects and the host's script values, both ways.
#include "script/valueconversion.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/script/scripttesthost.h"

namespace {

// What Python reads back, as ascii(), from the text a host value writes of
// itself: every type and character shows (bytes as b'', a double's point).
std::string written(IScriptValue* value)
{
    if (!value)
        return "null";
    std::ostringstream text;
    value->write(text);
    return pyEval(text.str());
}

// Converts a Python expression's value to the host, shown as written() shows it.
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
    return written(value.get());
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
        {"-2**63 - 1", "null"}, {"-0.0", "-0.0"}, {"0.1", "0.1"}, {"float('-inf')", "-inf"},
        {"type('F', (float,), {})(2)", "2.0"},
        // bytes are cut at the first zero
        {"b'ab\\x00cd'", "b'ab'"}, {"b''", "b''"}, {"b'a\\'b\\\\c\\nd\\xff\\x01'", "b\"a'b\\\\c\\nd\\xff\\x01\""},
        {"type('B', (bytes,), {})(b'x')", "b'x'"},
        // str keeps its exact UTF-16 units: pairs, lone surrogates; cut at a zero
        {"'a\\u00e9\\u20ac'", "'a\\xe9\\u20ac'"}, {"'\\U0010FFFFz'", "'\\U0010ffffz'"},
        {"'\\ud800x'", "'\\ud800x'"}, {"'x\\udfff'", "'x\\udfff'"}, {"'ab\\x00cd'", "'ab'"}, {"''", "''"},
        {"'\\'\\\\\\n'", "\"'\\\\\\n\""},
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
    auto wide = [&f](const char16_t* text) { return f.makeUnicodeString(KelWideString(text, kelBorrow)); };
    auto list = [&f](std::initializer_list<IScriptValue*> items) {
        IScriptValue* made = f.makeList();
        for (IScriptValue* item : items)
            kelQuery<IScriptValueList>(made)->append(item);
        return made;
    };
    const char16_t pair[] = {u'a', 0xD83D, 0xDE00, 0}, lone[] = {0xDC00, u'b', 0xD800, 0};
    const char16_t reversed[] = {0xDE00, 0xD83D, 0};
    const long before = HostScriptObject::alive();
    const std::pair<IScriptValue*, const char*> cases[] = {
        {f.makeBool(true), "int 1"}, {f.makeBool(false), "int 0"}, {f.makeInt(-2147483647 - 1), "int -2147483648"},
        {f.makeDouble(2.5), "float 2.5"},
        // byte strings as UTF-8 with surrogate escapes; a null one is None
        {f.makeString(KelCString("\xc3\xa9")), "str '\\xe9'"}, {f.makeString(KelCString("a\xff")), "str 'a\\udcff'"},
        {f.makeString(KelCString("")), "str ''"}, {f.makeString(KelCString()), "NoneType None"},
        {wide(pair), "str 'a\\U0001f600'"}, {wide(lone), "str '\\udc00b\\ud800'"},
        {wide(reversed), "str '\\ude00\\ud83d'"}, {wide(u""), "str ''"},
        {list({f.makeString(KelCString("s")), list({f.makeInt(2)}), f.makeList()}), "list ['s', [2], []]"},
        // one value without a Python form spoils its list
        {list({f.makeInt(1), new ForeignValue}), "null"}, {new ForeignValue, "null"},
    };
    for (auto [value, expected] : cases)
        EXPECT_EQ(fromHost(value), expected);
    EXPECT_EQ(HostScriptObject::alive(), before);
    IPtr<IScriptValue> none(f.makeString(KelCString()));
    EXPECT_EQ(written(none.get()), "None");  // the text of a null byte string
}

}  // namespace
