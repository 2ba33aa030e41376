#pragma once

#include "core/config/KTColor.h"
#include "core/config/KTNotificationCenter.h"
#include "core/config/KTRect.h"
#include "core/config/KTSignal.h"

#include <gtk/gtk.h>

#include <string>

namespace quilt {

// A main window: a GtkApplicationWindow with a header bar as its title bar
// and the hidden-title-bar look, where the title bar goes and the close,
// minimise and maximise buttons wait, invisible, in the top-left corner until
// the pointer enters it. Title text is black on a light window colour and
// white on a dark one.
class KTMainWindow {
public:
    explicit KTMainWindow(GtkApplication* app);
    ~KTMainWindow();
    KTMainWindow(const KTMainWindow&) = delete;
    KTMainWindow& operator=(const KTMainWindow&) = delete;

    GtkWindow* window() const { return GTK_WINDOW(window_); }
    GtkHeaderBar* headerBar() const { return GTK_HEADER_BAR(headerBar_); }
    void setContent(GtkWidget* content);

    bool titlebarVisibilityHidden() const { return hidden_; }
    void updateWindowButtons();
    void resetButtons();
    void showButtons();
    void hideButtons();
    bool buttonsShown() const { return buttonsShown_; }
    GtkWidget* buttonWrapperView() const { return buttonWrapper_; }

    void setBackgroundColor(const KTColor& color);
    // "{{x, y}, {w, h}}" form of the window's frame and its inverse.
    KTRect frame() const;
    void setFrame(const KTRect& frame);
    void center();

private:
    void applyCss();

    GtkWidget* window_ = nullptr;
    GtkWidget* headerBar_ = nullptr;
    GtkWidget* overlay_ = nullptr;
    GtkWidget* buttonWrapper_ = nullptr;
    GtkWidget* hoverArea_ = nullptr;
    GtkCssProvider* css_ = nullptr;
    std::string cssClass_;
    KTColor background_ = KTColor::windowBackgroundColor();
    bool hidden_ = false;
    bool buttonsShown_ = false;
    KTObservation titlebarObservation_;
};

} // namespace quilt
