// QTXModelFeature::KelIDPar: a parameter that holds one identity.
#pragma once

#include "kel/ikelidvalue.h"
#include "kel/kelid.h"
#include "parameters/parameter.h"

namespace QTXModelFeature {

// The Parameter base is virtual here (unlike in KelIDsPar): a layout the host
// relies on.
class KelIDPar : public virtual IKelIDValue,
                 public virtual IKelEqualComparable,
                 public virtual IKelPersistable,
                 public virtual Parameter {
public:
    static const KelID classTypeId;

    // The null identity; reference count 0.
    KelIDPar() = default;
    explicit KelIDPar(const KelID& value) : value_(value) {}

    const KelID& getValue() override { return value_; }
    void setValue(const KelID& value) override { value_ = value; }

    bool equals(IKelEqualComparable* other) override;
    // Writes the parameter chunk into the writer's stream through a writer of
    // its own; the result is that writer's good() before the chunk closes.
    bool save(KelChunkWriter* writer) override;
    // Sets the value to the null identity first, then reads the parameter
    // chunk from the reader's stream through a reader of its own. No rollback:
    // a late failure leaves what was reached.
    bool load(KelChunkReader* reader) override;

    const KelID* typeId() override { return &classTypeId; }
    IKelParameter* clone() override;
    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "KelIDPar"; }
    const char* fullClassName() override;

private:
    KelID value_;
};

}  // namespace QTXModelFeature
