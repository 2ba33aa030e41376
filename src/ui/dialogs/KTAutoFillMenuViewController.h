#pragma once

#include "core/config/KTSignal.h"

#include <gtk/gtk.h>

#include <functional>
#include <string>
#include <vector>

namespace quilt {

// The small menu of saved logins under a page's login field: one popup
// window for the process, one 44-pixel row per user name, at least 160
// wide and at most 480 high (scrolling past that), with rounded corners.
// It never takes the keyboard: the page's field keeps typing, and the keys
// that move through the menu come from the page.
class KTAutoFillMenuViewController {
public:
    static constexpr int kMinWidth = 160;
    static constexpr int kMaxHeight = 480;
    static constexpr int kRowHeight = 44;
    static constexpr int kTextPadding = 44;
    static constexpr int kFontSize = 13;

    static KTAutoFillMenuViewController& shared();

    // Shows (or moves and refills) the menu at (x, y) on the screen.
    void show(GtkWindow* parent, int x, int y, const std::vector<std::string>& users,
              std::function<void(size_t row)> chosen);
    void hide();
    bool isVisible() const { return window_ && gtk_widget_get_visible(window_); }

    void setItems(const std::vector<std::string>& users);
    void selectDown();
    void selectUp();
    // Chooses the selected row; nothing without a selection.
    void selectMenu();
    int selectedRow() const;
    const std::vector<std::string>& items() const { return items_; }
    GtkWidget* window() const { return window_; }

    // Width and height for the current rows.
    void getSize(int& width, int& height) const;
    int widthOfString(const std::string& text) const;

private:
    KTAutoFillMenuViewController() = default;
    void build();
    void select(int row);

    GtkWidget* window_ = nullptr;
    GtkWidget* scroller_ = nullptr;
    GtkWidget* list_ = nullptr;
    std::vector<std::string> items_;
    std::function<void(size_t)> chosen_;
    KTSignal parentUnmapped_;
};

} // namespace quilt
