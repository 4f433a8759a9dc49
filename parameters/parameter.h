// QTXModelFeature::Parameter, the base of the persistent value objects of the
// host's model features (their interfaces are in kel/iparameter.h).
//
// Every parameter stores itself as one parameter chunk (its id comes from the
// host's IQtxFileMagic for "QTXModelFeature::Parameter", version 2) holding
// sub-chunks matched by id, in any order:
//   0    the stored class name: one string chunk, without "QTXModelFeature::"
//   128  the class's type identity, 16 bytes straight in the payload
//   256  KelIDPar's value: one identity chunk
//   257  KelIDsPar's value: a 32-bit count, then that many identity chunks
// A load establishes the class by the name alone; the type identity is read
// and dropped. Older files use the id 0xb0000 with version 0 or 1.
//
// The slot order of Parameter is a contract with the host.
#pragma once

#include <cstdint>

#include "kel/iparameter.h"
#include "kel/qtxcstring.h"

namespace QTXModelFeature {

class Parameter : public virtual IKelParameter {
public:
    bool defaultTrue() override { return true; }
    bool defaultFalse() override { return false; }
    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "Parameter"; }

    // The class's name with its namespace.
    virtual const char* fullClassName();

    // fullClassName() without any "QTXModelFeature::": the name in a chunk.
    void storedName(KelCString& name);
    // Sub-chunk 0: the stored name as a nested string chunk.
    void writeNameChunk(KelChunkWriter& writer);
    // Sub-chunk 128: typeId() as 16 bytes, not wrapped.
    void writeTypeChunk(KelChunkWriter& writer);

protected:
    Parameter() = default;
};

}  // namespace QTXModelFeature
