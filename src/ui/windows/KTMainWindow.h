#pragma once

#include "core/config/KTColor.h"
#include "core/config/KTNotificationCenter.h"
#include "core/config/KTRect.h"
#include "core/config/KTSignal.h"

#include <gtk/gtk.h>

#include <optional>
#include <string>

namespace quilt {

// A main window: a GtkApplicationWindow with a header bar as its title bar.
// From top to bottom: the header bar (the toolbar's items and, in its
// middle, either the title or a widget the controller hands in), the menu
// bar area, the find bar area, then the content.
//
// The hidden-title-bar look hides the title, never the tools: the header
// bar keeps its items, shows no title, and its close, minimise and maximise
// buttons wait invisible at its start until the pointer enters them. Title
// text is black on a light window colour and white on a dark one.
class KTMainWindow {
public:
    explicit KTMainWindow(GtkApplication* app);
    ~KTMainWindow();
    KTMainWindow(const KTMainWindow&) = delete;
    KTMainWindow& operator=(const KTMainWindow&) = delete;

    GtkWindow* window() const { return GTK_WINDOW(window_); }
    GtkHeaderBar* headerBar() const { return GTK_HEADER_BAR(headerBar_); }
    // An empty vertical box under the header, for the menu bar.
    GtkBox* menuBarArea() const { return GTK_BOX(menuBarArea_); }
    void setContent(GtkWidget* content);
    // A widget over the whole content (tabs and page), sized with it.
    void addOverlay(GtkWidget* widget);
    GtkWidget* contentArea() const { return contentArea_; }

    // The title of the window as the task list and window switcher show it,
    // and of the header bar unless `middle` is shown there instead.
    void setTitle(const std::string& title);
    std::string title() const;
    void setMiddleWidget(GtkWidget* middle);
    void showMiddleWidget(bool shown);

    bool titlebarVisibilityHidden() const { return hidden_; }
    void updateWindowButtons();
    void resetButtons();
    void showButtons();
    void hideButtons();
    bool buttonsShown() const { return buttonsShown_; }
    GtkWidget* buttonWrapperView() const { return buttonWrapper_; }

    // Window transparency, 0 to 1; kept until the window is realized, when
    // the window manager can first be told.
    void setAlpha(double alpha);

    void setBackgroundColor(const KTColor& color);
    const KTColor& backgroundColor() const { return background_; }
    // "{{x, y}, {w, h}}" form of the window's frame and its inverse: the
    // window as the user sees it, title bar included, without the invisible
    // resize border. A frame is fitted into the screen's work area: never
    // larger, never off it.
    KTRect frame() const;
    void setFrame(const KTRect& frame);
    void center();

private:
    void applyCss();
    void applyAlpha();
    int titlebarHeight() const;
    void showTitleChild();

    GtkWidget* window_ = nullptr;
    GtkWidget* headerBar_ = nullptr;
    GtkWidget* titleStack_ = nullptr;
    GtkWidget* titleLabel_ = nullptr;
    GtkWidget* middle_ = nullptr;
    bool middleShown_ = false;
    GtkWidget* menuBarArea_ = nullptr;
    GtkWidget* contentArea_ = nullptr;
    GtkWidget* contentOverlay_ = nullptr;
    GtkWidget* buttonWrapper_ = nullptr;
    GtkWidget* hoverArea_ = nullptr;
    GtkCssProvider* css_ = nullptr;
    std::string cssClass_;
    KTColor background_ = KTColor::windowBackgroundColor();
    std::optional<double> alpha_;
    bool hidden_ = false;
    bool buttonsShown_ = false;
    KTObservation titlebarObservation_;
    KTSignal realizeSignal_;
};

} // namespace quilt
