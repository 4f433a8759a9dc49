// The registrations of the two parameter classes, and the exported factory.
#include "parameters/parameterregistry.h"

#include "parameters/kelidpar.h"
#include "parameters/kelidspar.h"

using QTXModelFeature::KelIDPar;
using QTXModelFeature::KelIDsPar;
using QTXModelFeature::Parameter;

namespace {

// The keys wrap the literals; a factory's key is a shallow copy of them. The
// two entries are made in this order while the library loads.
const KelCString idParKey("QTXModelFeature::KelIDPar", kelBorrow);
const KelCString idsParKey("QTXModelFeature::KelIDsPar", kelBorrow);

KelParameterFactory* const idParFactory =
    new (std::nothrow) KelClassItemFactoryImpl<Parameter, KelIDPar, KelCString, KelCString::HashFunc>(idParKey);
KelParameterFactory* const idsParFactory =
    new (std::nothrow) KelClassItemFactoryImpl<Parameter, KelIDsPar, KelCString, KelCString::HashFunc>(idsParKey);

Parameter* createByName(const KelCString& name)
{
    KelParameterFactory::Table* table = KelParameterFactory::table();
    if (!table)
        return nullptr;
    auto* node = table->find(name);
    return node && node->value ? node->value->create() : nullptr;
}

}  // namespace

IKelUnknown* kelCreateParameter(const char* name)
{
    if (!name)
        return nullptr;
    Parameter* made = createByName(KelCString(name, kelBorrow));
    if (!made) {
        KelCString qualified("QTXModelFeature::", kelBorrow);
        qualified.append(name);
        made = createByName(qualified);
    }
    return made ? static_cast<IKelUnknown*>(made) : nullptr;
}
