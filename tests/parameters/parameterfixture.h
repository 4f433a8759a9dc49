// What the parameter tests share: a provider with a file-magic service, and
// parameter chunks built from their sub-chunks as bytes.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "host/kelmemorystream.h"
#include "kel/kelfile.h"
#include "parameters/kelidpar.h"
#include "parameters/kelidspar.h"
#include "tests/persistence/fakestreams.h"
#include "tests/support/testprovider.h"

constexpr uint32_t testMagic = 0x0a0b0c;

class TestFileMagic : public IQtxFileMagic {
public:
    uint32_t getMagic(const char* className) override
    {
        asked.push_back(className);
        return magic;
    }
    void queryInterface(const char* name, void* out, bool) override
    {
        bool known = kelSameName(name, "IQtxFileMagic");
        *static_cast<void**>(out) = known ? static_cast<IQtxFileMagic*>(this) : nullptr;
    }
    const char* className() override { return "TestFileMagic"; }

    uint32_t magic = testMagic;
    std::vector<std::string> asked;
};

class ParameterTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        magic.addRef();  // the test owns it: lookups never bring it to 0
        provider.add("IQtxFileMagic", &magic);
        kelDetachStringReader();
    }
    void TearDown() override { kelDetachStringReader(); }

    static KelID idOf(uint32_t n)
    {
        uint8_t tail[8] = {0xde, 0xad, 0xbe, 0xef, uint8_t(n >> 24), uint8_t(n >> 16), uint8_t(n >> 8), uint8_t(n)};
        return KelID(n, uint16_t(n * 3), uint16_t(n * 5), tail);
    }

    // Saves `parameter` into a fresh memory stream and gives the bytes.
    static Bytes saved(IKelPersistable& parameter, int32_t formatVersion = 1)
    {
        KelMemoryOutput out(formatVersion);
        KelChunkWriter holder(&out, false);
        EXPECT_TRUE(parameter.save(&holder));
        return out.bytes();
    }
    // Loads `parameter` from `bytes`; width 64 reads 8-byte lengths, as a root chunk would have set it.
    static bool loaded(IKelPersistable& parameter, const Bytes& bytes, uint32_t width = 0)
    {
        KelMemoryInput in(bytes.data(), bytes.size(), width);
        KelChunkReader holder(&in);
        bool result = parameter.load(&holder);
        kelDetachStringReader();
        return result;
    }

    // Chunks with their lengths worked out, 8-byte ones while `wide` is set.
    Bytes nest(uint32_t id, const Bytes& payload, uint8_t version = 0) const
    {
        return chunk(id, version, payload.size() + (wide ? 12 : 8), payload, wide);
    }
    Bytes parameter(const Bytes& subChunks, uint8_t version = 2) const { return nest(testMagic, subChunks, version); }
    static Bytes bare(const KelID& id)
    {
        KelMemoryOutput out(1);
        writeID(id, &out);
        return out.bytes();
    }
    Bytes identity(const KelID& id) const { return nest(kelChunkID, bare(id)); }
    Bytes text(const char* chars) const { return nest(kelChunkString, Bytes(chars, chars + std::strlen(chars))); }
    Bytes name(const char* chars) const { return nest(0, text(chars)); }
    Bytes type(const KelID& id) const { return nest(128, bare(id)); }
    Bytes single(const KelID& id) const { return nest(256, identity(id)); }
    Bytes list(const std::vector<KelID>& ids, int64_t storedCount = -1) const
    {
        Bytes payload = be32(uint32_t(storedCount < 0 ? int64_t(ids.size()) : storedCount));
        for (const KelID& id : ids)
            payload = concat({payload, identity(id)});
        return nest(257, payload);
    }

    TestServiceProvider provider;
    TestFileMagic magic;
    bool wide = false;
};
