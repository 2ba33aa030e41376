#pragma once

// Fixture for tests of main windows made without an application object:
// real GTK windows with real tabs and pages, closed again through the same
// rules as their close button when the test ends.

#include "GuiTest.h"

#include "config/KTBehaviorManager.h"
#include "config/KTSettingsManager.h"
#include "windows/KTMainWindowController.h"

#include <gtk/gtk.h>

namespace quilt::test {

class WindowTest : public GuiTest {
protected:
    void SetUp() override
    {
        GuiTest::SetUp();
        if (IsSkipped())
            return;
        server->route("/title", HttpPage::html("Hello page"));
        server->route("/one", HttpPage::html("One"));
        server->route("/two", HttpPage::html("Two"));
        server->route("/three", HttpPage::html("Three"));
        server->route("/home", HttpPage::html("Home"));
        server->route("/untitled", HttpPage::html(""));
    }

    void TearDown() override
    {
        if (!IsSkipped()) {
            // Every window goes the way its close button would take it.
            KTBehaviorManager::sharedManager().setCloseApplication(true);
            KTSettingsManager::sharedManager().setConfirmColseTabs(false);
            while (!KTMainWindowController::mainWindows().empty())
                KTMainWindowController::mainWindows().back()->close();
            drainEvents(); // the deferred releases run
        }
        GuiTest::TearDown();
    }

    KTMainWindowController* newWindow()
    {
        KTMainWindowController* c = KTMainWindowController::create();
        c->showWindow();
        return c;
    }

    static bool finished(KTWebViewController* page, const std::string& url)
    {
        return page && page->url() == url && !page->isLoading() && !page->title().empty();
    }
    bool waitLoaded(KTWebViewController* page, const std::string& url)
    {
        return waitUntil([&] { return finished(page, url); });
    }
};

} // namespace quilt::test
