#pragma once

// What the session's dunst shows and has shown, read through dunstctl.

#include <string>
#include <vector>

namespace quilt::test {

struct ShownNotification {
    std::string appname, summary, body;
};

class DunstWatcher {
public:
    static int displayed();
    // Closes what is open (it moves to the history) and returns the whole
    // history, oldest first.
    static std::vector<ShownNotification> closeAllAndReadHistory();
    // Those of closeAllAndReadHistory() with this summary.
    static std::vector<ShownNotification> shownWithSummary(const std::string& summary);
    // The latest open notification's default action, as a click runs it.
    static void clickLatest();
};

} // namespace quilt::test
