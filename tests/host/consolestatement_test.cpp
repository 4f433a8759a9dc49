// The console's statements: when one is complete, how far the next line is
// indented, and what a long one costs.
#include "host/consolestatement.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

// Whether `lines` (each ending in a line feed) need more to be a statement.
bool needsMoreLines(const std::string& lines)
{
    ConsoleStatement statement;
    for (size_t start = 0; start < lines.size();) {
        size_t end = lines.find('\n', start);
        statement.addLine(lines.substr(start, end - start));
        start = end + 1;
    }
    return statement.needsMoreLines();
}

TEST(ConsoleStatementTest, ContinuationLinesForBlocksBracketsAndStrings)
{
    for (const char* complete : {"x = 1\n", "d = {'a': 1}\n", "s = 'a:' # ends in ':'\n", "f(1,\n  2)\n",
                                 "if x:\n    y()\n\n", "t = '''a\nb'''\n", "s = ')' + \"(\"\n", "d = {'a':\n  1}\n",
                                 "if x:\n    y()\n    \n"})
        EXPECT_FALSE(needsMoreLines(complete)) << complete;
    // A block runs until an empty line; open brackets and strings and a
    // trailing backslash continue too.
    for (const char* open : {"if x:\n", "for i in r:  # loop\n", "def f():\n    return 1\n", "f(1,\n",
                             "x = [\n  1, (2,\n", "t = '''a\n", "x = 1 + \\\n", "s = 'a\\\n"})
        EXPECT_TRUE(needsMoreLines(open)) << open;
}

TEST(ConsoleStatementTest, TheNextLineStartsWithItsIndentation)
{
    const struct {
        std::vector<const char*> lines;
        const char* indentation;
    } cases[] = {
        {{"if x:"}, "    "},
        {{"if x:", "    for i in r:"}, "        "},
        {{"if x:", "    for i in r:", "        y(i)"}, "        "},
        {{"def f():", "\tif x:"}, "\t\t"},  // a tab stays a tab
        {{"if x:", "    f(1,"}, "    "},   // inside brackets: as the line before
        {{"  x = [1,"}, "  "},
        {{"if x:", "    t = '''a"}, ""},  // inside a string blanks would be text
        {{"x = 1"}, ""},                   // complete: no next line
        {{"d = {'a':"}, ""},
    };
    for (const auto& c : cases) {
        ConsoleStatement statement;
        for (const char* line : c.lines)
            statement.addLine(line);
        EXPECT_EQ(statement.nextIndentation(), c.indentation) << c.lines.back();
    }
    ConsoleStatement statement;
    EXPECT_TRUE(statement.empty());
    statement.addLine("    ");
    EXPECT_TRUE(statement.blank());
    EXPECT_FALSE(statement.needsMoreLines());
}

TEST(ConsoleStatementTest, ALongPasteCostsInProportionToItsSize)
{
    // 200,000 lines of one list: rescanning the statement at each line would
    // take minutes, one pass takes milliseconds.
    auto started = std::chrono::steady_clock::now();
    ConsoleStatement statement;
    statement.addLine("values = [");
    for (int i = 0; i < 200000; ++i)
        statement.addLine("    'item', (1, 2), {'k': 3},  # a comment with ( and '");
    EXPECT_TRUE(statement.needsMoreLines());
    statement.addLine("]");
    EXPECT_FALSE(statement.needsMoreLines());
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(20));
}

}  // namespace
