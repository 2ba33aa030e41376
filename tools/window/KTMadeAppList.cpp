#include "KTMadeAppList.h"

#include "KTBuilder.h"
#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"

#include <gio/gdesktopappinfo.h>
#include <gtk/gtk.h>

#include <algorithm>
#include <tuple>

namespace quilt {

namespace {

constexpr const char* kIndexKey = "quilt-app-index";

GtkWidget* iconImage(const std::string& path, int size)
{
    if (!path.empty())
        if (GdkPixbuf* pixbuf = gdk_pixbuf_new_from_file_at_scale(path.c_str(), size, size, TRUE, nullptr)) {
            GtkWidget* image = gtk_image_new_from_pixbuf(pixbuf);
            g_object_unref(pixbuf);
            return image;
        }
    GtkWidget* image = gtk_image_new_from_icon_name("applications-internet", GTK_ICON_SIZE_DND);
    gtk_image_set_pixel_size(GTK_IMAGE(image), size);
    return image;
}

// The name --remove knows the app by: its own, else its folder's.
std::string removalName(const KTInstalledApp& app)
{
    return app.name.empty() ? KTBundle(app.bundlePath).folderName() : app.name;
}

} // namespace

KTMadeAppList::KTMadeAppList(const KTBuilder& ui, GtkWindow* window, Status status)
    : window_(window)
    , list_(ui.get<GtkListBox>("made_apps"))
    , openButton_(ui.get("open_app"))
    , removeButton_(ui.get("remove_app"))
    , status_(std::move(status))
{
    selectedSignal_ = KTSignal(list_, "row-selected", G_CALLBACK(+[](GtkListBox*, GtkListBoxRow*, KTMadeAppList* self) {
        self->updateButtons();
    }), this);
    activatedSignal_ = KTSignal(list_, "row-activated", G_CALLBACK(+[](GtkListBox* list, GtkListBoxRow* row, KTMadeAppList* self) {
        // Enter on a row that has the focus but was never chosen opens it.
        gtk_list_box_select_row(list, row);
        self->open();
    }), this);
    openSignal_ = KTSignal(openButton_, "clicked", G_CALLBACK(+[](GtkButton*, KTMadeAppList* self) {
        self->open();
    }), this);
    removeSignal_ = KTSignal(removeButton_, "clicked", G_CALLBACK(+[](GtkButton*, KTMadeAppList* self) {
        self->askRemove();
    }), this);
    // The list itself takes no focus, its rows do: its underlined label
    // leads to the chosen app, else the first.
    mnemonicSignal_ = KTSignal(list_, "mnemonic-activate", G_CALLBACK(+[](GtkListBox* list, gboolean, KTMadeAppList*) {
        GtkWidget* focus = gtk_window_get_focus(GTK_WINDOW(gtk_widget_get_toplevel(GTK_WIDGET(list))));
        if (focus && gtk_widget_is_ancestor(focus, GTK_WIDGET(list)))
            return gboolean(TRUE); // already there
        GtkListBoxRow* row = gtk_list_box_get_selected_row(list);
        if (!row && (row = gtk_list_box_get_row_at_index(list, 0)))
            gtk_list_box_select_row(list, row);
        // Entered as Tab enters it, so the list's cursor is on that row and
        // Enter opens it.
        if (row)
            gtk_widget_child_focus(GTK_WIDGET(list), GTK_DIR_TAB_FORWARD);
        return gboolean(TRUE);
    }), this);
    // Apps made or removed elsewhere meanwhile (a terminal, a script) show
    // when the window is next used.
    activeSignal_ = KTSignal(window_, "notify::is-active", G_CALLBACK(+[](GtkWindow* w, GParamSpec*, KTMadeAppList* self) {
        if (gtk_window_is_active(w) && !self->removal_.running())
            self->refreshIfChanged();
    }), this);
    refresh();
}

// Rows rebuilt only for a real change, so the chosen row keeps the focus when
// a dialog of this window closes.
void KTMadeAppList::refreshIfChanged()
{
    const auto now = KTAppRegistry::list({KTAppRegistry::defaultAppsFolder()});
    auto same = [](const KTInstalledApp& a, const KTInstalledApp& b) {
        return std::tie(a.bundlePath, a.name, a.url, a.iconPath) == std::tie(b.bundlePath, b.name, b.url, b.iconPath);
    };
    if (!std::equal(now.begin(), now.end(), apps_.begin(), apps_.end(), same))
        refresh();
}

GtkWidget* KTMadeAppList::rowFor(const KTInstalledApp& app) const
{
    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 12);
    g_object_set(box, "margin", 6, nullptr);
    gtk_container_add(GTK_CONTAINER(box), iconImage(app.iconPath, 32));
    GtkWidget* texts = gtk_box_new(GTK_ORIENTATION_VERTICAL, 2);
    GtkWidget* name = gtk_label_new(app.name.c_str());
    PangoAttrList* bold = pango_attr_list_new();
    pango_attr_list_insert(bold, pango_attr_weight_new(PANGO_WEIGHT_BOLD));
    gtk_label_set_attributes(GTK_LABEL(name), bold);
    pango_attr_list_unref(bold);
    GtkWidget* url = gtk_label_new(app.url.c_str());
    gtk_label_set_ellipsize(GTK_LABEL(url), PANGO_ELLIPSIZE_END);
    gtk_style_context_add_class(gtk_widget_get_style_context(url), "dim-label");
    for (GtkWidget* label : {name, url}) {
        gtk_label_set_xalign(GTK_LABEL(label), 0);
        gtk_container_add(GTK_CONTAINER(texts), label);
    }
    gtk_container_add(GTK_CONTAINER(box), texts);
    GtkWidget* row = gtk_list_box_row_new();
    // Enter on a row opens that app rather than pressing Create.
    gtk_widget_set_receives_default(row, TRUE);
    gtk_container_add(GTK_CONTAINER(row), box);
    gtk_widget_show_all(row);
    return row;
}

void KTMadeAppList::refresh(const std::string& bundlePath)
{
    std::string keep = bundlePath;
    if (keep.empty())
        if (const KTInstalledApp* app = selected())
            keep = app->bundlePath;
    GList* children = gtk_container_get_children(GTK_CONTAINER(list_));
    for (GList* c = children; c; c = c->next)
        gtk_widget_destroy(GTK_WIDGET(c->data));
    g_list_free(children);

    apps_ = KTAppRegistry::list({KTAppRegistry::defaultAppsFolder()});
    for (size_t i = 0; i < apps_.size(); ++i) {
        GtkWidget* row = rowFor(apps_[i]);
        g_object_set_data(G_OBJECT(row), kIndexKey, GSIZE_TO_POINTER(i + 1));
        gtk_list_box_insert(list_, row, -1);
        if (!keep.empty() && apps_[i].bundlePath == keep)
            gtk_list_box_select_row(list_, GTK_LIST_BOX_ROW(row));
    }
    updateButtons();
}

const KTInstalledApp* KTMadeAppList::selected() const
{
    GtkListBoxRow* row = gtk_list_box_get_selected_row(list_);
    const size_t index = row ? GPOINTER_TO_SIZE(g_object_get_data(G_OBJECT(row), kIndexKey)) : 0;
    return index >= 1 && index <= apps_.size() ? &apps_[index - 1] : nullptr;
}

void KTMadeAppList::updateButtons()
{
    const bool any = selected() != nullptr;
    gtk_widget_set_sensitive(openButton_, any);
    gtk_widget_set_sensitive(removeButton_, any && !removal_.running());
}

void KTMadeAppList::open()
{
    const KTInstalledApp* app = selected();
    if (!app)
        return;
    GError* error = nullptr;
    bool ok = false;
    // Through its desktop entry, as the application menu starts it.
    if (!app->desktopFile.empty())
        if (GDesktopAppInfo* info = g_desktop_app_info_new_from_filename(app->desktopFile.c_str())) {
            GdkAppLaunchContext* context = gdk_display_get_app_launch_context(gtk_widget_get_display(GTK_WIDGET(window_)));
            ok = g_app_info_launch(G_APP_INFO(info), nullptr, G_APP_LAUNCH_CONTEXT(context), &error);
            g_object_unref(context);
            g_object_unref(info);
        }
    if (!ok && !error) {
        const std::string exe = KTBundle(app->bundlePath).executablePath();
        const char* argv[] = {exe.c_str(), nullptr};
        ok = g_spawn_async(nullptr, const_cast<char**>(argv), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, nullptr,
                           &error);
    }
    if (!ok) {
        status_("Cannot open “" + app->name + "”: " + (error ? error->message : "it has no program"), true);
        g_clear_error(&error);
        return;
    }
    status_("Opening “" + app->name + "”…", false);
}

void KTMadeAppList::askRemove()
{
    const KTInstalledApp* app = selected();
    if (!app || removal_.running())
        return;
    GtkWidget* dialog = gtk_message_dialog_new(window_, GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT),
                                               GTK_MESSAGE_QUESTION, GTK_BUTTONS_NONE, "Remove “%s”?",
                                               app->name.c_str());
    gtk_message_dialog_format_secondary_text(
        GTK_MESSAGE_DIALOG(dialog),
        "Its bundle, menu entry and icon are deleted. Its data (logins, cookies, settings and site storage) "
        "can stay on this computer or be deleted too.");
    gtk_dialog_add_buttons(GTK_DIALOG(dialog), "_Cancel", GTK_RESPONSE_CANCEL, "Remove, _Keep Data", KeepData,
                           "Remove _with Data", DeleteData, nullptr);
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL);
    // The answer goes to the app asked about, even if the list changes.
    auto* asked = new KTInstalledApp(*app);
    g_object_set_data_full(G_OBJECT(dialog), "quilt-app", asked,
                           [](gpointer p) { delete static_cast<KTInstalledApp*>(p); });
    // The dialog dies with the window (DESTROY_WITH_PARENT), so `this`
    // outlives it.
    g_signal_connect(dialog, "response", G_CALLBACK(+[](GtkDialog* d, int response, KTMadeAppList* self) {
        const KTInstalledApp app = *static_cast<KTInstalledApp*>(g_object_get_data(G_OBJECT(d), "quilt-app"));
        gtk_widget_destroy(GTK_WIDGET(d));
        if (response == KeepData || response == DeleteData)
            self->remove(app, response == DeleteData);
    }), this);
    gtk_widget_show(dialog);
}

void KTMadeAppList::remove(const KTInstalledApp& app, bool purge)
{
    std::vector<std::string> argv = {KTToolProcess::createTool(), "--remove", removalName(app), "--dest",
                                     KTFileUtil::parentFolder(app.bundlePath)};
    if (purge)
        argv.push_back("--purge");
    status_("Removing “" + app.name + "”…", false);
    const std::string name = app.name;
    removal_.start(argv, [this, name, purge](const KTToolProcess::Result& r) {
        refresh();
        if (r.exitCode == 0)
            status_(purge ? "Removed “" + name + "” and its data." : "Removed “" + name + "”; its data is kept.",
                    false);
        else
            status_(r.errorLine(), true);
    });
    updateButtons();
}

} // namespace quilt
