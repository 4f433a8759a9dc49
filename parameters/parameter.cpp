// The parameter base: its names, its query, and the two sub-chunks that every
// parameter writes first.
#include "parameters/parameter.h"

#include "kel/interfacenamelist.h"
#include "kel/kelfile.h"

namespace QTXModelFeature {

namespace {
// Wraps the literal: capacity 0, nothing to release at exit.
const KelCString parameterFullName("QTXModelFeature::Parameter", kelBorrow);
}  // namespace

const char* Parameter::fullClassName()
{
    return parameterFullName.chars();
}

void Parameter::queryInterface(const char* name, void* out, bool)
{
    if (!name) {
        KelInterfaceNameList* list = kelNameListOf(out);
        addName("Parameter", 1, list);
        addName("IKelParameter", 0, list);
        return;
    }
    kelSetOut(out, nullptr);
    if (kelSameName(name, "Parameter"))
        kelSetOut(out, this);
    else if (kelSameName(name, "IKelUnknown"))
        kelSetOut(out, static_cast<IKelUnknown*>(this));
    else if (kelSameName(name, "IKelParameter"))
        kelSetOut(out, static_cast<IKelParameter*>(this));
}

void Parameter::storedName(KelCString& name)
{
    name.assign(fullClassName());
    name.replaceAll("QTXModelFeature::", "");
}

void Parameter::writeNameChunk(KelChunkWriter& writer)
{
    KelCString name;
    storedName(name);
    writer.beginChunk(0, 0);
    writer.writeCStringChunk(name);
    writer.endChunk();
}

void Parameter::writeTypeChunk(KelChunkWriter& writer)
{
    writer.beginChunk(128, 0);
    writeID(*typeId(), writer.stream());
    writer.endChunk();
}

}  // namespace QTXModelFeature
