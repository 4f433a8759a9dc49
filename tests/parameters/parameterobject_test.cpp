// The parameter objects: names and queries, list sizes and equality, the
// registry and the exported factory.
#include <string>

#include "component/interfacenamelist.h"
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

std::vector<std::string> enumerate(IKelUnknown* object)
{
    KelInterfaceNameList list;
    object->queryInterface(nullptr, &list, false);
    std::vector<std::string> names;
    for (int32_t i = 1; i <= list.entries->count; ++i) {
        const KelInterfaceNameEntry& e = (*list.entries)[i];
        const char* owner = e.ownerClass.chars();
        names.push_back(std::string(e.isClass ? "class " : "") + e.name.chars() + " <" + (owner ? owner : "") + ">");
    }
    EXPECT_EQ(list.classStack->count, 1);  // the walked object's own class stays on the stack
    return names;
}

}  // namespace

TEST_F(ParameterTest, QueriesAnswerTheNamesOfEachClass)
{
    KelIDPar single;
    IKelUnknown* unknown = static_cast<IKelUnknown*>(static_cast<IKelIDValue*>(&single));
    EXPECT_EQ(query(unknown, "KelIDPar"), &single);
    EXPECT_EQ(query(unknown, "IKelUnknown"), unknown);
    EXPECT_EQ(query(unknown, "IKelIDValue"), static_cast<IKelIDValue*>(&single));
    EXPECT_EQ(query(unknown, "IKelPersistable"), static_cast<IKelPersistable*>(&single));
    EXPECT_EQ(query(unknown, "Parameter"), static_cast<Parameter*>(&single));
    EXPECT_EQ(query(unknown, "IKelParameter"), static_cast<IKelParameter*>(&single));
    EXPECT_EQ(query(unknown, "IKelEqualComparable"), nullptr);
    EXPECT_EQ(query(unknown, "KelIDsPar"), nullptr);
    EXPECT_EQ(single.refCount(), 0u);
    EXPECT_STREQ(single.className(), "KelIDPar");
    EXPECT_STREQ(single.fullClassName(), "QTXModelFeature::KelIDPar");
    EXPECT_EQ(enumerate(unknown), (std::vector<std::string>{"class KelIDPar <>", "IKelIDValue <KelIDPar>",
                                                            "IKelPersistable <KelIDPar>", "class Parameter <KelIDPar>",
                                                            "IKelParameter <Parameter>"}));

    KelIDsPar many;
    IKelUnknown* manyUnknown = static_cast<IKelUnknown*>(static_cast<IKelIDsValue*>(&many));
    EXPECT_EQ(query(manyUnknown, "KelIDsPar"), &many);
    EXPECT_EQ(query(manyUnknown, "IKelIDsValue"), static_cast<IKelIDsValue*>(&many));
    EXPECT_EQ(query(manyUnknown, "IKelEqualComparable"), nullptr);
    EXPECT_EQ(query(manyUnknown, "KelIDPar"), nullptr);
    EXPECT_EQ(enumerate(manyUnknown), (std::vector<std::string>{"class KelIDsPar <>", "IKelIDsValue <KelIDsPar>",
                                                                "IKelPersistable <KelIDsPar>",
                                                                "class Parameter <KelIDsPar>", "IKelParameter <Parameter>"}));

    KelCString stored;
    many.storedName(stored);
    EXPECT_TRUE(stored.equals("KelIDsPar"));
    EXPECT_TRUE(single.defaultTrue());
    EXPECT_FALSE(many.defaultFalse());
}

TEST_F(ParameterTest, EqualityComparesClassAndValueInOrder)
{
    KelIDPar a(idOf(1)), b(idOf(1)), c(idOf(2));
    uint8_t lastDiffers[8] = {0xde, 0xad, 0xbe, 0xef, 0, 0, 0, 2};
    KelIDPar d(KelID(1, 3, 5, lastDiffers));
    EXPECT_TRUE(a.equals(&b));
    EXPECT_FALSE(a.equals(&c));
    EXPECT_FALSE(a.equals(&d));
    EXPECT_FALSE(a.equals(nullptr));

    KelIDsPar ab, ba, empty1, empty2;
    ab.push(idOf(1));
    ab.push(idOf(2));
    ba.push(idOf(2));
    ba.push(idOf(1));
    EXPECT_FALSE(ab.equals(&ba));
    EXPECT_TRUE(empty1.equals(&empty2));
    EXPECT_FALSE(empty1.equals(&a));
    EXPECT_FALSE(a.equals(&empty1));

    IPtr<IKelParameter> copy(ab.clone());
    EXPECT_EQ(copy->refCount(), 1u);
    EXPECT_TRUE(ab.equals(dynamic_cast<IKelEqualComparable*>(copy.get())));
    IPtr<IKelParameter> singleCopy(c.clone());
    EXPECT_TRUE(c.equals(dynamic_cast<IKelEqualComparable*>(singleCopy.get())));
}

TEST_F(ParameterTest, ListArraysFollowTheirSizeRules)
{
    KelIDsPar fresh;
    EXPECT_EQ(fresh.getValue().size, 21);
    EXPECT_EQ(fresh.getValue().count, 0);

    KelObjectArray<KelID> three;
    for (uint32_t i = 1; i <= 3; ++i)
        three.push(idOf(i));
    KelIDsPar copyOfThree(three);
    EXPECT_EQ(copyOfThree.getValue().size, 4);  // the source had no more room than that
    KelIDsPar source;
    for (uint32_t i = 1; i <= 3; ++i)
        source.push(idOf(i));
    KelIDsPar roomy(source.getValue());
    EXPECT_EQ(roomy.getValue().size, 10);
    EXPECT_EQ(roomy.getValue().count, 3);
    EXPECT_TRUE(roomy.equals(&source));

    KelObjectArray<KelID> long25(31);
    for (uint32_t i = 1; i <= 25; ++i)
        long25.push(idOf(i));
    ASSERT_EQ(long25.size, 32);
    KelIDsPar copy25(long25);
    EXPECT_EQ(copy25.getValue().size, 26);
    EXPECT_EQ(copy25.getValue()[25], idOf(25));

    KelIDsPar set;
    set.setValue(KelObjectArray<KelID>());
    EXPECT_EQ(set.getValue().size, 1);
    EXPECT_EQ(set.getValue().count, 0);
    set.push(idOf(1));
    EXPECT_EQ(set.getValue().size, 2);
    set.setValue(long25);
    EXPECT_EQ(set.getValue().size, 26);
    EXPECT_EQ(set.getValue().count, 25);
    EXPECT_EQ(set.getValue()[25], idOf(25));
}

TEST_F(ParameterTest, RegistryMakesParametersByName)
{
    KelParameterFactory::Table* table = KelParameterFactory::table();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->count, 2u);
    EXPECT_EQ(table->size, 17u);
    EXPECT_NE(table->find(KelCString("QTXModelFeature::KelIDPar", kelBorrow)), nullptr);
    EXPECT_NE(table->find(KelCString("QTXModelFeature::KelIDsPar", kelBorrow)), nullptr);
    EXPECT_EQ(table->find(KelCString("KelIDPar", kelBorrow)), nullptr);

    for (const char* name : {"QTXModelFeature::KelIDPar", "KelIDPar"}) {
        IKelUnknown* made = kelCreateParameter(name);
        ASSERT_NE(made, nullptr) << name;
        EXPECT_EQ(made->refCount(), 0u);
        EXPECT_STREQ(made->className(), "KelIDPar");
        auto* value = kelQuery<IKelIDValue>(made);
        ASSERT_NE(value, nullptr);
        EXPECT_EQ(value->getValue(), KelID());
        IPtr<IKelUnknown> hold(made);  // the first holder brings the count to 1 and destroys at the end
    }
    IKelUnknown* first = kelCreateParameter("KelIDsPar");
    IKelUnknown* second = kelCreateParameter("KelIDsPar");
    ASSERT_NE(first, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(kelQuery<IKelIDsValue>(first)->getValue().count, 0);
    IPtr<IKelUnknown> holdFirst(first), holdSecond(second);

    for (const char* unknown : {"Parameter", "QTXModelFeature::Parameter", "kelidpar", "", "QTXModelFeature::"})
        EXPECT_EQ(kelCreateParameter(unknown), nullptr) << unknown;
    EXPECT_EQ(kelCreateParameter(nullptr), nullptr);
}
