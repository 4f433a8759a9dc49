// The memory report, the out-of-memory message, and the orderly end of each
// failure road with its "memory.log".
#include "memory/memoryreport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <iterator>

#include "memory/qtxrealloc.h"
#include "tests/memory/memoryfakes.h"

namespace {

const char* const kMessage =
    "While running this function, you have run out of memory.\n"
    "The application will close. After restarting, please read\n"
    "the online help about \"Memory Optimization\".";

// The figures of processMemChecker() and no memory manager.
std::string reportWithoutManager(const std::string& attempted)
{
    return attempted
           + "system free:         1000k\n"
             "system total:        2000k\n"
             "swap free:            300k\n"
             "swap total:           400k\n"
             "\n"
             "kelmm not available\n"
             "\n";
}

std::string filesIn(const std::string& directory)
{
    std::string names;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
        names += entry.path().filename().string() + ";";
    return names;
}

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
    manager.figures[0] = 10;
    manager.figures[1] = 20;
    manager.figures[2] = 30;
    manager.figures[3] = 40;
    qtxWriteMemoryReport(123);
    EXPECT_EQ(readFile(directory + "/memory.log"),
              "attempted:            123b\n"
              "\n"
              "system free:         1000k\n"
              "system total:     123456789k\n"
              "swap free:            300k\n"
              "swap total:           400k\n"
              "\n"
              "kelmm core now:       240k\n"
              "kelmm core limit:     480k\n"
              "kelmm swap now:       720k\n"
              "kelmm swap limit:     960k\n"
              "\n");
    EXPECT_EQ(checker.lastUnit, 1024);

    // No attempted size: the report starts with the system rows, and only the
    // newest report remains.
    checker.figures[1] = 2000;
    manager.figures[0] = 0;
    qtxWriteMemoryReport(0);
    std::string text = readFile(directory + "/memory.log");
    EXPECT_EQ(text.rfind("system free:         1000k\n", 0), 0u) << text;
    EXPECT_EQ(text.find("attempted"), std::string::npos);
    EXPECT_NE(text.find("kelmm core now:         0k\n"), std::string::npos) << text;
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
    EXPECT_LE(figures[0], figures[1]);
    EXPECT_LE(figures[2], figures[3]);
}

TEST(OutOfMemoryMessage, ShowsTheMessageOnlyForCodesFromMinusFiveToMinusOne)
{
    TestServiceProvider provider;
    FakeRenderer renderer;
    provider.add("IGfxRenderer", &renderer);
    for (int code : {0, 1, -6}) {
        testing::internal::CaptureStderr();
        EXPECT_FALSE(qtxOutOfMemory(code));
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << code;
    }
    EXPECT_EQ(renderer.calls, "");
    for (int code : {-1, -5}) {
        testing::internal::CaptureStderr();
        EXPECT_FALSE(qtxOutOfMemory(code));
        EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string("Out of Memory: ") + kMessage + "\n");
    }
    EXPECT_EQ(renderer.calls, "before;after;before;after;");
}

TEST(OutOfMemoryMessage, GoesToTheErrorServiceWhenTheSettingAsks)
{
    TestServiceProvider provider;
    FakeDataStore store;
    store.bools["Memory/UseErrorService"] = 1;
    provider.add("IDataStore", &store);

    // Asked for but missing: no message of any kind.
    testing::internal::CaptureStderr();
    EXPECT_FALSE(qtxOutOfMemory(-4));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    FakeErrorService errors;
    provider.add("IKelErrorService", &errors);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(qtxOutOfMemory(-4));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    ASSERT_EQ(errors.messages.size(), 1u);
    EXPECT_EQ(errors.messages[0], kMessage);
    EXPECT_EQ(errors.levels[0], 1);
    EXPECT_EQ(errors.contexts[0], "");

    // The code is checked after the service: a bad code shows nothing.
    EXPECT_FALSE(qtxOutOfMemory(-9));
    EXPECT_EQ(errors.messages.size(), 1u);
}

// Each road to the end runs in a fresh child process: the process keeps the
// first memory manager it finds, and these children have none.
class OrderlyEnd : public ::testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    // Grows a 1000-byte block to at least 60000 bytes (at most 120000) while
    // every realloc from 50000 bytes on is refused, so the spill runs.
    static void growThroughSpill(ScriptedSyscalls& heap)
    {
        heap.reallocRefuseFrom = 50000;
        void* block = std::malloc(1000);
        qtxRealloc(&block, 1, 1000, 60000, 120000);
        std::free(block);
    }

    std::string directory = fixedDirectory(::testing::UnitTest::GetInstance()->current_test_info()->name());
    MemoryHost host{directory};
    FakeMemChecker& checker = processMemChecker();
    const char* attemptedMin = "attempted:          60000b\n\n";
};

TEST_F(OrderlyEnd, MallocThatStaysRefusedEndsWithTheReport)
{
    EXPECT_EXIT(
        {
            ScriptedSyscalls heap;
            heap.mallocRefuseFrom = 100000;
            void* block = nullptr;
            qtxMalloc(&block, 4, 25000);
        },
        ::testing::ExitedWithCode(255), "Out of Memory: While running this function, you have run out of memory");
    EXPECT_EQ(readFile(directory + "/memory.log"), reportWithoutManager("attempted:         100000b\n\n"));
}

TEST_F(OrderlyEnd, EverySpillFailureEndsWithTheReportAndNoTemporaryFile)
{
    // Codes -1 (no temporary file), -2 (short write), -3 (seek failed) and -4
    // (no memory once the old block is gone) lead to the same report, naming
    // the bytes of minNewSize elements, and the same message.
    std::function<void(ScriptedSyscalls&)> faults[] = {
        [](ScriptedSyscalls& heap) { heap.refuseOpen = true; },
        [](ScriptedSyscalls& heap) { heap.writeShortBy = 1; },
        [](ScriptedSyscalls& heap) { heap.refuseSeek = true; },
        [](ScriptedSyscalls& heap) { heap.mallocRefuseFrom = 60000; },
    };
    for (size_t road = 0; road < std::size(faults); ++road) {
        std::filesystem::remove(directory + "/memory.log");
        EXPECT_EXIT(
            {
                ScriptedSyscalls heap;
                faults[road](heap);
                growThroughSpill(heap);
            },
            ::testing::ExitedWithCode(255), "run out of memory")
            << road;
        EXPECT_EQ(readFile(directory + "/memory.log"), reportWithoutManager(attemptedMin)) << road;
        EXPECT_EQ(filesIn(directory), "memory.log;") << "the temporary file outlived the process, road " << road;
    }
}
