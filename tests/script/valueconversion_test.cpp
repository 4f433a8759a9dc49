// Conversions between Python objects and the host's script values, both ways.
#include "script/valueconversion.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tests/script/scripttesthost.h"

namespace {

std::string describe(IScriptValue* value);

std::string describeList(IScriptValueList* list)
{
    std::string out = "list[";
    for (uint32_t i = 0; i < list->count(); ++i)
        out += (i ? ", " : "") + describe(list->item(i));
    return out + "]";
}

// The host's view of a value: its type and contents; Unicode text as its
// code units in hex.
std::string describe(IScriptValue* value)
{
    if (!value)
        return "null";
    if (auto* b = kelQuery<IScriptValueBool>(value))
        return b->getValue() ? "bool:true" : "bool:false";
    if (auto* i = kelQuery<IScriptValueInt>(value))
        return "int:" + std::to_string(i->getValue());
    if (auto* d = kelQuery<IScriptValueDouble>(value)) {
        char text[40];
        std::snprintf(text, sizeof text, "double:%g", d->getValue());
        return text;
    }
    if (auto* s = kelQuery<IScriptValueString>(value)) {
        KelCString text = s->getValue();
        return "string:'" + std::string(text.chars() ? text.chars() : "") + "'";
    }
    if (auto* u = kelQuery<IScriptValueUnicodeString>(value)) {
        KelWideString text = u->getValue();
        std::string out = "unicode:[";
        for (int32_t i = 0; i < text.length(); ++i) {
            char unit[8];
            std::snprintf(unit, sizeof unit, "%s%04x", i ? " " : "", static_cast<unsigned>(text.chars()[i]));
            out += unit;
        }
        return out + "]";
    }
    if (auto* l = kelQuery<IScriptValueList>(value))
        return describeList(l);
    return "foreign";
}

// Converts a Python expression's value to the host and describes it; the
// value is destroyed again.
std::string toHost(const std::string& expression)
{
    PyRef object = PyRef::steal(PyRun_String(expression.c_str(), Py_eval_input,
                                             PyModule_GetDict(PyImport_AddModule("__main__")),
                                             PyModule_GetDict(PyImport_AddModule("__main__"))));
    if (!object)
        return "bad test expression";
    IPtr<IScriptValue> value(pyObjectToValue(object.get()));
    std::string result = describe(value.get());
    if (PyErr_Occurred()) {
        PyErr_Clear();
        result += " with a Python error left set";
    }
    return result;
}

// Converts a host value to Python and gives its ascii() with its type name.
std::string fromHost(IScriptValue* value)
{
    IPtr<IScriptValue> hold(value);
    PyRef object = PyRef::steal(valueToPyObject(value));
    if (!object)
        return PyErr_Occurred() ? "null with a Python error set" : "null";
    PyRef text = PyRef::steal(PyObject_ASCII(object.get()));
    return std::string(Py_TYPE(object.get())->tp_name) + " " + PyUnicode_AsUTF8(text.get());
}

class ValueConversion : public ::testing::Test {
protected:
    void SetUp() override { scriptTestHost(); }
    HostScriptFactory& factory() { return *scriptTestHost().factory; }
};

TEST_F(ValueConversion, BoolsAreBoolsAndComeBeforeInts)
{
    EXPECT_EQ(toHost("True"), "bool:true");
    EXPECT_EQ(toHost("False"), "bool:false");
    EXPECT_EQ(toHost("1"), "int:1");
    EXPECT_EQ(toHost("0"), "int:0");
}

TEST_F(ValueConversion, IntsWithin64BitsGiveTheirLow32Bits)
{
    EXPECT_EQ(toHost("2**31 - 1"), "int:2147483647");
    EXPECT_EQ(toHost("-2**31"), "int:-2147483648");
    EXPECT_EQ(toHost("2**31"), "int:-2147483648");
    EXPECT_EQ(toHost("-2**31 - 1"), "int:2147483647");
    EXPECT_EQ(toHost("2**32 + 5"), "int:5");
    EXPECT_EQ(toHost("2**63 - 1"), "int:-1");
    EXPECT_EQ(toHost("-2**63"), "int:0");
    EXPECT_EQ(toHost("type('I', (int,), {})(7)"), "int:7");
}

TEST_F(ValueConversion, IntsWiderThan64BitsHaveNoHostForm)
{
    EXPECT_EQ(toHost("2**63"), "null");
    EXPECT_EQ(toHost("-2**63 - 1"), "null");
    EXPECT_EQ(toHost("10**30"), "null");
}

TEST_F(ValueConversion, FloatsAndTheirSubclassesBecomeDoubles)
{
    EXPECT_EQ(toHost("1.5"), "double:1.5");
    EXPECT_EQ(toHost("-0.25"), "double:-0.25");
    EXPECT_EQ(toHost("float('inf')"), "double:inf");
    EXPECT_EQ(toHost("type('F', (float,), {})(2.5)"), "double:2.5");
}

TEST_F(ValueConversion, BytesBecomeStringsCutAtTheFirstZero)
{
    EXPECT_EQ(toHost("b'abc'"), "string:'abc'");
    EXPECT_EQ(toHost("b'ab\\x00cd'"), "string:'ab'");
    EXPECT_EQ(toHost("b''"), "string:''");
    EXPECT_EQ(toHost("b'\\xc3\\xa9'"), "string:'\xc3\xa9'");
    EXPECT_EQ(toHost("type('B', (bytes,), {})(b'x')"), "string:'x'");
    EXPECT_EQ(toHost("bytearray(b'x')"), "null");
}

TEST_F(ValueConversion, StrBecomesItsExactUtf16Units)
{
    EXPECT_EQ(toHost("'a\\u00e9\\u20ac'"), "unicode:[0061 00e9 20ac]");
    EXPECT_EQ(toHost("'\\U0001F600'"), "unicode:[d83d de00]");
    EXPECT_EQ(toHost("'\\U0010FFFFz'"), "unicode:[dbff dfff 007a]");
    EXPECT_EQ(toHost("'\\ud800x'"), "unicode:[d800 0078]");
    EXPECT_EQ(toHost("'x\\udfff'"), "unicode:[0078 dfff]");
    EXPECT_EQ(toHost("'ab\\x00cd'"), "unicode:[0061 0062]");
    EXPECT_EQ(toHost("''"), "unicode:[]");
    EXPECT_EQ(toHost("type('S', (str,), {})('q')"), "unicode:[0071]");
}

TEST_F(ValueConversion, ListsConvertElementByElementAndNest)
{
    EXPECT_EQ(toHost("[]"), "list[]");
    EXPECT_EQ(toHost("[1, [True, 'x'], [], b'y']"), "list[int:1, list[bool:true, unicode:[0078]], list[], string:'y']");
    EXPECT_EQ(toHost("type('L', (list,), {})([2.0])"), "list[double:2]");
}

TEST_F(ValueConversion, OneUnconvertibleElementSpoilsTheWholeListAndLeavesNothing)
{
    const long before = HostScriptObject::alive();
    EXPECT_EQ(toHost("[1, 'a', None]"), "null");
    EXPECT_EQ(toHost("[[1, [2, {}]], 3]"), "null");
    EXPECT_EQ(toHost("[1, 2**64]"), "null");
    ASSERT_EQ(pyRun("selfList = [1]\nselfList.append(selfList)"), "");
    EXPECT_EQ(toHost("selfList"), "null");
    EXPECT_EQ(HostScriptObject::alive(), before);
}

TEST_F(ValueConversion, OtherTypesHaveNoHostFormAndSetNoError)
{
    for (const char* expression : {"None", "(1,)", "{}", "{1}", "1j", "object()", "len", "bytearray()"})
        EXPECT_EQ(toHost(expression), "null") << expression;
}

TEST_F(ValueConversion, ScalarsComeBackInTheirPythonForms)
{
    EXPECT_EQ(fromHost(factory().makeBool(true)), "int 1");
    EXPECT_EQ(fromHost(factory().makeBool(false)), "int 0");
    EXPECT_EQ(fromHost(factory().makeInt(-2147483647 - 1)), "int -2147483648");
    EXPECT_EQ(fromHost(factory().makeDouble(2.5)), "float 2.5");
}

TEST_F(ValueConversion, ByteStringsComeBackAsStrWithSurrogateEscapes)
{
    EXPECT_EQ(fromHost(factory().makeString(KelCString("abc"))), "str 'abc'");
    EXPECT_EQ(fromHost(factory().makeString(KelCString("\xc3\xa9"))), "str '\\xe9'");
    EXPECT_EQ(fromHost(factory().makeString(KelCString("a\xff"))), "str 'a\\udcff'");
    EXPECT_EQ(fromHost(factory().makeString(KelCString(""))), "str ''");
    EXPECT_EQ(fromHost(factory().makeString(KelCString())), "NoneType None");
}

TEST_F(ValueConversion, UnicodeStringsComeBackWithEveryCharacter)
{
    const char16_t pair[] = {u'a', 0xD83D, 0xDE00, 0};
    const char16_t lone[] = {0xDC00, u'b', 0xD800, 0};
    const char16_t reversed[] = {0xDE00, 0xD83D, 0};
    EXPECT_EQ(fromHost(factory().makeUnicodeString(KelWideString(pair, kelBorrow))), "str 'a\\U0001f600'");
    EXPECT_EQ(fromHost(factory().makeUnicodeString(KelWideString(lone, kelBorrow))), "str '\\udc00b\\ud800'");
    EXPECT_EQ(fromHost(factory().makeUnicodeString(KelWideString(reversed, kelBorrow))), "str '\\ude00\\ud83d'");
    EXPECT_EQ(fromHost(factory().makeUnicodeString(KelWideString::emptyString())), "str ''");
}

TEST_F(ValueConversion, HostListsComeBackNestedOrNotAtAll)
{
    IScriptValue* inner = factory().makeList();
    kelQuery<IScriptValueList>(inner)->append(factory().makeInt(2));
    IScriptValue* outer = factory().makeList();
    kelQuery<IScriptValueList>(outer)->append(factory().makeString(KelCString("s")));
    kelQuery<IScriptValueList>(outer)->append(inner);
    kelQuery<IScriptValueList>(outer)->append(factory().makeList());
    EXPECT_EQ(fromHost(outer), "list ['s', [2], []]");

    const long before = HostScriptObject::alive();
    IScriptValue* spoiled = factory().makeList();
    kelQuery<IScriptValueList>(spoiled)->append(factory().makeInt(1));
    kelQuery<IScriptValueList>(spoiled)->append(new ForeignValue);
    EXPECT_EQ(fromHost(spoiled), "null");
    EXPECT_EQ(fromHost(new ForeignValue), "null");
    EXPECT_EQ(HostScriptObject::alive(), before);
}

TEST_F(ValueConversion, RoundTripsThatAreNotInverse)
{
    // True goes to the host as a bool and comes back as 1; bytes come back as str.
    IPtr<IScriptValue> fromTrue(pyObjectToValue(Py_True));
    EXPECT_EQ(fromHost(fromTrue.get()), "int 1");
    PyRef bytes = PyRef::steal(PyBytes_FromString("b"));
    IPtr<IScriptValue> fromBytes(pyObjectToValue(bytes.get()));
    EXPECT_EQ(fromHost(fromBytes.get()), "str 'b'");
}

}  // namespace
