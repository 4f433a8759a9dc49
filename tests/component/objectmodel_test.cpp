// The object model: counts with and without a provider, queries, smart
// pointers and identities.
#include <gtest/gtest.h>

#include "component/interfacenamelist.h"
#include "component/iptr.h"
#include "component/kelid.h"
#include "component/kelobject.h"
#include "tests/support/testprovider.h"

namespace {
class IFirst : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IFirst";
    virtual int first() = 0;
};

class ISecond : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "ISecond";
    virtual int second() = 0;
};

class IBaseOnly : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IBaseOnly";
};

// A base class with an interface of its own, so that a derived class must
// ask it in the last step of its query.
class Base : public virtual IBaseOnly {
public:
    void queryInterface(const char* name, void* out, bool flag) override
    {
        kelSetOut(out, nullptr);
        if (kelSameName(name, "Base"))
            kelSetOut(out, this);
        else if (kelSameName(name, "IKelUnknown"))
            kelSetOut(out, static_cast<IKelUnknown*>(this));
        else if (kelSameName(name, "IBaseOnly"))
            kelSetOut(out, static_cast<IBaseOnly*>(this));
    }
    const char* className() override { return "Base"; }
};

class Widget : public Base, public virtual IFirst, public virtual ISecond {
public:
    explicit Widget(int* destroyed = nullptr) : destroyed_(destroyed) {}
    ~Widget() override
    {
        if (destroyed_)
            ++*destroyed_;
    }
    int first() override { return 1; }
    int second() override { return 2; }
    void queryInterface(const char* name, void* out, bool flag) override
    {
        kelSetOut(out, nullptr);
        if (kelSameName(name, "Widget"))
            kelSetOut(out, this);
        else if (kelSameName(name, "IKelUnknown"))
            kelSetOut(out, static_cast<IKelUnknown*>(this));
        else if (kelSameName(name, "IFirst"))
            kelSetOut(out, static_cast<IFirst*>(this));
        else if (kelSameName(name, "ISecond"))
            kelSetOut(out, static_cast<ISecond*>(this));
        else
            Base::queryInterface(name, out, false);
    }
    const char* className() override { return "Widget"; }

private:
    int* destroyed_;
};

TEST(ReferenceCountTest, WithoutAProviderTheObjectCountsItself)
{
    ASSERT_EQ(kelServiceProvider(), nullptr);
    int destroyed = 0;
    Widget* widget = new Widget(&destroyed);
    EXPECT_EQ(widget->refCount(), 0u);
    widget->addRef();
    widget->addRef();
    EXPECT_EQ(widget->refCount(), 2u);
    widget->release();
    EXPECT_EQ(destroyed, 0);
    widget->release();
    EXPECT_EQ(destroyed, 1);
}

TEST(ReferenceCountTest, WithAProviderTheHostDecides)
{
    TestServiceProvider provider;
    int destroyed = 0;
    Widget* widget = new Widget(&destroyed);
    widget->addRef();
    EXPECT_EQ(provider.addRefs.load(), 1);
    EXPECT_EQ(widget->refCount(), 1u);
    provider.allowDestroy = false;
    widget->release();
    EXPECT_EQ(provider.releases.load(), 1);
    EXPECT_EQ(destroyed, 0);  // the host said no, whatever the count says
    provider.allowDestroy = true;
    widget->addRef();
    widget->release();
    EXPECT_EQ(destroyed, 1);
}

TEST(QueryInterfaceTest, OneUnknownBaseAndTheBaseClassAskedLast)
{
    Widget widget;
    IFirst* first = kelQuery<IFirst>(&widget);
    ISecond* second = kelQuery<ISecond>(&widget);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(first->first(), 1);
    EXPECT_EQ(second->second(), 2);
    EXPECT_EQ(kelQuery<IKelUnknown>(first), kelQuery<IKelUnknown>(second));
    EXPECT_EQ(kelQuery<IKelUnknown>(first), static_cast<IKelUnknown*>(&widget));
    EXPECT_EQ(kelQuery<IBaseOnly>(second), static_cast<IBaseOnly*>(&widget));  // only Base knows it
    void* out = &out;
    widget.queryInterface("INobody", &out, false);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(kelQuery<IFirst>(nullptr), nullptr);
    EXPECT_EQ(widget.refCount(), 0u);  // queries lend, they add nothing
}

TEST(IPtrTest, AssignmentTakesTheNewReferenceBeforeDroppingTheOld)
{
    int destroyed = 0;
    Widget* a = new Widget(&destroyed);
    Widget* b = new Widget(&destroyed);
    {
        IPtr<IFirst> pointer;
        EXPECT_EQ(pointer.pointer, nullptr);
        EXPECT_EQ(pointer.unknown, nullptr);
        pointer = static_cast<IFirst*>(a);
        EXPECT_EQ(pointer.unknown, static_cast<IKelUnknown*>(a));
        EXPECT_EQ(a->refCount(), 1u);
        pointer = static_cast<IFirst*>(a);  // self-assignment leaves the count
        EXPECT_EQ(a->refCount(), 1u);
        EXPECT_EQ(destroyed, 0);
        IPtr<IFirst> copy(pointer);
        EXPECT_EQ(a->refCount(), 2u);
        pointer = static_cast<IFirst*>(b);
        EXPECT_EQ(a->refCount(), 1u);
        EXPECT_EQ(b->refCount(), 1u);
        pointer = nullptr;
        EXPECT_EQ(destroyed, 1);  // b went with its only reference
        EXPECT_EQ(pointer.unknown, nullptr);
    }
    EXPECT_EQ(destroyed, 2);
}

TEST(SPtrTest, ResolvesByTheInterfaceNameAndHoldsItsOwnReference)
{
    Widget widget;
    widget.addRef();  // the test's own, so no release destroys the stack object
    {
        SPtr<IFirst> early;  // no provider yet
        EXPECT_EQ(early.get(), nullptr);
        TestServiceProvider provider;
        provider.add("IFirst", &widget);
        EXPECT_EQ(early.get(), nullptr);  // stays null until resolved again
        early.resolve();
        ASSERT_EQ(early.get(), static_cast<IFirst*>(&widget));
        EXPECT_EQ(widget.refCount(), 2u);
        {
            SPtr<ISecond> missing;
            EXPECT_FALSE(missing);
            SPtr<IFirst> another;
            EXPECT_EQ(widget.refCount(), 3u);
        }
        EXPECT_EQ(widget.refCount(), 2u);
        early.reset();
    }
    EXPECT_EQ(widget.refCount(), 1u);
}

TEST(KelIDTest, EqualityIsFieldByFieldAndTheHashIsTheFirstField)
{
    const uint8_t tail[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    const uint8_t otherTail[8] = {1, 2, 3, 4, 5, 6, 7, 9};
    KelID a(0x11223344u, 0x5566, 0x7788, tail);
    KelID b(0x11223344u, 0x5566, 0x7788, otherTail);
    EXPECT_NE(a, b);
    EXPECT_EQ(KelID::HashFunc()(a), KelID::HashFunc()(b));
    EXPECT_EQ(KelID::HashFunc()(a), 0x11223344u);
    EXPECT_NE(a, KelID(0x11223344u, 0x5566, 0x7789, tail));
    EXPECT_EQ(KelID(), KelID(0, 0, 0, {}));
    KelID c = b;
    EXPECT_EQ(c, b);
    c = a;
    EXPECT_EQ(c, a);
    const uint8_t bytes[16] = {0x44, 0x33, 0x22, 0x11, 0x66, 0x55, 0x88, 0x77, 1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(KelID::fromMemoryBytes(bytes), a);
}
}  // namespace
