// One console statement, scanned line by line.
#include "host/consolestatement.h"

namespace {

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\f';
}

bool startsWith(const std::string& text, size_t at, char c, int count)
{
    return text.compare(at, static_cast<size_t>(count), std::string(static_cast<size_t>(count), c)) == 0;
}

}  // namespace

void ConsoleStatement::addLine(const std::string& line)
{
    text_ += line;
    text_ += '\n';
    char lastSignificant = 0;
    bool blank = true;
    for (size_t i = 0; i < line.size(); ++i) {
        char c = line[i];
        if (!isBlank(c))
            blank = false;
        if (quote_) {
            lastSignificant = c;
            if (c == '\\') {
                if (i + 1 < line.size())
                    ++i;  // the escaped character; a '\' at the end continues the line
            } else if (c == quote_ && (!triple_ || startsWith(line, i, c, 3))) {
                i += triple_ ? 2 : 0;
                quote_ = 0;
            }
            continue;
        }
        if (c == '#')
            break;
        if (c == '\'' || c == '"') {
            triple_ = startsWith(line, i, c, 3);
            quote_ = c;
            i += triple_ ? 2 : 0;
        } else if (c == '(' || c == '[' || c == '{') {
            ++depth_;
        } else if ((c == ')' || c == ']' || c == '}') && depth_ > 0) {
            --depth_;
        }
        if (!isBlank(c))
            lastSignificant = c;
    }
    // A ':' inside brackets is a dict's or a slice's, not a block's.
    lastOpensBlock_ = lastSignificant == ':' && !quote_ && depth_ == 0;
    inBlock_ = inBlock_ || lastOpensBlock_;
    lastContinues_ = lastSignificant == '\\' && !quote_;
    if (quote_ && !triple_ && lastSignificant != '\\')
        quote_ = 0;  // an unterminated one-line string: the line is an error anyway
    lastBlank_ = blank;
    if (!blank) {
        anyText_ = true;
        lastIndentation_ = line.substr(0, line.find_first_not_of(" \t"));
    }
}

bool ConsoleStatement::needsMoreLines() const
{
    if (quote_ || depth_ > 0 || lastContinues_)
        return true;
    return inBlock_ && !lastBlank_;
}

std::string ConsoleStatement::nextIndentation() const
{
    if (quote_ || !needsMoreLines())
        return std::string();
    if (lastOpensBlock_)
        return lastIndentation_ + (lastIndentation_.find('\t') != std::string::npos ? "\t" : "    ");
    return lastIndentation_;
}
