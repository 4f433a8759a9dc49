// Arbitrary bytes as a chunk stream: loaded as KelIDPar and as KelIDsPar, with
// the width left to a root chunk and preset to 64, and walked as `kelhost
// chunks` and `kelhost params` walk a file.
#include <cstddef>
#include <cstdint>
#include <sstream>

#include "host/chunkwalk.h"
#include "host/hostfilemagic.h"
#include "host/hostparameters.h"
#include "host/hostprovider.h"
#include "host/kelmemorystream.h"
#include "kel/kelfile.h"
#include "parameters/kelidpar.h"
#include "parameters/kelidspar.h"
#include "parameters/parameterregistry.h"

namespace {

// The provider lives for the whole run, as a host's does.
HostServiceProvider* makeProvider()
{
    auto* provider = new HostServiceProvider;
    provider->addService("IQtxFileMagic", new HostFileMagic);
    kelSetServiceProvider(provider);
    return provider;
}

template <class P>
void load(const uint8_t* data, size_t size, uint32_t width)
{
    // Each input gets a fresh string reader: the last input's stream had the
    // same address and may have left it bad.
    kelDetachStringReader();
    KelMemoryInput in(data, size, width);
    KelChunkReader holder(&in);
    P parameter;
    parameter.load(&holder);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static HostServiceProvider* provider = makeProvider();
    (void)provider;
    for (uint32_t width : {0u, 64u}) {
        load<QTXModelFeature::KelIDPar>(data, size, width);
        load<QTXModelFeature::KelIDsPar>(data, size, width);
    }
    KelMemoryInput tree(data, size);
    std::ostringstream sink;
    kelWalkChunks(tree, sink, kelHostParameterMagic);
    static HostParameters& parameters = HostParameters::installLinked(kelCreateParameter);
    KelMemoryInput listed(data, size);
    kelListParameters(listed, sink, parameters);
    return 0;
}
