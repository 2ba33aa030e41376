#pragma once

#include "core/config/KTNotificationCenter.h"

#include <gtk/gtk.h>

#include <memory>
#include <string>
#include <vector>

namespace quilt {

class KTDownloadOperation;

// The downloads list of a main window: a header-bar button, shown once the
// process has downloads, opening a popover with one row per download (file
// name, progress, byte count, "Canceled" / "Downloaded", cancel and
// show-in-folder buttons). A click on a finished row opens the file.
class KTDownloadsView {
public:
    KTDownloadsView();
    ~KTDownloadsView();
    KTDownloadsView(const KTDownloadsView&) = delete;
    KTDownloadsView& operator=(const KTDownloadsView&) = delete;

    // The toolbar item holding the button (the item follows the toolbar,
    // the button inside it the downloads).
    GtkWidget* toolbarItem() const { return item_; }
    GtkWidget* button() const { return button_; }
    GtkWidget* popover() const { return popover_; }

    // Rebuilds the rows from the queue ("downloadAdd").
    void newDownload();
    void showList();

    // One row of the list.
    class Cell;
    size_t rowCount() const { return cells_.size(); }
    Cell* cellAt(size_t index) const { return index < cells_.size() ? cells_[index].get() : nullptr; }

    // The folder holding the file, with the file selected where the file
    // manager offers that (org.freedesktop.FileManager1), otherwise the
    // folder opened by its default application.
    static void showInFolder(const std::string& path);
    static void openFile(const std::string& path);

private:
    void onRowActivated(GtkListBoxRow* row);

    GtkWidget* item_ = nullptr;
    GtkWidget* button_ = nullptr;
    GtkWidget* popover_ = nullptr;
    GtkWidget* list_ = nullptr;
    GtkWidget* empty_ = nullptr;
    std::vector<std::unique_ptr<Cell>> cells_;
    KTObservation observation_;
};

class KTDownloadsView::Cell {
public:
    explicit Cell(std::shared_ptr<KTDownloadOperation> operation);
    ~Cell();
    Cell(const Cell&) = delete;
    Cell& operator=(const Cell&) = delete;

    GtkWidget* row() const { return row_; }
    const std::shared_ptr<KTDownloadOperation>& operation() const { return operation_; }

    // The row's look for the operation's state.
    void update();
    // The buttons of the row, as a click would.
    void cancelDownload();
    void showButtonClick();

    GtkWidget* nameLabel() const { return name_; }
    GtkWidget* progressBar() const { return progress_; }
    GtkWidget* statusLabel() const { return status_; }
    GtkWidget* bytesLabel() const { return bytes_; }
    GtkWidget* cancelButton() const { return cancel_; }
    GtkWidget* showInFolderButton() const { return show_; }

private:
    std::shared_ptr<KTDownloadOperation> operation_;
    size_t observer_ = 0;
    GtkWidget* row_ = nullptr;
    GtkWidget* name_ = nullptr;
    GtkWidget* progress_ = nullptr;
    GtkWidget* status_ = nullptr;
    GtkWidget* bytes_ = nullptr;
    GtkWidget* cancel_ = nullptr;
    GtkWidget* show_ = nullptr;
};

} // namespace quilt
