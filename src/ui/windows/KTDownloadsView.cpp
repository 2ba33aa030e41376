#include "ui/windows/KTDownloadsView.h"

#include "core/config/KTFileUtil.h"
#include "core/config/KTLog.h"
#include "core/config/KTNotificationNames.h"
#include "web/KTWebKitDownload.h"
#include "web/KTWebManager.h"

namespace quilt {

namespace {

void launchDefault(const std::string& uri)
{
    auto* copy = new std::string(uri);
    g_app_info_launch_default_for_uri_async(uri.c_str(), nullptr, nullptr,
                                            [](GObject*, GAsyncResult* result, gpointer data) {
                                                std::unique_ptr<std::string> u(static_cast<std::string*>(data));
                                                GError* error = nullptr;
                                                if (!g_app_info_launch_default_for_uri_finish(result, &error)) {
                                                    KTLog::line("error: cannot open " + *u + ": " + error->message);
                                                    g_clear_error(&error);
                                                }
                                            },
                                            copy);
}

std::string fileUri(const std::string& path)
{
    char* uri = g_filename_to_uri(path.c_str(), nullptr, nullptr);
    std::string out = uri ? uri : "";
    g_free(uri);
    return out;
}

} // namespace

// ---- the list ----

KTDownloadsView::KTDownloadsView()
{
    item_ = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    button_ = gtk_menu_button_new();
    gtk_button_set_image(GTK_BUTTON(button_),
                         gtk_image_new_from_icon_name("folder-download-symbolic", GTK_ICON_SIZE_BUTTON));
    gtk_widget_set_tooltip_text(button_, "Downloads");
    gtk_widget_set_focus_on_click(button_, FALSE);
    // Hidden until there is something to list, whatever the toolbar does.
    gtk_widget_set_no_show_all(button_, TRUE);
    gtk_container_add(GTK_CONTAINER(item_), button_);

    popover_ = gtk_popover_new(button_);
    gtk_menu_button_set_popover(GTK_MENU_BUTTON(button_), popover_);
    GtkWidget* scroller = gtk_scrolled_window_new(nullptr, nullptr);
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
    gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(scroller), TRUE);
    gtk_scrolled_window_set_max_content_height(GTK_SCROLLED_WINDOW(scroller), 420);
    gtk_widget_set_size_request(scroller, 360, -1);
    list_ = gtk_list_box_new();
    // Rows are never selected; a click on a finished one opens its file.
    gtk_list_box_set_selection_mode(GTK_LIST_BOX(list_), GTK_SELECTION_NONE);
    empty_ = gtk_label_new("No downloads");
    gtk_widget_set_margin_top(empty_, 12);
    gtk_widget_set_margin_bottom(empty_, 12);
    gtk_widget_show(empty_);
    gtk_list_box_set_placeholder(GTK_LIST_BOX(list_), empty_);
    g_signal_connect(list_, "row-activated", G_CALLBACK(+[](GtkListBox*, GtkListBoxRow* row, KTDownloadsView* self) {
                         self->onRowActivated(row);
                     }),
                     this);
    gtk_container_add(GTK_CONTAINER(scroller), list_);
    gtk_container_add(GTK_CONTAINER(popover_), scroller);
    gtk_widget_show_all(scroller);
    gtk_widget_show(item_);

    observation_ = KTObservation(names::kDownloadAdd, [this](const KTNotification&) { newDownload(); });
    newDownload();
}

KTDownloadsView::~KTDownloadsView()
{
    observation_.reset();
    cells_.clear();
}

void KTDownloadsView::newDownload()
{
    const auto& operations = KTWebManager::sharedManager().downloadQueue().operationsArray();
    // Rows of operations already listed stay; new ones are added in order.
    for (size_t i = cells_.size(); i < operations.size(); ++i) {
        cells_.push_back(std::make_unique<Cell>(operations[i]));
        gtk_container_add(GTK_CONTAINER(list_), cells_.back()->row());
    }
    gtk_widget_set_visible(button_, !cells_.empty());
}

void KTDownloadsView::showList()
{
    if (!cells_.empty() && gtk_widget_get_mapped(button_))
        gtk_popover_popup(GTK_POPOVER(popover_));
}

void KTDownloadsView::onRowActivated(GtkListBoxRow* row)
{
    for (auto& cell : cells_)
        if (cell->row() == GTK_WIDGET(row) && cell->operation()->opensFileWhenSelected()) {
            openFile(cell->operation()->path());
            gtk_popover_popdown(GTK_POPOVER(popover_));
        }
}

void KTDownloadsView::openFile(const std::string& path) { launchDefault(fileUri(path)); }

void KTDownloadsView::showInFolder(const std::string& path)
{
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (!bus) {
        launchDefault(fileUri(KTFileUtil::parentFolder(path)));
        return;
    }
    const char* uris[] = {nullptr, nullptr};
    std::string uri = fileUri(path);
    uris[0] = uri.c_str();
    auto* folder = new std::string(KTFileUtil::parentFolder(path));
    g_dbus_connection_call(bus, "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
                           "org.freedesktop.FileManager1", "ShowItems", g_variant_new("(^ass)", uris, ""), nullptr,
                           G_DBUS_CALL_FLAGS_NONE, 5000, nullptr,
                           [](GObject* source, GAsyncResult* result, gpointer data) {
                               std::unique_ptr<std::string> dir(static_cast<std::string*>(data));
                               GError* error = nullptr;
                               GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
                               if (reply) {
                                   g_variant_unref(reply);
                                   return;
                               }
                               // No file manager on the bus: the folder itself.
                               g_clear_error(&error);
                               launchDefault(fileUri(*dir));
                           },
                           folder);
    g_object_unref(bus);
}

// ---- one row ----

KTDownloadsView::Cell::Cell(std::shared_ptr<KTDownloadOperation> operation)
    : operation_(std::move(operation))
{
    row_ = gtk_list_box_row_new();
    g_object_ref_sink(row_);
    GtkWidget* grid = gtk_grid_new();
    gtk_grid_set_column_spacing(GTK_GRID(grid), 8);
    gtk_grid_set_row_spacing(GTK_GRID(grid), 4);
    gtk_widget_set_margin_start(grid, 10);
    gtk_widget_set_margin_end(grid, 6);
    gtk_widget_set_margin_top(grid, 8);
    gtk_widget_set_margin_bottom(grid, 8);

    name_ = gtk_label_new(operation_->displayName().c_str());
    gtk_label_set_xalign(GTK_LABEL(name_), 0.0f);
    gtk_label_set_ellipsize(GTK_LABEL(name_), PANGO_ELLIPSIZE_MIDDLE);
    gtk_widget_set_hexpand(name_, TRUE);
    gtk_widget_set_tooltip_text(name_, operation_->path().c_str());
    PangoAttrList* bold = pango_attr_list_new();
    pango_attr_list_insert(bold, pango_attr_weight_new(PANGO_WEIGHT_BOLD));
    gtk_label_set_attributes(GTK_LABEL(name_), bold);
    pango_attr_list_unref(bold);

    progress_ = gtk_progress_bar_new();
    gtk_widget_set_valign(progress_, GTK_ALIGN_CENTER);
    status_ = gtk_label_new("");
    bytes_ = gtk_label_new("");
    for (GtkWidget* l : {status_, bytes_}) {
        gtk_label_set_xalign(GTK_LABEL(l), 0.0f);
        gtk_style_context_add_class(gtk_widget_get_style_context(l), "dim-label");
    }
    GtkWidget* line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
    gtk_box_pack_start(GTK_BOX(line), status_, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(line), bytes_, FALSE, FALSE, 0);

    cancel_ = gtk_button_new_from_icon_name("process-stop-symbolic", GTK_ICON_SIZE_BUTTON);
    gtk_widget_set_tooltip_text(cancel_, "Cancel");
    show_ = gtk_button_new_from_icon_name("folder-open-symbolic", GTK_ICON_SIZE_BUTTON);
    gtk_widget_set_tooltip_text(show_, "Show in Folder");
    for (GtkWidget* b : {cancel_, show_}) {
        gtk_button_set_relief(GTK_BUTTON(b), GTK_RELIEF_NONE);
        gtk_widget_set_valign(b, GTK_ALIGN_CENTER);
    }
    g_signal_connect(cancel_, "clicked", G_CALLBACK(+[](GtkButton*, Cell* c) { c->cancelDownload(); }), this);
    g_signal_connect(show_, "clicked", G_CALLBACK(+[](GtkButton*, Cell* c) { c->showButtonClick(); }), this);
    GtkWidget* buttons = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_box_pack_start(GTK_BOX(buttons), cancel_, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(buttons), show_, FALSE, FALSE, 0);

    gtk_grid_attach(GTK_GRID(grid), name_, 0, 0, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), progress_, 0, 1, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), line, 0, 2, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), buttons, 1, 0, 1, 3);
    gtk_container_add(GTK_CONTAINER(row_), grid);
    gtk_widget_show_all(row_);
    for (GtkWidget* w : {progress_, status_, bytes_, cancel_, show_})
        gtk_widget_set_no_show_all(w, TRUE);

    if (auto* webkit = dynamic_cast<KTWebKitDownload*>(operation_.get()))
        observer_ = webkit->addObserver([this] { update(); });
    update();
}

KTDownloadsView::Cell::~Cell()
{
    if (auto* webkit = dynamic_cast<KTWebKitDownload*>(operation_.get()))
        webkit->removeObserver(observer_);
    gtk_widget_destroy(row_);
    g_object_unref(row_);
}

void KTDownloadsView::Cell::update()
{
    const KTDownloadOperation::RowState s = operation_->rowState();
    gtk_widget_set_visible(progress_, s.progressShown);
    if (s.progress < 0)
        gtk_progress_bar_pulse(GTK_PROGRESS_BAR(progress_)); // length unknown
    else
        gtk_progress_bar_set_fraction(GTK_PROGRESS_BAR(progress_), std::min(s.progress, 100.0) / 100.0);
    gtk_label_set_text(GTK_LABEL(status_), s.statusText.c_str());
    gtk_widget_set_visible(status_, s.statusShown);
    gtk_label_set_text(GTK_LABEL(bytes_), s.byteCountText.c_str());
    gtk_widget_set_visible(bytes_, s.byteCountShown);
    gtk_widget_set_visible(cancel_, s.cancelShown);
    gtk_widget_set_visible(show_, s.showInFolderShown);
    // Only a finished row reacts to a click (it opens the file).
    gtk_list_box_row_set_activatable(GTK_LIST_BOX_ROW(row_), operation_->opensFileWhenSelected());
}

void KTDownloadsView::Cell::cancelDownload()
{
    if (auto* webkit = dynamic_cast<KTWebKitDownload*>(operation_.get()))
        webkit->cancel();
    else
        operation_->cancelDownload();
    update();
}

void KTDownloadsView::Cell::showButtonClick() { showInFolder(operation_->path()); }

} // namespace quilt
