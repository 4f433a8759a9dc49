// The component object.
#include "component/kelbasecomponent.h"

#include "component/kelclassfactory.h"
#include "component/kelclcbinary.h"
#include "core/serviceprovider.h"
#include "kel/componentid.h"
#include "kel/hostservices.h"
#include "kel/interfacenamelist.h"
#include "kel/iptr.h"
#include "kel/kelarray.h"
#include "kel/kelwidestring.h"

namespace {
const char kBuildStamp[] = "2011-10-27 13:41";
const char kComponentName[] = "PythonComponent";

// Guards runTest against being entered again from one of its own reports.
bool runTestActive = false;

struct RunTestGuard {
    RunTestGuard() { runTestActive = true; }
    ~RunTestGuard() { runTestActive = false; }
};

// The tests registered with the component; nothing here adds to it.
KelStackArray<void*>& registeredTests()
{
    static KelStackArray<void*> tests(21);
    return tests;
}

void reportTestError(const KelWideString& message)
{
    SPtr<IKelErrorService> errors;
    if (!errors)
        return;
    int level = 1;
    errors->reportError(message, &level, KelCString::emptyString());
}
}  // namespace

void KelBaseComponent::setServiceProvider(IKelServiceProvider* provider)
{
    kelSetServiceProvider(provider);
}

uint32_t KelBaseComponent::createClass(const KelID* id, IKelUnknown** out)
{
    return KelDefaultClassFactory::instance()->createClass(id, out);
}

const char* KelBaseComponent::buildStamp()
{
    return kBuildStamp;
}

IKelClcBinary* KelBaseComponent::clcBinary()
{
    return KelClcBinary::instance();
}

const KelID* KelBaseComponent::componentId()
{
    return &kelComponentId();
}

const char* KelBaseComponent::componentName()
{
    return kComponentName;
}

uint32_t KelBaseComponent::classCount()
{
    return KelDefaultClassFactory::instance()->classCount();
}

bool KelBaseComponent::firstClass(KelID* out)
{
    return KelDefaultClassFactory::instance()->firstClass(out);
}

bool KelBaseComponent::nextClass(KelID* out)
{
    return KelDefaultClassFactory::instance()->nextClass(out);
}

const char* KelBaseComponent::classNameOf(const KelID* id)
{
    return KelDefaultClassFactory::instance()->classNameOf(id);
}

void KelBaseComponent::runTest(IKelTestTarget* target)
{
    if (runTestActive)
        return;
    RunTestGuard guard;
    if (target) {
        KelStackArray<void*>& tests = registeredTests();
        for (int i = 1; i <= tests.count; ++i)
            target->runRegisteredTest(*static_cast<void**>(tests.data[i]));
        return;
    }
    reportTestError(KelWideString("Unable to get test service"));
    IKelServiceProvider* provider = kelServiceProvider();
    char value = provider ? static_cast<char>(provider->testValue() & 0xff) : 0;
    reportTestError(KelWideString(value));
}

void KelBaseComponent::queryInterface(const char* name, void* out, bool flag)
{
    if (!name)
        return;
    kelSetOut(out, nullptr);
    if (kelSameName(name, "KelBaseComponent"))
        kelSetOut(out, this);
    else if (kelSameName(name, "IKelUnknown"))
        kelSetOut(out, static_cast<IKelUnknown*>(static_cast<IKelComponent*>(this)));
    else if (kelSameName(name, "IKelComponent"))
        kelSetOut(out, static_cast<IKelComponent*>(this));
    else if (kelSameName(name, "IKelCompInternal"))
        kelSetOut(out, static_cast<IKelCompInternal*>(this));
}

IKelComponent* KelBaseComponentFact::createComponent()
{
    return new KelBaseComponent();
}
