// One statement of the console as its lines arrive: whether it is complete
// and how far the next line is indented.
//
// Each line is scanned once, carrying open brackets and strings over to the
// next, so a statement of many lines (a long paste) costs in proportion to
// its size.
#pragma once

#include <string>

class ConsoleStatement {
public:
    // Adds one line, without its line feed.
    void addLine(const std::string& line);
    // True when no line was added since the last clear.
    bool empty() const { return text_.empty(); }
    // True when the lines so far are not yet a complete statement: an open
    // bracket or string, a line that ends in ':' or '\', or a block that no
    // empty line has closed yet (as at Python's own prompt).
    bool needsMoreLines() const;
    // Blanks for the start of the next line: four more than a line that opens
    // a block, as many as the last line inside a block or brackets, none
    // inside a string (whose blanks would become text).
    std::string nextIndentation() const;
    // The lines so far, each ending in a line feed.
    const std::string& text() const { return text_; }
    // True when the statement holds nothing but blanks.
    bool blank() const { return !anyText_; }
    void clear() { *this = ConsoleStatement(); }

private:
    std::string text_;
    char quote_ = 0;       // the quote of a string that runs on to the next line
    bool triple_ = false;  // ... a triple-quoted one
    int depth_ = 0;        // open brackets
    bool inBlock_ = false;  // a line ended in ':' outside brackets and strings
    bool lastOpensBlock_ = false;
    bool lastContinues_ = false;  // the last line ended in '\' outside a string
    bool lastBlank_ = true;
    bool anyText_ = false;
    std::string lastIndentation_;
};
