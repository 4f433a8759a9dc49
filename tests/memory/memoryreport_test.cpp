// The memory report, the out-of-memory message, and the orderly end of each
// failure road with its "memory.log".
#include "memory/memoryreport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "core/qtxrealloc.h"
#include "kel/kelfile.h"
#include "kel/qtxcstring.h"
#include "tests/memory/memoryfakes.h"
#include "tests/persistence/fakestreams.h"

namespace {

const char* const kMessage =
    "While running this function, you have run out of memory.\n"
    "The application will close. After restarting, please read\n"
    "the online help about \"Memory Optimization\".";

class FakeErrorService : public FakeService<IKelErrorService> {
public:
    void reportError(const KelWideString& message, int* level, const KelCString& context) override
    {
        calls.push_back(std::string(message.narrow()) + "|" + std::to_string(*level) + "|" + (context.chars() ? context.chars() : ""));
    }
    std::vector<std::string> calls;
};

class FakeRenderer : public FakeService<IGfxRenderer> {
public:
    void beforeMessage() override { calls += "before;"; }
    void afterMessage() override { calls += "after;"; }
    std::string calls;
};

// The figures of processMemChecker() and no memory manager.
const std::string kRowsWithoutManager =
    "system free:         1000k\n"
    "system total:        2000k\n"
    "swap free:            300k\n"
    "swap total:           400k\n\n"
    "kelmm not available\n\n";

// The message box that qtxOutOfMemory(code) shows, "" for none.
std::u16string messageOf(int code)
{
    ScriptedSyscalls calls;
    testing::internal::CaptureStderr();  // the copy meant for death tests
    EXPECT_FALSE(qtxOutOfMemory(code));
    testing::internal::GetCapturedStderr();
    EXPECT_LE(ScriptedSyscalls::messages.size(), 1u);
    return ScriptedSyscalls::messages.empty() ? u"" : ScriptedSyscalls::messages[0];
}

// Writes what it is given on standard error, where a death test sees it.
class PrintingErrorService : public FakeService<IKelErrorService> {
public:
    void reportError(const KelWideString& message, int* level, const KelCString&) override
    {
        std::fprintf(stderr, "reported at level %d: %s\n", *level, message.narrow());
    }
};

}  // namespace

class MemoryReport : public ::testing::Test {
protected:
    std::string directory = fixedDirectory("report");
    MemoryHost host{directory};
    FakeMemChecker& checker = processMemChecker();
    FakeManager& manager = processManager();
};

TEST_F(MemoryReport, WritesFixedWidthRowsAndReplacesTheLastReport)
{
    checker.figures[1] = 123456789;  // wider than the field: printed in full
    for (int i = 0; i < 4; ++i)
        manager.figures[i] = 10 * (i + 1);  // 24 KiB pages
    qtxWriteMemoryReport(123);
    EXPECT_EQ(readFile(directory + "/memory.log", std::ios::in),
              "attempted:            123b\n\n"
              "system free:         1000k\n"
              "system total:     123456789k\n"
              "swap free:            300k\n"
              "swap total:           400k\n\n"
              "kelmm core now:       240k\n"
              "kelmm core limit:     480k\n"
              "kelmm swap now:       720k\n"
              "kelmm swap limit:     960k\n\n");
    EXPECT_EQ(checker.lastUnit, 1024);

    // No attempted size: the report starts with the system rows, and only the
    // newest report remains.
    checker.figures[1] = 2000;
    qtxWriteMemoryReport(0);
    EXPECT_EQ(readFile(directory + "/memory.log", std::ios::in).rfind("system free:         1000k\n", 0), 0u);
}

TEST_F(MemoryReport, StatusComesFromAnActiveCheckerElseFromThePlatform)
{
    long long figures[4] = {-1, -1, -1, -1};
    checker.result = 7;
    EXPECT_EQ(qtxMemoryStatus(&figures[0], &figures[1], &figures[2], &figures[3], 1024), 7);
    EXPECT_EQ(figures[1], 2000);
    checker.result = 0;

    checker.active = false;
    EXPECT_EQ(qtxMemoryStatus(&figures[0], &figures[1], &figures[2], &figures[3], 1024), 0);
    EXPECT_GT(figures[1], 1024) << "total physical memory in KiB";
}

TEST(OutOfMemoryMessage, ShowsTheMessageOnlyForCodesFromMinusFiveToMinusOne)
{
    TestServiceProvider provider;
    FakeRenderer renderer;
    provider.add("IGfxRenderer", &renderer);
    for (int code : {0, 1, -6})
        EXPECT_EQ(messageOf(code), u"") << code;
    EXPECT_EQ(renderer.calls, "");
    const std::string box = std::string("Out of Memory: ") + kMessage;
    for (int code : {-1, -5})
        EXPECT_EQ(messageOf(code), std::u16string(box.begin(), box.end()));
    EXPECT_EQ(renderer.calls, "before;after;before;after;");

    // The setting sends it to the error service; asked for but missing, there
    // is no message of any kind.
    FakeDataStore store;
    store.bools["Memory/UseErrorService"] = 1;
    provider.add("IDataStore", &store);
    EXPECT_EQ(messageOf(-4), u"");
    FakeErrorService errors;
    provider.add("IKelErrorService", &errors);
    EXPECT_EQ(messageOf(-4), u"");
    EXPECT_EQ(errors.calls, std::vector<std::string>{std::string(kMessage) + "|1|"});
    // The code is checked after the service: a bad code shows nothing.
    EXPECT_EQ(messageOf(-9), u"");
    EXPECT_EQ(errors.calls.size(), 1u);
}

// Each road to the end runs in a fresh child process: the process keeps the
// first memory manager it finds, and these children have none. The message
// goes to an error service, and once, without one, to the scripted message
// box: no box may wait for a click. That the spill file leaves no name behind
// is the platform tests' business.
TEST(OrderlyEnd, EveryFailureRoadEndsWithTheReport)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    std::string directory = fixedDirectory("orderly-end");
    MemoryHost host{directory};
    PrintingErrorService errors;
    host.provider.add("IKelErrorService", &errors);
    processMemChecker();
    using S = ScriptedSyscalls;
    auto malloc = [] {
        void* block = nullptr;
        qtxMalloc(&block, 4, 25000);
    };
    // A spill: every realloc from 50000 bytes on is refused, and the report
    // names the bytes of minNewSize elements.
    auto spill = [] {
        S::reallocRefuseFrom = 50000;
        void* block = std::malloc(1000);
        qtxRealloc(&block, 1, 1000, 60000, 120000);
    };
    // A stored string as long as the heap refuses, read for a parameter.
    auto string = [] {
        ScriptedInput in(chunk(kelChunkString, 0, 100007, Bytes(99999, 'n')));
        KelCString text;
        readCString(text, &in);
    };
    struct Road {
        const char* what;
        void (*fault)();
        void (*body)();
        const char* attempted;
        bool errorService = true;
    } roads[] = {
        {"malloc refused", [] { S::mallocRefuseFrom = 100000; }, malloc, "100000"},
        {"-1: no temporary file", [] { S::refuseOpen = true; }, spill, " 60000"},
        {"-2: short write", [] { S::writeShortBy = 1; }, spill, " 60000"},
        {"-3: seek failed", [] { S::refuseSeek = true; }, spill, " 60000"},
        {"-4: no memory once the old block is gone", [] { S::mallocRefuseFrom = 60000; }, spill, " 60000"},
        {"a string longer than the heap gives", [] { S::mallocRefuseFrom = 90000; }, string, "100000"},
        {"malloc refused, the message in a box", [] { S::mallocRefuseFrom = 100000; }, malloc, "100000", false},
    };
    for (const Road& road : roads) {
        SCOPED_TRACE(road.what);
        std::filesystem::remove(directory + "/memory.log");
        host.store.bools["Memory/UseErrorService"] = road.errorService;
        EXPECT_EXIT(
            {
                ScriptedSyscalls heap;
                road.fault();
                road.body();
            },
            exitedWithMinusOne,
            std::string(road.errorService ? "reported at level 1: " : "Out of Memory: ")
                + "While running this function, you have run out of memory");
        EXPECT_EQ(readFile(directory + "/memory.log", std::ios::in),
                  "attempted:         " + std::string(road.attempted) + "b\n\n" + kRowsWithoutManager);
    }
}
