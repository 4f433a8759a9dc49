// The parameter view of the chunk walk, behind `kelhost params`.
#include <ostream>

#include "host/chunkwalk.h"
#include "host/hostfilemagic.h"
#include "host/hostparameters.h"
#include "kel/ikelidvalue.h"
#include "kel/kelfile.h"

namespace {

std::string describeValue(IKelUnknown* parameter)
{
    if (IKelIDValue* single = kelQuery<IKelIDValue>(parameter))
        return kelIdentityText(single->getValue());
    std::string text;
    if (IKelIDsValue* list = kelQuery<IKelIDsValue>(parameter)) {
        const KelObjectArray<KelID>& ids = list->getValue();
        text = std::to_string(ids.count) + (ids.count == 1 ? " identity" : " identities");
        for (int32_t i = 1; i <= ids.count; ++i)
            text += "\n    " + kelIdentityText(ids[i]);
    }
    return text;
}

class ParameterView : public KelChunkView {
public:
    ParameterView(KelBinaryInput& in, std::ostream& out, HostParameters& parameters, KelParameterListing& listing)
        : in_(in), out_(out), parameters_(parameters), listing_(listing)
    {
    }

    void parameter(int64_t offset) override
    {
        in_.seek(offset, true);
        KelChunkReader reader(&in_);
        std::string className, why;
        IPtr<IKelUnknown> parameter = parameters_.loadParameter(reader, className, why);
        ++listing_.found;
        if (parameter) {
            out_ << offset << "  " << className << "  " << describeValue(parameter.get()) << '\n';
        } else {
            out_ << offset << "  parameter does not load: " << why << '\n';
            ++listing_.failed;
        }
    }
    void damaged(const std::string& damage) override { out_ << damage << '\n'; }

private:
    KelBinaryInput& in_;
    std::ostream& out_;
    HostParameters& parameters_;
    KelParameterListing& listing_;
};

}  // namespace

KelParameterListing kelListParameters(KelBinaryInput& in, std::ostream& out, HostParameters& parameters)
{
    KelParameterListing listing;
    ParameterView view(in, out, parameters, listing);
    listing.walk = kelWalkChunks(in, view, kelHostParameterMagic);
    parameters.releaseStream();
    return listing;
}
