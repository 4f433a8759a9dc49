// queryInterface of the reference host's objects, written once.
#pragma once

#include "kel/interfacenamelist.h"
#include "kel/kelobject.h"

// Answers queryInterface for `self`, whose class is named `ownName` and which
// answers to the interfaces I.
//
// With a name, *out is set to the matching base of the object: the object
// itself for its class name, its IKelUnknown base for "IKelUnknown", that
// base for an interface of I; a name it does not know leaves *out null. The
// names are all different, so the order of the tests changes no answer: the
// interfaces come first, since they are what callers ask for.
//
// With a null name, `out` is the caller's KelInterfaceNameList: the class
// name goes on it as a class and each interface of I, in order, as an
// interface ("IKelUnknown" is left out). The class stays on the list's class
// stack; whoever walks a class takes it off again (popClass) when the walk
// of that class is done.
template <class... I, class Self>
void hostQueryInterface(Self* self, const char* ownName, const char* name, void* out)
{
    if (!name) {
        KelInterfaceNameList* list = kelNameListOf(out);
        addName(ownName, 1, list);
        (addName(I::interfaceName, 0, list), ...);
        return;
    }
    kelSetOut(out, nullptr);
    if (((kelSameName(name, I::interfaceName) ? (kelSetOut(out, static_cast<I*>(self)), true) : false) || ...))
        return;
    if (kelSameName(name, ownName))
        kelSetOut(out, self);
    else if (kelSameName(name, IKelUnknown::interfaceName))
        kelSetOut(out, static_cast<IKelUnknown*>(self));
}
