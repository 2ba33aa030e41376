#pragma once

#include "core/config/KTSignal.h"

#include <gtk/gtk.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quilt {

// The address field of a window's toolbar, with two faces. Not editing: a
// centred summary, a lock when the page has only secure content and the
// host in grey. Editing (it has the keyboard focus): the whole URL, all of
// it selected on entering. A button at its right end stops a loading page
// or reloads it, by posting "stop" or "reload".
class KTURLBarField {
public:
    KTURLBarField();
    ~KTURLBarField();
    KTURLBarField(const KTURLBarField&) = delete;
    KTURLBarField& operator=(const KTURLBarField&) = delete;

    GtkWidget* widget() const { return overlay_; }
    GtkEntry* entry() const { return GTK_ENTRY(entry_); }
    GtkWidget* loadStatusButton() const { return loadStatusButton_; }

    // Return with the typed text, Escape; both leave editing afterwards.
    std::function<void(const std::string&)> onReturn;
    std::function<void()> onEscape;

    void setURLString(const std::string& url);
    void setSecure(bool secure);
    void setEditing(bool editing);
    void setLoadingState(bool loading);
    void update();
    void updateSummeryView();
    void loadAction();

    const std::string& urlString() const { return urlString_; }
    bool isEditing() const { return isEditing_; }
    bool isSecure() const { return isSecure_; }
    bool isLoading() const { return isLoading_; }
    std::string hostText() const;
    bool summaryShown() const { return gtk_widget_get_visible(summary_); }
    bool lockShown() const { return gtk_widget_get_visible(lock_); }

private:
    void setText(const std::string& text);

    GtkWidget* overlay_ = nullptr;
    GtkWidget* entry_ = nullptr;
    GtkWidget* summary_ = nullptr;
    GtkWidget* lock_ = nullptr;
    GtkWidget* hostLabel_ = nullptr;
    GtkWidget* loadStatusButton_ = nullptr;
    std::string urlString_;
    // What the field last showed of urlString_: typing makes them differ.
    std::optional<std::string> shownText_;
    bool isEditing_ = false;
    bool isSecure_ = false;
    bool isLoading_ = false;
    std::vector<KTSignal> signals_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace quilt
