#pragma once

#include "web/KTWebUIDelegate.h"

namespace quilt {

// What the pages ask of a person, as GTK dialogs that never block: each is
// modal for the page's window and answers from its "response" signal. The
// application's quit shortcut works while one is shown: a page that keeps
// asking must never keep the app from quitting.
class KTDialogs : public KTWebUIDelegate {
public:
    // Makes the process's dialogs the web layer's delegate.
    static void install();

    void runScriptAlert(GtkWindow* parent, const std::string& message, bool confirm, bool offerSilence,
                        std::function<void(bool ok, bool silence)> done) override;
    void chooseUploadFiles(GtkWindow* parent, bool multiple,
                           std::function<void(std::vector<std::string> files)> done) override;
    Dismiss askForLogin(GtkWindow* parent, const std::string& host, const std::string& proposedUser,
                        std::function<void(std::optional<KTLogin>)> done) override;
    void askToOpenApp(GtkWindow* parent, const std::string& appName, std::function<void(bool open)> done) override;
    void chooseSavePath(GtkWindow* parent, const std::string& folder, const std::string& fileName,
                        std::function<void(std::optional<std::string> path)> done) override;
    void showDownloadsToolbar(GtkWindow* window) override;

    void showAutoFillMenu(GtkWindow* parent, int x, int y, const std::vector<std::string>& users,
                          std::function<void(size_t row)> chosen) override;
    void hideAutoFillMenu() override;
    bool isAutoFillMenuVisible() const override;
    int autoFillMenuKey(int key) override;
    void askToSavePassword(GtkWindow* parent, std::function<void(bool save)> done) override;
    void askToUpdatePassword(GtkWindow* parent, const std::string& user, const std::string& host,
                             std::function<void(bool update)> done) override;
};

} // namespace quilt
