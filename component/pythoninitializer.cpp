// The application states of the component.
#include "component/pythoninitializer.h"

#include "kel/hostservices.h"
#include "kel/interfacenamelist.h"
#include "kel/iptr.h"
#include "kel/kelwidestring.h"

void PythonInitializer::initialize()
{
    SPtr<IDataStore> store;  // a host without a data store is broken
    store->declareAppStateGroup("Python");
    store->declareStringAppState("Python/Output String", 1024, KelWideString::emptyString(), 0);
    store->declareStringAppState("Python/Error String", 1024, KelWideString::emptyString(), 0);
    store->declareIntAppState("Python/Redirect Output", 1, 0, 1, 0);
}

void PythonInitializer::queryInterface(const char* name, void* out, bool flag)
{
    if (!name) {
        addName("PythonInitializer", 1, kelNameListOf(out));
        addName("IKelInitializer", 0, kelNameListOf(out));
        return;
    }
    kelSetOut(out, nullptr);
    if (kelSameName(name, "PythonInitializer"))
        kelSetOut(out, this);
    else if (kelSameName(name, "IKelUnknown"))
        kelSetOut(out, static_cast<IKelUnknown*>(this));
    else if (kelSameName(name, "IKelInitializer"))
        kelSetOut(out, static_cast<IKelInitializer*>(this));
}
