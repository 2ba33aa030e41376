#pragma once

#include "KTAppRegistry.h"
#include "KTToolProcess.h"
#include "core/config/KTSignal.h"

#include <functional>
#include <string>
#include <vector>

typedef struct _GtkListBox GtkListBox;
typedef struct _GtkWidget GtkWidget;
typedef struct _GtkWindow GtkWindow;

namespace quilt {

class KTBuilder;

// The creation window's list of made apps, with Open and Remove. Removal
// asks first (keeping or deleting the app's data) and runs
// `quilt-create --remove`, so the window removes exactly as the tool does.
class KTMadeAppList {
public:
    // `status` shows a line under the form (error: shown as one).
    using Status = std::function<void(const std::string& text, bool error)>;

    KTMadeAppList(const KTBuilder& ui, GtkWindow* window, Status status);

    // Reads the apps afresh; selects the one at `bundlePath` when given,
    // else keeps the selection.
    void refresh(const std::string& bundlePath = "");
    const std::vector<KTInstalledApp>& apps() const { return apps_; }
    const KTInstalledApp* selected() const;

    // The dialog's answers, by their response ids.
    enum RemoveChoice { KeepData = 1, DeleteData = 2 };

private:
    void refreshIfChanged();
    void updateButtons();
    void open();
    void askRemove();
    void remove(const KTInstalledApp& app, bool purge);
    GtkWidget* rowFor(const KTInstalledApp& app) const;

    GtkWindow* window_;
    GtkListBox* list_;
    GtkWidget* openButton_;
    GtkWidget* removeButton_;
    Status status_;
    std::vector<KTInstalledApp> apps_;
    KTToolProcess removal_;
    KTSignal selectedSignal_, activatedSignal_, openSignal_, removeSignal_, mnemonicSignal_, activeSignal_;
};

} // namespace quilt
