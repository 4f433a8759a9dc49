// A document as the reference host writes it, kept as the bytes that the
// Linux build wrote (examples/parameters.py, beside the test program as
// document.kel): every build reads it through the file streams and writes it
// again byte for byte, so documents cross between Linux and Windows both ways.
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "host/hostfilemagic.h"
#include "host/kelfilestream.h"
#include "parameters/parameterregistry.h"
#include "tests/parameters/parameterfixture.h"

namespace {

std::string bytesOf(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace

TEST_F(ParameterTest, TheLinuxDocumentReadsAndWritesBackByteForByte)
{
    magic.magic = kelHostParameterMagic;
    // The example's entries, in the order the host keeps them.
    const std::pair<const char*, const char*> classes[] = {{"members", "KelIDsPar"}, {"owner", "KelIDPar"}};
    std::vector<IPtr<IKelUnknown>> parameters;
    {
        KelFileInput in("document.kel");
        ASSERT_TRUE(in.isOpen());
        KelChunkReader reader(&in);
        ASSERT_TRUE(reader.readChunk(kelChunkRoot));
        for (const auto& [name, className] : classes) {
            ASSERT_TRUE(reader.readChunk(kelHostDocumentEntry));
            KelCString stored;
            ASSERT_TRUE(readCString(stored, &in));
            EXPECT_STREQ(stored.chars(), name);
            parameters.emplace_back(kelCreateParameter(className));
            ASSERT_TRUE(kelQuery<IKelPersistable>(parameters.back().get())->load(&reader)) << name;
            kelDetachStringReader();
            reader.endChunk();
        }
        EXPECT_TRUE(reader.atChunkEnd());
    }

    TempDir dir;
    const std::string copy = dir.file("copy.kel");
    {
        KelFileOutput out(copy, 1);
        KelChunkWriter writer(&out, false);
        writer.beginChunk(kelChunkRoot, 0);
        for (size_t i = 0; i < parameters.size(); ++i) {
            writer.beginChunk(kelHostDocumentEntry, 0);
            writer.writeCStringChunk(KelCString(classes[i].first));
            EXPECT_TRUE(kelQuery<IKelPersistable>(parameters[i].get())->save(&writer));
            writer.endChunk();
        }
        writer.endChunk();
        EXPECT_TRUE(writer.good());
        out.close();
        EXPECT_TRUE(out.good());
    }
    EXPECT_EQ(bytesOf(copy), bytesOf("document.kel"));
}
