// kelhost chunks and params as a real process, on documents that scripts
// wrote through the parameter commands and on files damaged by hand.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "tests/host/kelhostrun.h"

namespace {

class KelhostChunksTest : public KelhostTest {
protected:
    // A document with one KelIDsPar "list" and one KelIDPar "one".
    std::string savedDocument(const std::string& name, int wide)
    {
        std::string path = dir.file(name);
        KelhostRun saved = kelhost("run " + shellQuote(write("save.py",
            "import kel\nkel.setIdentity('one', 'F79633B9-A026-451C-B89F-2FF917DCD0A0')\n"
            "kel.setIdentities('list', ['3c8e0311-593b-4162-85b5-91b98c7a7304',\n"
            "                           '{00000000-0000-0000-0000-0000000000ff}'])\n"
            "print(kel.saveDocument('" + path + "', " + std::to_string(wide) + "))\n")));
        EXPECT_EQ(saved.status, 0) << saved.err;
        EXPECT_EQ(saved.out, "2\n");
        return path;
    }
};

const char documentTree[] =
    "         0  515458 v0 len 252  root, 4-byte lengths\n"
    "         8    454e54 v0 len 137  document entry\n"
    "        16      010003 v0 len 12  string \"list\"\n"
    "        28      504152 v2 len 117  parameter\n"
    "        36        000000 v0 len 25  name\n"
    "        44          010003 v0 len 17  string \"KelIDsPar\"\n"
    "        61        000080 v0 len 24  type 3c8e0311-593b-4162-85b5-91b98c7a7304\n"
    "        85        000101 v0 len 60  values, count 2\n"
    "        97          010008 v0 len 24  identity 3c8e0311-593b-4162-85b5-91b98c7a7304\n"
    "       121          010008 v0 len 24  identity 00000000-0000-0000-0000-0000000000ff\n"
    "       145    454e54 v0 len 107  document entry\n"
    "       153      010003 v0 len 11  string \"one\"\n"
    "       164      504152 v2 len 88  parameter\n"
    "       172        000000 v0 len 24  name\n"
    "       180          010003 v0 len 16  string \"KelIDPar\"\n"
    "       196        000080 v0 len 24  type f79633b9-a026-451c-b89f-2ff917dcd0a0\n"
    "       220        000100 v0 len 32  value\n"
    "       228          010008 v0 len 24  identity f79633b9-a026-451c-b89f-2ff917dcd0a0\n"
    "18 chunks\n";

std::string be32(uint32_t v)
{
    return {char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
}
// A chunk with 4-byte lengths; `head` is the id shifted left by 8 and the version.
std::string chunkOf(uint32_t head, const std::string& payload)
{
    return be32(head) + be32(uint32_t(payload.size() + 8)) + payload;
}

}  // namespace

TEST_F(KelhostChunksTest, ShowsTheTreeAndParametersOfAScriptsDocument)
{
    std::string narrow = savedDocument("narrow.bin", 0);
    KelhostRun tree = kelhost("chunks " + shellQuote(narrow));
    EXPECT_EQ(tree.status, 0) << tree.err;
    EXPECT_EQ(tree.out, documentTree);
    EXPECT_EQ(tree.err, "");

    KelhostRun params = kelhost("params " + shellQuote(narrow));
    EXPECT_EQ(params.status, 0) << params.err;
    EXPECT_EQ(params.out,
              "28  KelIDsPar  2 identities\n"
              "    3c8e0311-593b-4162-85b5-91b98c7a7304\n"
              "    00000000-0000-0000-0000-0000000000ff\n"
              "164  KelIDPar  f79633b9-a026-451c-b89f-2ff917dcd0a0\n"
              "2 parameters\n");

    // A document with 8-byte lengths loads back in a later run, replacing what the script set.
    std::string wide = savedDocument("wide.bin", 1);
    std::string load = write("load.py",
                             "import kel\n"
                             "kel.setIdentity('one', '00000000-0000-0000-0000-000000000001')\n"
                             "print(kel.loadDocument('" + wide + "'))\n"
                             "print(kel.getIdentity('one'))\n"
                             "print(kel.getIdentities('list'))\n");
    KelhostRun loaded = kelhost("run " + shellQuote(load));
    EXPECT_EQ(loaded.status, 0) << loaded.err;
    EXPECT_EQ(loaded.out,
              "2\nf79633b9-a026-451c-b89f-2ff917dcd0a0\n"
              "['3c8e0311-593b-4162-85b5-91b98c7a7304', '00000000-0000-0000-0000-0000000000ff']\n");
}

// chunks and params walk alike: the same damage stops both, with its offset
// and status 1, and loadDocument names it the same way.
TEST_F(KelhostChunksTest, ReportsDamageWithItsOffsetAndStatusOne)
{
    std::string document = readFile(savedDocument("doc.bin", 0));
    struct Case {
        const char* what;
        std::string bytes;
        std::string damage;
        std::string refusal;  // what loadDocument says after the path
    };
    std::string inner = document;
    inner[172 + 7] = 3;  // the name sub-chunk of "one" claims 3 bytes
    std::string nested;  // root chunks each reaching past their parent's end
    for (int k = 0; k < 4000; ++k)
        nested += be32(0x51545800) + be32(k < 3999 ? 16 : 8);
    const std::string cut =
        "damaged chunk at offset 0: chunk 515458: length 252 reaches past the end of the stream (100 bytes left)";
    const Case cases[] = {
        {"cut", document.substr(0, 100), cut, "' is not a document: " + cut},
        {"inner", inner, "damaged chunk at offset 172: chunk 000000: length 3 is shorter than its head",
         "': entry 'one' at offset 145: it has no class name"},
        {"tail", document + "\x01\x02\x03", "damaged chunk at offset 252: the stream ends inside its head", ""},
        {"nested", nested,
         "damaged chunk at offset 288: the chunks overlap more than a stream of this size can hold; walk stopped",
         ""}};  // a document needs only its first level, which holds no entry
    for (const Case& c : cases) {
        std::string path = write(std::string(c.what) + ".bin", c.bytes);
        for (const char* command : {"chunks ", "params "}) {
            KelhostRun run = kelhost(command + shellQuote(path));
            EXPECT_EQ(run.status, 1) << command << c.what;
            EXPECT_NE(run.out.find(c.damage + "\n"), std::string::npos) << command << c.what << ":\n" << run.out;
            EXPECT_EQ(run.err, "kelhost: " + path + ": " + c.damage + "\n") << command << c.what;
        }
        if (c.refusal.empty())
            continue;
        KelhostRun load = kelhost("run " + shellQuote(write("load.py", "import kel\nkel.loadDocument('" + path + "')\n")));
        EXPECT_NE(load.err.find("'" + path + c.refusal + "\n"), std::string::npos) << c.what << ":\n" << load.err;
    }
    std::string newer = document;
    newer[164 + 3] = 5;  // a parameter version this component does not read
    const std::pair<std::string, const char*> refusals[] = {
        {dir.file("inner.bin"), "164  parameter does not load: it has no class name\n"},
        {write("newer.bin", newer), "0000000000ff\n164  parameter does not load: the KelIDPar does not load\n"}};
    for (const auto& [path, shown] : refusals) {
        KelhostRun params = kelhost("params " + shellQuote(path));
        EXPECT_EQ(params.status, 1);
        EXPECT_NE(params.out.find(shown), std::string::npos) << params.out;
    }

    KelhostRun missing = kelhost("chunks " + shellQuote(dir.file("absent.bin")));
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.err, "kelhost: cannot open '" + dir.file("absent.bin") + "'\n");
}

// params loads every parameter that chunks shows, and a parameter that loads
// while leaving the shared string reader bad does not fail the next one.
TEST_F(KelhostChunksTest, ParamsLoadsEveryParameterEachOnItsOwn)
{
    std::string document = readFile(savedDocument("doc.bin", 0));
    std::string list = document.substr(28, 117), one = document.substr(164, 88);
    const std::string oneShown = "  KelIDPar  f79633b9-a026-451c-b89f-2ff917dcd0a0\n";
    const std::string listShown = "  KelIDsPar  2 identities\n    3c8e0311-593b-4162-85b5-91b98c7a7304\n"
                                  "    00000000-0000-0000-0000-0000000000ff\n";
    // Inside a chunk of unknown id and inside a keyed chunk, with no root.
    std::string wrapped = write("wrapped.bin", chunkOf(0x12345600, one) +
                                                   chunkOf(0x0b000200, std::string(16, '\x11') + list));
    KelhostRun params = kelhost("params " + shellQuote(wrapped));
    EXPECT_EQ(params.status, 0) << params.err;
    EXPECT_EQ(params.out, "8" + oneShown + "120" + listShown + "2 parameters\n");

    // "one" gains a second name sub-chunk that holds an identity, not a
    // string: it still loads, and so does "list" behind it.
    std::string spoiled = one.substr(8, 24) + chunkOf(0, document.substr(228, 24)) + one.substr(32);
    std::string entry = chunkOf(0x454e5400, document.substr(153, 11) + chunkOf(0x50415202, spoiled));
    std::string path = write("spoiled.bin", chunkOf(0x51545800, entry + document.substr(8, 137)));
    params = kelhost("params " + shellQuote(path));
    EXPECT_EQ(params.status, 0) << params.err;
    EXPECT_EQ(params.out, "27" + oneShown + "167" + listShown + "2 parameters\n");
    KelhostRun load = kelhost("run " + shellQuote(write("load.py", "import kel\nprint(kel.loadDocument('" + path +
                                                                    "'), kel.getIdentities('list')[1])\n")));
    EXPECT_EQ(load.out, "2 00000000-0000-0000-0000-0000000000ff\n") << load.err;
}

TEST_F(KelhostChunksTest, UnknownChunksShowAsChunksOrData)
{
    // 0x123456 holds two whole chunks; 0x654321 holds 5 raw bytes; then a
    // string with bytes that need escaping, all with 8-byte lengths and no root
    const uint8_t bytes[] = {0x12, 0x34, 0x56, 0x01, 0, 0, 0, 0, 0, 0, 0, 36,                 // 12 + 24
                             0x00, 0x00, 0x07, 0x00, 0, 0, 0, 0, 0, 0, 0, 12,                 // empty
                             0x65, 0x43, 0x21, 0x00, 0, 0, 0, 0, 0, 0, 0, 12,                 // empty
                             0x65, 0x43, 0x21, 0x02, 0, 0, 0, 0, 0, 0, 0, 17, 1, 2, 3, 4, 5,  // data
                             0x01, 0x00, 0x03, 0x00, 0, 0, 0, 0, 0, 0, 0, 16, 'a', '"', 0x0a, 'z'};
    std::string path = write("unknown.bin", std::string(std::begin(bytes), std::end(bytes)));
    KelhostRun run = kelhost("chunks --width 64 " + shellQuote(path));
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out,
              "         0  123456 v1 len 36\n"
              "        12    000007 v0 len 12\n"
              "        24    654321 v0 len 12\n"
              "        36  654321 v2 len 17  5 bytes of data\n"
              "        53  010003 v0 len 16  string \"a\\\"\\x0az\"\n"
              "5 chunks\n");
}

TEST_F(KelhostChunksTest, ParameterCommandsRefuseWhatTheyCannotDo)
{
    std::string script = write("bad.py",
                               "import kel\n"
                               "print(kel.setIdentity('x', 'f79633b9-a026-451c-b89f'))\n"
                               "print(kel.setIdentities('x', ['f79633b9-a026-451c-b89f-2ff917dcd0a0', 5]))\n"
                               "print(kel.getIdentity('nothing'))\n"
                               "print(kel.loadDocument('" + dir.file("absent.bin") + "'))\n"
                               "kel.setIdentities('x', [])\n"
                               "print(kel.getIdentity('x'), kel.getIdentities('x'), kel.parameterNames())\n"
                               "print(len(set(kel.newIdentity() for i in range(100))))\n");
    KelhostRun run = kelhost("run " + shellQuote(script));
    EXPECT_EQ(run.out, "None\nNone\nNone\nNone\nNone [] ['x']\n100\n");
    for (const char* text : {"Error executing command setIdentity", "Error executing command setIdentities",
                             "Error executing command getIdentity", "Error executing command loadDocument"})
        EXPECT_NE(run.err.find(text), std::string::npos) << text << "\n" << run.err;
    EXPECT_NE(run.err.find("cannot open '" + dir.file("absent.bin") + "'"), std::string::npos) << run.err;
}
