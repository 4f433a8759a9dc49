// The process-wide class registry.
//
// The registry, its table and its one enumeration cursor are made on first
// use and never freed: the entries register from static initialisers and the
// host may enumerate until the process ends.
#include "component/kelclassfactory.h"

namespace {
KelDefaultClassFactory::Table* theTable = nullptr;
KelDefaultClassFactory::Table::Cursor* theCursor = nullptr;
}  // namespace

KelItemFactory::KelItemFactory(const char* itemName, const KelID& itemId)
    : name(itemName), extra(nullptr)
{
    id = itemId;
    KelDefaultClassFactory::instance()->registerItem(this);
}

KelDefaultClassFactory* KelDefaultClassFactory::instance()
{
    static KelDefaultClassFactory* registry = nullptr;
    if (!registry) {
        theTable = new Table(nextTableSize(99));
        registry = new KelDefaultClassFactory();
    }
    return registry;
}

KelDefaultClassFactory::Table& KelDefaultClassFactory::table()
{
    instance();
    return *theTable;
}

void KelDefaultClassFactory::registerItem(KelItemFactory* item)
{
    if (!item)
        return;
    *theTable->findOrInsert(item->id) = item;
}

uint32_t KelDefaultClassFactory::createClass(const KelID* id, IKelUnknown** out)
{
    Table::Node* node = theTable->find(*id);
    if (!node)
        return 0;
    uint32_t kind = 0;
    *out = node->value->create(&kind);
    return kind;
}

uint32_t KelDefaultClassFactory::classCount()
{
    return theTable->count;
}

bool KelDefaultClassFactory::firstClass(KelID* out)
{
    delete theCursor;
    theCursor = new Table::Cursor(theTable);
    if (!theCursor->node)
        return false;
    *out = theCursor->key;
    return true;
}

bool KelDefaultClassFactory::nextClass(KelID* out)
{
    if (!theCursor || !theCursor->step())
        return false;
    *out = theCursor->key;
    return true;
}

const char* KelDefaultClassFactory::classNameOf(const KelID* id)
{
    Table::Node* node = theTable->find(*id);
    return node ? node->value->itemName() : nullptr;
}
