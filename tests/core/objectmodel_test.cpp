// The object model: counts with and without a provider, queries and smart
// pointers. Identities from memory bytes show in the host's info output.
#include <gtest/gtest.h>

#include "kel/interfacenamelist.h"
#include "kel/iptr.h"
#include "kel/kelobject.h"
#include "tests/support/testprovider.h"

namespace {
int destroyed = 0;

struct IFirst : virtual IKelUnknown {
    static constexpr char interfaceName[] = "IFirst";
};
struct IBaseOnly : virtual IKelUnknown {
    static constexpr char interfaceName[] = "IBaseOnly";
};

// A base with an interface of its own, which the derived class asks last.
struct Base : virtual IBaseOnly {
    void queryInterface(const char* name, void* out, bool) override
    {
        kelSetOut(out, nullptr);
        if (kelSameName(name, "IKelUnknown"))
            kelSetOut(out, static_cast<IKelUnknown*>(this));
        else if (kelSameName(name, "IBaseOnly"))
            kelSetOut(out, static_cast<IBaseOnly*>(this));
    }
};

struct Widget : Base, virtual IFirst {
    ~Widget() override { ++destroyed; }
    void queryInterface(const char* name, void* out, bool) override
    {
        if (kelSameName(name, "IFirst"))
            kelSetOut(out, static_cast<IFirst*>(this));
        else
            Base::queryInterface(name, out, false);
    }
    const char* className() override { return "Widget"; }
};

TEST(ReferenceCountTest, WithoutAProviderTheObjectCountsItselfWithOneTheHostDecides)
{
    ASSERT_EQ(kelServiceProvider(), nullptr);
    destroyed = 0;
    Widget* widget = new Widget;
    widget->addRef();
    widget->addRef();
    EXPECT_EQ(widget->refCount(), 2u);
    widget->release();
    EXPECT_EQ(destroyed, 0);
    widget->release();
    EXPECT_EQ(destroyed, 1);

    TestServiceProvider provider;
    widget = new Widget;
    widget->addRef();
    EXPECT_EQ(provider.addRefs.load(), 1);
    provider.allowDestroy = false;
    widget->release();
    EXPECT_EQ(provider.releases.load(), 1);
    EXPECT_EQ(destroyed, 1);  // the host said no, whatever the count says
    provider.allowDestroy = true;
    widget->addRef();
    widget->release();
    EXPECT_EQ(destroyed, 2);
}

TEST(QueryInterfaceTest, OneUnknownBaseAndTheBaseClassAskedLast)
{
    Widget widget;
    EXPECT_EQ(kelQuery<IFirst>(&widget), static_cast<IFirst*>(&widget));
    IBaseOnly* baseOnly = kelQuery<IBaseOnly>(static_cast<IFirst*>(&widget));
    EXPECT_EQ(baseOnly, static_cast<IBaseOnly*>(&widget));
    EXPECT_EQ(kelQuery<IKelUnknown>(baseOnly), static_cast<IKelUnknown*>(&widget));
    void* out = &out;
    widget.queryInterface("INobody", &out, false);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(kelQuery<IFirst>(nullptr), nullptr);
    EXPECT_EQ(widget.refCount(), 0u);  // queries lend, they add nothing
}

TEST(IPtrTest, AssignmentTakesTheNewReferenceBeforeDroppingTheOld)
{
    destroyed = 0;
    Widget* a = new Widget;
    {
        IPtr<IFirst> pointer;
        pointer = static_cast<IFirst*>(a);
        EXPECT_EQ(pointer.unknown, static_cast<IKelUnknown*>(a));
        pointer = static_cast<IFirst*>(a);  // self-assignment leaves the count
        EXPECT_EQ(a->refCount(), 1u);
        IPtr<IFirst> copy(pointer);
        pointer = static_cast<IFirst*>(new Widget);
        EXPECT_EQ(a->refCount(), 1u);
        pointer = nullptr;
        EXPECT_EQ(destroyed, 1);  // the second went with its only reference
    }
    EXPECT_EQ(destroyed, 2);
}

TEST(SPtrTest, ResolvesByTheInterfaceNameAndHoldsItsOwnReference)
{
    Widget widget;
    widget.addRef();  // the test's own, so no release destroys the stack object
    {
        SPtr<IFirst> early;  // no provider yet
        TestServiceProvider provider;
        provider.add("IFirst", &widget);
        EXPECT_EQ(early.get(), nullptr);  // stays null until resolved again
        early.resolve();
        ASSERT_EQ(early.get(), static_cast<IFirst*>(&widget));
        {
            SPtr<IBaseOnly> missing;
            EXPECT_FALSE(missing);
            SPtr<IFirst> another;
            EXPECT_EQ(widget.refCount(), 3u);
        }
        EXPECT_EQ(widget.refCount(), 2u);
        early.reset();
    }
    EXPECT_EQ(widget.refCount(), 1u);
}
}  // namespace
