// "IQtxFileMagic": the chunk ids under which the host stores classes.
//
// Parameters ask for "QTXModelFeature::Parameter" and must get the same id in
// every run, or the host could not read its own files; that id is fixed here.
// Other names get a stable 24-bit hash that avoids the ids the chunk reader
// treats in its own ways.
#pragma once

#include <cstdint>

#include "kel/hostservices.h"

// "PAR": the id of every parameter chunk this host writes.
constexpr uint32_t kelHostParameterMagic = 0x504152;

class HostFileMagic final : public IQtxFileMagic {
public:
    uint32_t getMagic(const char* className) override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostFileMagic"; }
};

// "ENT": one named entry of a host document, holding the name as a string
// chunk and then the parameter chunk.
constexpr uint32_t kelHostDocumentEntry = 0x454e54;
