// The interface name lists.
#include "kel/interfacenamelist.h"

namespace {
void giveUp(KelInterfaceNameList* list)
{
    list->stopped = true;
    list->classStack->count = 0;
    list->entries->count = 0;
}
}  // namespace

KelInterfaceNameList::KelInterfaceNameList()
    : classStack(new KelObjectArray<KelCString>()),
      entries(new KelObjectArray<KelInterfaceNameEntry>()),
      stopSet(nextTableSize(10))
{
}

KelInterfaceNameList::~KelInterfaceNameList()
{
    delete classStack;
    delete entries;
}

void KelInterfaceNameList::addStopName(const char* name)
{
    *stopSet.findOrInsert(KelCString(name)) = nullptr;
}

void addName(const char* name, int32_t isClass, KelInterfaceNameList* list)
{
    if (list->stopped) {
        giveUp(list);
        return;
    }
    if (list->stopSet.find(KelCString(name, kelBorrow))) {
        giveUp(list);
        return;
    }
    list->entries->push(KelInterfaceNameEntry());
    KelInterfaceNameEntry& entry = list->entries->top();
    entry.name = KelCString(name);
    entry.isClass = isClass;
    if (list->classStack->count > 0)
        entry.ownerClass = list->classStack->top();
    if (isClass != 0)
        list->classStack->push(KelCString(name));
}

void popClass(KelInterfaceNameList* list)
{
    if (list->stopped) {
        giveUp(list);
        return;
    }
    if (list->classStack->count > 0)
        list->classStack->count -= 1;
}
