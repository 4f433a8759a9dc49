// What the parameter tests share: a provider with a file-magic service, and
// parameter chunks built sub-chunk by sub-chunk.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "component/hostservices.h"
#include "host/kelmemorystream.h"
#include "parameters/kelidpar.h"
#include "parameters/kelidspar.h"
#include "persistence/kelfile.h"
#include "tests/support/testprovider.h"

using Bytes = std::vector<uint8_t>;

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
        *static_cast<void**>(out) = nullptr;
        if (kelSameName(name, "IQtxFileMagic"))
            *static_cast<void**>(out) = static_cast<IQtxFileMagic*>(this);
        else if (kelSameName(name, "IKelUnknown"))
            *static_cast<void**>(out) = static_cast<IKelUnknown*>(this);
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

    // Loads `parameter` from `bytes`; the stream's width is preset to 64 for
    // 8-byte lengths, as a root chunk would have set it.
    static bool loaded(IKelPersistable& parameter, const Bytes& bytes, uint32_t width = 0)
    {
        KelMemoryInput in(bytes.data(), bytes.size(), width);
        KelChunkReader holder(&in);
        bool result = parameter.load(&holder);
        kelDetachStringReader();
        return result;
    }

    // A parameter chunk with the given head and whatever `body` writes into it.
    static Bytes chunkWith(uint32_t id, int version, const std::function<void(KelChunkWriter&)>& body)
    {
        KelMemoryOutput out(1);
        {
            KelChunkWriter writer(&out, false);
            writer.beginChunk(id, version);
            body(writer);
        }
        return out.bytes();
    }
    static void name(KelChunkWriter& w, const char* text)
    {
        w.beginChunk(0, 0);
        w.writeCStringChunk(KelCString(text, kelBorrow));
        w.endChunk();
    }
    static void type(KelChunkWriter& w, const KelID& id)
    {
        w.beginChunk(128, 0);
        writeID(id, w.stream());
        w.endChunk();
    }
    static void single(KelChunkWriter& w, const KelID& id)
    {
        w.beginChunk(256, 0);
        w.writeIDChunk(id);
        w.endChunk();
    }
    static void list(KelChunkWriter& w, const std::vector<KelID>& ids, int64_t storedCount = -1)
    {
        w.beginChunk(257, 0);
        uint32_t count = uint32_t(storedCount < 0 ? int64_t(ids.size()) : storedCount);
        w.stream()->write32(&count, 1);
        for (const KelID& id : ids)
            w.writeIDChunk(id);
        w.endChunk();
    }

    TestServiceProvider provider;
    TestFileMagic magic;
};
