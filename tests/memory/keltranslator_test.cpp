// The trivial translator's forms and the choice of the component's translator.
#include "memory/keltranslator.h"

#include <gtest/gtest.h>

#include "kel/componentid.h"
#include "tests/memory/memoryfakes.h"

namespace {

// A host translator: marks every text so that its use can be seen.
class MarkingTranslator : public KelTrivialTranslator {
public:
    MarkingTranslator() { count = 1; }  // owned by the test
    bool lookupText(const char* text, KelWideString* result) override
    {
        *result = KelWideString((std::string("T:") + text).c_str());
        return true;
    }
};

class FakeTranslatorService : public FakeService<IKelTranslatorService> {
public:
    IKelTranslator* translatorFor(const KelID& component) override
    {
        ++calls;
        lastComponent = component;
        return translator;
    }
    IKelTranslator* translator = nullptr;
    int calls = 0;
    KelID lastComponent{};
};

}  // namespace

// The pointer forms share the text's own format; what is checked here is that
// each of them passes its arguments in order.
TEST(KelTrivialTranslator, ArgumentFormsFillPlaceholders)
{
    KelTrivialTranslator translator;
    KelWideString a = wide(u"A"), b = wide(u"B"), c = wide(u"C");
    EXPECT_EQ(units(translator.translate("keeps %1")), u"keeps %1");
    EXPECT_EQ(units(translator.translate("error:\n%1", &a)), u"error:\nA");
    EXPECT_EQ(units(translator.translate("%2 before %1", &a, &b)), u"B before A");
    EXPECT_EQ(units(translator.translate("%3%2%1", &a, &b, &c)), u"CBA");
    EXPECT_EQ(units(translator.translate("%4%1", &a, &b, &c, &a)), u"AA");
    EXPECT_EQ(units(translator.translate("%5", &a, &b, &c, &a, &b)), u"B");
    EXPECT_EQ(units(translator.translate("%6-%1", &a, &b, &c, &a, &b, &c)), u"C-A");
    // A null argument is one empty argument and keeps the positions behind it.
    EXPECT_EQ(units(translator.translate("[%1][%2]", nullptr, &b)), u"[][B]");
    EXPECT_EQ(units(translator.translate("%1%2%3%4%5%6", &a, nullptr, &c, nullptr, nullptr, &c)), u"ACC");

    // The array form replaces the first match of each placeholder in turn.
    KelWideString args[12];
    for (int i = 0; i < 12; ++i)
        args[i] = KelWideString(std::string(1, char('a' + i)).c_str());
    EXPECT_EQ(units(translator.translate("%1 and %1", 0, args)), u"%1 and %1");
    EXPECT_EQ(units(translator.translate("%1 and %1", 1, args)), u"a and %1");
    EXPECT_EQ(units(translator.translate("%2-%1", 2, args)), u"b-a");
    // Two digits name the tenth and later arguments, but a one-digit search
    // takes the start of "%10" when it comes first.
    EXPECT_EQ(units(translator.translate("%11 %10", 11, args)), u"a1 j");
    // A replacement is searched again by the next step.
    KelWideString chained[2] = {wide(u"<%2>"), wide(u"x")};
    EXPECT_EQ(units(translator.translate("%1", 2, chained)), u"<x>");
    // A percent sign at the very end is never a placeholder.
    EXPECT_EQ(units(translator.translate("50%", 1, args)), u"50%");
}

// Trivial until the host offers a translator service; the service is asked
// once per binding, and a direct translator is the last resort.
TEST(KelTranslatorChoice, FallsFromTheServiceToADirectTranslatorToTheTrivialOne)
{
    kelForgetTranslator();
    TestServiceProvider provider;
    FakeTranslatorService service;
    KelWideString result, argument = wide(u"boom");
    EXPECT_EQ(units(*kelTranslate(&result, "error:\n%1", &argument)), u"error:\nboom");

    MarkingTranslator host;
    service.translator = &host;
    provider.add("IKelTranslatorService", &service);
    EXPECT_EQ(units(*kelTranslate(&result, "Python")), u"T:Python");
    EXPECT_EQ(service.lastComponent, kelComponentId());
    EXPECT_EQ(units(*kelTranslate(&result, "%1!", &argument)), u"T:boom!");
    EXPECT_EQ(service.calls, 1);
    EXPECT_EQ(host.count, 2);  // the test's reference and the held one
    kelForgetTranslator();
    EXPECT_EQ(host.count, 1);

    MarkingTranslator direct;
    service.translator = nullptr;
    provider.add("IKelTranslator", &direct);
    EXPECT_EQ(units(*kelTranslate(&result, "x")), u"T:x");
    EXPECT_EQ(service.calls, 2);
    // Nothing from the service and nothing direct: the trivial translator
    // stands in, and the service is not asked again.
    kelForgetTranslator();
    provider.remove("IKelTranslator");
    EXPECT_EQ(units(*kelTranslate(&result, "x")), u"x");
    EXPECT_EQ(units(*kelTranslate(&result, "y")), u"y");
    EXPECT_EQ(service.calls, 3);
    kelForgetTranslator();
}
