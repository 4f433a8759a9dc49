// QTXModelFeature::KelIDsPar: a parameter that holds an ordered list of
// identities.
#pragma once

#include "kel/ikelidvalue.h"
#include "kel/kelid.h"
#include "kel/kelobjectarray.h"
#include "parameters/parameter.h"

namespace QTXModelFeature {

// Parameter is a non-virtual base here (unlike in KelIDPar).
class KelIDsPar : public virtual IKelIDsValue,
                  public virtual IKelEqualComparable,
                  public virtual IKelPersistable,
                  public Parameter {
public:
    static const KelID classTypeId;

    // Room for 20 identities, none in use; reference count 0.
    KelIDsPar() : ids_(20) {}
    // A copy that keeps room for 9 identities when the source had as much,
    // and no spare room for a list of 10 or more.
    explicit KelIDsPar(const KelObjectArray<KelID>& other);

    const KelObjectArray<KelID>& getValue() override { return ids_; }
    void setValue(const KelObjectArray<KelID>& other) override;
    // Appends at count + 1, growing by doubling.
    void push(const KelID& id) { ids_.push(id); }

    // Same class, same count, equal identities in the same order.
    bool equals(IKelEqualComparable* other) override;
    bool save(KelChunkWriter* writer) override;
    // The list is left alone until a sub-chunk 257 arrives; each 257 replaces
    // what an earlier one read.
    bool load(KelChunkReader* reader) override;

    const KelID* typeId() override { return &classTypeId; }
    IKelParameter* clone() override;
    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "KelIDsPar"; }
    const char* fullClassName() override;

private:
    friend bool readIDList(void* context, KelChunkReader& reader, int chunkId);

    KelObjectArray<KelID> ids_;
};

}  // namespace QTXModelFeature
