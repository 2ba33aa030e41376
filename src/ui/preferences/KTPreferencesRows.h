#pragma once

#include "core/config/KTEnterpriseLocks.h"

#include <gtk/gtk.h>

#include <functional>
#include <string>
#include <vector>

namespace quilt {

// Builds a pane's page the way GNOME's preferences windows look: titled
// groups of rows, each row a title, an optional subtitle and a control at
// its end. Every row names its setting by its stored key; that key is the
// control's widget name (tests and tools find controls by it), and a key the
// enterprise configuration imposes makes the row locked: the control shown
// insensitive, with KTEnterpriseLocks::kReason under the title.
//
// The callbacks run when the person changes a control, never for the value
// set while building.
class KTPreferencesRows {
public:
    explicit KTPreferencesRows(KTEnterpriseLocks locks = KTEnterpriseLocks::current());
    ~KTPreferencesRows();
    KTPreferencesRows(const KTPreferencesRows&) = delete;
    KTPreferencesRows& operator=(const KTPreferencesRows&) = delete;

    // The scrolled page (the pane's widget); the rows hold a reference.
    GtkWidget* page() const { return page_; }
    const KTEnterpriseLocks& locks() const { return locks_; }

    // Starts a new group; the rows that follow go into it.
    void group(const std::string& title);
    // A row around any control. Returns the row.
    GtkWidget* row(const std::string& key, const std::string& title, const std::string& subtitle, GtkWidget* control);

    GtkWidget* addSwitch(const std::string& key, const std::string& title, const std::string& subtitle, bool on,
                         std::function<void(bool)> changed);
    GtkWidget* addChoice(const std::string& key, const std::string& title, const std::string& subtitle,
                         const std::vector<std::string>& choices, int active, std::function<void(int)> changed);
    // Committed on Enter and when the entry loses the focus, if changed.
    GtkWidget* addEntry(const std::string& key, const std::string& title, const std::string& subtitle,
                        const std::string& text, std::function<void(const std::string&)> changed);
    GtkWidget* addSpin(const std::string& key, const std::string& title, const std::string& subtitle, double min,
                       double max, double step, double value, std::function<void(double)> changed);
    // A line of text (About): selectable, not a setting.
    GtkWidget* addInfo(const std::string& key, const std::string& title, const std::string& text);

    // The control of a row made here, by its key; null when none.
    GtkWidget* control(const std::string& key) const;

private:
    GtkWidget* page_ = nullptr;
    GtkWidget* groups_ = nullptr;
    GtkWidget* list_ = nullptr;
    KTEnterpriseLocks locks_;
};

} // namespace quilt
