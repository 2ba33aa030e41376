#pragma once

#include "ui/preferences/KTPreferencesPane.h"

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quilt {

// The preferences window: its panes in a stack, chosen from a sidebar. The
// application keeps one and lets it go when it closes (onClosed); closing
// commits every pane first.
class KTPreferencesWindow {
public:
    explicit KTPreferencesWindow(std::vector<std::unique_ptr<KTPreferencesPane>> panes);
    ~KTPreferencesWindow();
    KTPreferencesWindow(const KTPreferencesWindow&) = delete;
    KTPreferencesWindow& operator=(const KTPreferencesWindow&) = delete;

    // Shows the window in front, at the pane named `pane` when there is one.
    void present(const std::string& pane = {}, GtkWindow* parent = nullptr);
    void close();
    GtkWindow* window() const { return GTK_WINDOW(window_); }
    std::string visiblePane() const;
    KTPreferencesPane* pane(const std::string& name) const;

    // Runs after the window closed, from the main loop: the owner may
    // destroy it then.
    std::function<void()> onClosed;

private:
    GtkWidget* window_ = nullptr;
    GtkWidget* stack_ = nullptr;
    std::vector<std::unique_ptr<KTPreferencesPane>> panes_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace quilt
