#pragma once

#include "core/web/KTFindState.h"

#include <gtk/gtk.h>

#include <memory>

namespace quilt {

class KTWebView;

// Find in page: a 30-pixel bar above the page with the search field, the
// result ("Not Found", "3 match"), previous and next, and Done. Every
// match is highlighted; Escape or Done closes the bar and the highlights.
class KTFindBar {
public:
    explicit KTFindBar(KTWebView& page);
    ~KTFindBar();
    KTFindBar(const KTFindBar&) = delete;
    KTFindBar& operator=(const KTFindBar&) = delete;

    GtkWidget* widget() const { return bar_; }
    GtkWidget* searchField() const { return field_; }
    GtkWidget* resultLabel() const { return result_; }
    GtkWidget* previousButton() const { return previous_; }
    GtkWidget* nextButton() const { return next_; }
    const KTFindState& state() const { return state_; }

    void searchTextAction();
    void searchNextAction();
    void searchPreviousAction();
    void searchDoneAction();

private:
    void show(long scrollTo);

    KTWebView& page_;
    KTFindState state_;
    GtkWidget* bar_ = nullptr;
    GtkWidget* field_ = nullptr;
    GtkWidget* result_ = nullptr;
    GtkWidget* previous_ = nullptr;
    GtkWidget* next_ = nullptr;
    unsigned search_ = 0; // answers of an older text are dropped
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace quilt
