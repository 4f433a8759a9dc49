// The parameter objects: names and queries, list sizes and equality, the
// registry and the exported factory.
#include <string>

#include "kel/interfacenamelist.h"
#include "parameters/parameterregistry.h"
#include "tests/parameters/parameterfixture.h"

using QTXModelFeature::KelIDPar;
using QTXModelFeature::KelIDsPar;
using QTXModelFeature::Parameter;

namespace {

void* query(IKelUnknown* object, const char* name)
{
    void* out = reinterpret_cast<void*>(1);
    object->queryInterface(name, &out, false);
    return out;
}

// "name <owner>" per entry, "class " before class names.
std::string enumerate(IKelUnknown* object)
{
    KelInterfaceNameList list;
    object->queryInterface(nullptr, &list, false);
    std::string names;
    for (int32_t i = 1; i <= list.entries->count; ++i) {
        const KelInterfaceNameEntry& e = (*list.entries)[i];
        const char* owner = e.ownerClass.chars();
        names += std::string(e.isClass ? "class " : "") + e.name.chars() + " <" + (owner ? owner : "") + ">; ";
    }
    EXPECT_EQ(list.classStack->count, 1);  // the walked object's own class stays on the stack
    return names;
}

}  // namespace

TEST_F(ParameterTest, QueriesAnswerTheNamesOfEachClass)
{
    KelIDPar one;
    IKelUnknown* oneBase = static_cast<IKelIDValue*>(&one);
    EXPECT_EQ(query(oneBase, "KelIDPar"), &one);
    EXPECT_EQ(query(oneBase, "IKelUnknown"), oneBase);
    EXPECT_EQ(query(oneBase, "IKelParameter"), static_cast<IKelParameter*>(&one));
    EXPECT_EQ(query(oneBase, "IKelEqualComparable"), nullptr);
    EXPECT_EQ(query(oneBase, "KelIDsPar"), nullptr);
    EXPECT_STREQ(one.fullClassName(), "QTXModelFeature::KelIDPar");
    EXPECT_EQ(enumerate(oneBase), "class KelIDPar <>; IKelIDValue <KelIDPar>; IKelPersistable <KelIDPar>; "
                                  "class Parameter <KelIDPar>; IKelParameter <Parameter>; ");

    KelIDsPar many;
    IKelUnknown* manyBase = static_cast<IKelIDsValue*>(&many);
    EXPECT_EQ(query(manyBase, "KelIDsPar"), &many);
    EXPECT_EQ(query(manyBase, "IKelIDsValue"), static_cast<IKelIDsValue*>(&many));
    EXPECT_EQ(query(manyBase, "KelIDPar"), nullptr);
    EXPECT_EQ(enumerate(manyBase), "class KelIDsPar <>; IKelIDsValue <KelIDsPar>; IKelPersistable <KelIDsPar>; "
                                   "class Parameter <KelIDsPar>; IKelParameter <Parameter>; ");
}

TEST_F(ParameterTest, EqualityComparesClassAndValueInOrder)
{
    uint8_t lastDiffers[8] = {0xde, 0xad, 0xbe, 0xef, 0, 0, 0, 2};
    KelIDPar a(idOf(1)), b(idOf(1)), c(idOf(2)), d(KelID(1, 3, 5, lastDiffers));
    KelIDsPar ab, ba, empty1, empty2;
    ab.push(idOf(1));
    ab.push(idOf(2));
    ba.push(idOf(2));
    ba.push(idOf(1));
    EXPECT_TRUE(a.equals(&b));
    EXPECT_FALSE(a.equals(&c) || a.equals(&d) || a.equals(nullptr) || a.equals(&empty1));
    EXPECT_FALSE(ab.equals(&ba) || empty1.equals(&a));
    EXPECT_TRUE(empty1.equals(&empty2));
    for (Parameter* original : std::initializer_list<Parameter*>{&ab, &c}) {
        IPtr<IKelParameter> copy(original->clone());
        EXPECT_EQ(copy->refCount(), 1u);  // a clone starts at 0; the holder makes it 1
        EXPECT_TRUE(dynamic_cast<IKelEqualComparable*>(original)->equals(dynamic_cast<IKelEqualComparable*>(copy.get())));
    }
}

TEST_F(ParameterTest, ListArraysFollowTheirSizeRules)
{
    KelIDsPar fresh, source, set;
    EXPECT_EQ(fresh.getValue().size, 21);
    KelObjectArray<KelID> three, long25(31);
    for (uint32_t i = 1; i <= 25; ++i) {
        long25.push(idOf(i));
        if (i <= 3) {
            three.push(idOf(i));
            source.push(idOf(i));
        }
    }
    EXPECT_EQ(KelIDsPar(three).getValue().size, 4);  // the source had no more room than that
    EXPECT_EQ(KelIDsPar(source.getValue()).getValue().size, 10);
    ASSERT_EQ(long25.size, 32);
    EXPECT_EQ(KelIDsPar(long25).getValue().size, 26);

    set.setValue(KelObjectArray<KelID>());
    EXPECT_EQ(set.getValue().size, 1);
    set.push(idOf(1));
    EXPECT_EQ(set.getValue().size, 2);
    set.setValue(long25);
    EXPECT_EQ(set.getValue().size, 26);
    EXPECT_EQ(set.getValue()[25], idOf(25));
}

TEST_F(ParameterTest, RegistryMakesParametersByName)
{
    KelParameterFactory::Table* table = KelParameterFactory::table();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->count, 2u);
    EXPECT_EQ(table->find(KelCString("KelIDPar", kelBorrow)), nullptr);  // the factory adds the prefix

    for (const char* name : {"QTXModelFeature::KelIDPar", "KelIDPar", "KelIDsPar"}) {
        IKelUnknown* made = kelCreateParameter(name);
        ASSERT_NE(made, nullptr) << name;
        EXPECT_EQ(made->refCount(), 0u);
        IPtr<IKelUnknown> hold(made);  // the first holder brings the count to 1 and destroys at the end
        EXPECT_STREQ(made->className(), name[0] == 'Q' ? "KelIDPar" : name);
    }
    IPtr<IKelUnknown> first(kelCreateParameter("KelIDsPar")), second(kelCreateParameter("KelIDsPar"));
    EXPECT_NE(first.get(), second.get());
    for (const char* unknown : {"Parameter", "QTXModelFeature::Parameter", "kelidpar", "", "QTXModelFeature::"})
        EXPECT_EQ(kelCreateParameter(unknown), nullptr) << unknown;
    EXPECT_EQ(kelCreateParameter(nullptr), nullptr);
}
