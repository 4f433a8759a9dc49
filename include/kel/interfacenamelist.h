// KelInterfaceNameList: what queryInterface fills when it is asked with a
// null name.
//
// Instead of answering for one name, the object then writes the names of all
// its classes and interfaces into the list, in the order a query by name
// tests them (without "IKelUnknown"). Each entry records the class that was
// being walked when it was added, so the caller sees which class declares
// which interface. A name in the stop set makes the walk give up and throws
// away what was collected.
#pragma once

#include <cstdint>

#include "kel/kelhashtable.h"
#include "kel/kelobjectarray.h"
#include "kel/qtxcstring.h"

struct KelInterfaceNameEntry {
    KelCString name;
    int32_t isClass = 0;    // 1 for a class, 0 for an interface
    KelCString ownerClass;  // the class on top of the stack when added; empty at the bottom
};

class KelInterfaceNameList {
public:
    using StopSet = KelHashTable<KelCString, void*, KelCString::HashFunc>;

    KelObjectArray<KelCString>* classStack;
    KelObjectArray<KelInterfaceNameEntry>* entries;
    StopSet stopSet;  // filled by whoever makes the list
    bool stopped = false;

    KelInterfaceNameList();
    ~KelInterfaceNameList();
    KelInterfaceNameList(const KelInterfaceNameList&) = delete;
    KelInterfaceNameList& operator=(const KelInterfaceNameList&) = delete;

    // Puts `name` into the stop set.
    void addStopName(const char* name);
};

// Adds one name to the list (a class when isClass is not 0, which also
// pushes it on the class stack), or gives the walk up when the name is in the
// stop set.
void addName(const char* name, int32_t isClass, KelInterfaceNameList* list);
// Leaves the class that the walk is done with; empties both arrays once the
// walk has given up.
void popClass(KelInterfaceNameList* list);

// The out pointer of queryInterface as the list it stands for when the name
// is null.
inline KelInterfaceNameList* kelNameListOf(void* out)
{
    return static_cast<KelInterfaceNameList*>(out);
}

// Stores `base` in the out pointer of a query by name.
inline void kelSetOut(void* out, void* base)
{
    *static_cast<void**>(out) = base;
}
