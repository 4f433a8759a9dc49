// The component's exported entry and the registration of its classes.
//
// Everything that must exist before the host's first call is made here, by
// the static initialisers of this one file, in the order of their
// definitions: the component identity, the component factory, the registry,
// then the two class entries. Keep them together and in this order.
#include <new>

#include "component/kelbasecomponent.h"
#include "component/kelclassfactory.h"
#include "component/pythoninitializer.h"
#include "kel/componentid.h"
#include "kel/kelexport.h"
#include "script/scriptinterpreterpython.h"

namespace {
const KelID& componentIdentity = kelComponentId();

// Null when even this small allocation failed; EntryPoint then refuses.
IKelComponentFactory* componentFactory = new (std::nothrow) KelBaseComponentFact();

KelDefaultClassFactory* registry = KelDefaultClassFactory::instance();

// The interpreter is one object for the process, kept alive by its entry.
KelSingletonTClassItemFactory<ScriptInterpreterPython> interpreterEntry("ScriptInterpreterPython",
                                                                        kelScriptInterpreterPythonId());

KelTClassItemFactory<PythonInitializer> initializerEntry("PythonInitializer", kelPythonInitializerId());
}  // namespace

// Gives the host a new component object (count 0: the host takes the first
// reference) and the interface version 100; 1 on success, 0 otherwise.
KEL_EXPORT int32_t EntryPoint(uint32_t* version, IKelComponent** component)
{
    if (!component || !componentFactory)
        return 0;
    IKelComponent* made = nullptr;
    try {
        made = componentFactory->createComponent();
    } catch (...) {
        if (version)
            *version = 0;
        *component = nullptr;
        return 0;
    }
    *component = made;
    if (version)
        *version = 100;
    return 1;
}
