// Guarded allocation reaches the memory report only through the handler that
// memory/ installs; this binary never names the report, so only the
// foundation's link options bring the handler in.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "kel/kelarray.h"
#include "tests/support/testprovider.h"

TEST(OutOfMemoryHandler, EveryModuleThatLinksTheFoundationEndsWithTheReport)
{
    // The child is forked ("fast" style), so it sees the same directory.
    TempDir logs;  // memory.log goes to the current directory of the child
    EXPECT_EXIT(
        {
            std::filesystem::current_path(logs.path());
            qtxMemoryExhausted(4096, -4);
        },
        ::testing::ExitedWithCode(255), "Out of Memory: While running this function, you have run out of memory");
    std::ifstream report(logs.file("memory.log"));
    std::stringstream text;
    text << report.rdbuf();
    EXPECT_EQ(text.str().rfind("attempted:           4096b\n", 0), 0u) << text.str();
}
