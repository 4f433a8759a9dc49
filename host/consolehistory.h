// The console's history file: the lines typed at kelhost console, kept
// between sessions.
//
// It lives in the user's state directory, $XDG_STATE_HOME/kelhost/history
// (by default ~/.local/state/kelhost/history); missing folders are made for
// the user alone (0700) and the file too (0600). One line a line, the newest
// last. A session reads the newest lines at its start and at its end appends
// its own under an exclusive lock, then cuts the file to the newest lines,
// so two consoles at once each add theirs and neither corrupts the file.
// Nothing here stops the console: without a usable place (no HOME, a folder
// that cannot be made, something that is not a regular file) there is simply
// no history.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

class ConsoleHistoryFile {
public:
    static constexpr size_t defaultLimit = 1000;

    // The file for the given XDG_STATE_HOME and HOME (either may be null);
    // "" when neither names an absolute folder (HOME must exist as well).
    static std::string defaultPath(const char* stateHome, const char* home);

    explicit ConsoleHistoryFile(std::string path, size_t limit = defaultLimit);

    const std::string& path() const { return path_; }
    // The newest `limit` lines, oldest first; none when there is no file or
    // it cannot be read.
    std::vector<std::string> load() const;
    // Appends `lines` (without line feeds) and keeps the newest `limit`
    // lines of the file. "" when done, else why not.
    std::string save(const std::vector<std::string>& lines) const;

private:
    std::string path_;
    size_t limit_;
};
