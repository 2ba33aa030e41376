#pragma once

// Apart from GuiTest.cpp: only the programs that bring the application up
// link the application's delegate and all it pulls in.

#include "support/GuiTest.h"

#include <functional>
#include <string>
#include <vector>

namespace quilt {
class AppDelegate;
}

namespace quilt::test {

// The application brought up in this process, on an application id of its
// own (the test suite's name), so that no other test's instance answers in
// its place; the home page, when a test sets one, is server->url("/home").
class AppTest : public GuiTest {
protected:
    void SetUp() override;

    // Runs the application with `args`; `launched` runs once its first
    // window is up, then the application quits as its quit command does.
    void runApp(const std::function<void(AppDelegate&)>& launched, const std::vector<std::string>& args = {});
    // The same once the first window has shown its home page.
    void runAppAtHome(const std::function<void(AppDelegate&, KTMainWindowController&)>& launched,
                      const std::vector<std::string>& args = {});
    static KTMainWindowController* windowAt(size_t i);
};

} // namespace quilt::test
