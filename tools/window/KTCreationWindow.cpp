#include "KTCreationWindow.h"

#include "KTCreateFailure.h"
#include "KTIconMaker.h"
#include "KTProbedSite.h"
#include "KTSiteAddress.h"
#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"

#include <gtk/gtk.h>

#include <algorithm>

namespace quilt {

namespace {

constexpr const char* kResource = "/org/quilt/Create/creation-window.ui";

std::string entryText(GtkEntry* entry) { return gtk_entry_get_text(entry); }

std::string fileName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::string lastLine(std::string text)
{
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text.substr(text.rfind('\n') == std::string::npos ? 0 : text.rfind('\n') + 1);
}

// What a replace question answers for.
struct PendingReplace {
    std::vector<std::string> argv;
    bool named;
    std::string name;
};

} // namespace

KTCreationWindow::KTCreationWindow(GtkApplication* application)
    : ui_(kResource)
    , window_(ui_.get<GtkWindow>("window"))
    , address_(ui_.get<GtkEntry>("address"))
    , name_(ui_.get<GtkEntry>("name"))
    , createButton_(ui_.get("create"))
    , progress_(ui_.get<GtkProgressBar>("progress"))
    , status_(ui_.get<GtkLabel>("status"))
{
    g_object_add_weak_pointer(G_OBJECT(window_), reinterpret_cast<gpointer*>(&window_));
    if (application)
        gtk_window_set_application(window_, application);
    gtk_window_set_default(window_, createButton_);
    apps_ = std::make_unique<KTMadeAppList>(ui_, window_,
                                            [this](const std::string& text, bool error) { setStatus(text, error); });

    addressChanged_ = KTSignal(address_, "changed", G_CALLBACK(+[](GtkEntry*, KTCreationWindow* self) {
        self->addressChanged();
    }), this);
    addressFocusOut_ = KTSignal(address_, "focus-out-event", G_CALLBACK(+[](GtkWidget*, GdkEvent*, KTCreationWindow* self) {
        self->probe();
        return FALSE;
    }), this);
    nameChanged_ = KTSignal(name_, "changed", G_CALLBACK(+[](GtkEntry* entry, KTCreationWindow* self) {
        // Emptied again, the name is the site's to fill in once more.
        if (!self->filling_)
            self->nameEdited_ = gtk_entry_get_text_length(entry) > 0;
        if (self->letterShown_)
            self->showLetterIcon();
    }), this);
    chooseClicked_ = KTSignal(ui_.get("choose_icon"), "clicked", G_CALLBACK(+[](GtkButton*, KTCreationWindow* self) {
        self->chooseIcon();
    }), this);
    createClicked_ = KTSignal(createButton_, "clicked", G_CALLBACK(+[](GtkButton*, KTCreationWindow* self) {
        self->create();
    }), this);
    // Control+W and Control+Q close it, as they do every GNOME window; the
    // program ends with its last window.
    GtkAccelGroup* keys = gtk_accel_group_new();
    for (guint key : {GDK_KEY_w, GDK_KEY_q})
        gtk_accel_group_connect(keys, key, GDK_CONTROL_MASK, GtkAccelFlags(0),
                                g_cclosure_new(G_CALLBACK(+[](GtkAccelGroup*, GObject* window, guint, GdkModifierType) {
                                    gtk_window_close(GTK_WINDOW(window));
                                    return gboolean(TRUE);
                                }), nullptr, nullptr));
    gtk_window_add_accel_group(window_, keys);
    g_object_unref(keys);
    gtk_widget_grab_focus(GTK_WIDGET(address_));
}

KTCreationWindow::~KTCreationWindow()
{
    probe_.stop();
    creation_.stop();
    apps_.reset();
    if (window_) {
        g_object_remove_weak_pointer(G_OBJECT(window_), reinterpret_cast<gpointer*>(&window_));
        gtk_widget_destroy(GTK_WIDGET(window_));
    }
}

void KTCreationWindow::present() { gtk_window_present(window_); }

KTCreationRequest KTCreationWindow::request() const
{
    KTCreationRequest r;
    r.address = entryText(address_);
    r.name = entryText(name_);
    r.iconPath = chosenIcon_ ? *chosenIcon_ : siteIcon_.value_or("");
    // The probe's cache is pruned: an icon read long ago may be gone, and
    // without one the tool reads the site itself.
    if (!chosenIcon_ && !KTFileUtil::exists(r.iconPath))
        r.iconPath.clear();
    r.windowSize = entryText(ui_.get<GtkEntry>("window_size"));
    GtkTextBuffer* allow = ui_.get<GtkTextBuffer>("allow_buffer");
    GtkTextIter start, end;
    gtk_text_buffer_get_bounds(allow, &start, &end);
    char* patterns = gtk_text_buffer_get_text(allow, &start, &end, FALSE);
    r.allowPatterns = patterns;
    g_free(patterns);
    r.menuBarMode = gtk_toggle_button_get_active(ui_.get<GtkToggleButton>("menu_bar_mode"));
    if (char* script = gtk_file_chooser_get_filename(ui_.get<GtkFileChooser>("user_script"))) {
        r.userScript = script;
        g_free(script);
    }
    r.scriptPattern = entryText(ui_.get<GtkEntry>("script_pattern"));
    return r;
}

void KTCreationWindow::addressChanged()
{
    probeTimer_ = KTSource(g_timeout_add(kProbeDelayMs, [](gpointer data) -> gboolean {
        auto* self = static_cast<KTCreationWindow*>(data);
        self->probeTimer_.forget();
        self->probe();
        return G_SOURCE_REMOVE;
    }, this));
}

void KTCreationWindow::probe()
{
    probeTimer_.reset();
    const std::string url = KTCreationRequest::normaliseAddress(entryText(address_));
    if (url.empty() || url == probedUrl_)
        return;
    probedUrl_ = url;
    probe_.start(KTToolProcess::probeCommand(url),
                 [this, url](const KTToolProcess::Result& r) { probed(url, r); });
}

void KTCreationWindow::probed(const std::string& url, const KTToolProcess::Result& result)
{
    // An answer about an address no longer in the field is no use.
    if (url != KTCreationRequest::normaliseAddress(entryText(address_)))
        return;
    // A tool without the probe, or an address it refuses: nothing to fill
    // in; Create will say what is wrong with the address.
    auto site = result.exitCode == 0 ? KTProbedSite::parse(result.out) : std::nullopt;
    if (site)
        fillIn(*site);
}

void KTCreationWindow::fillIn(const KTProbedSite& site)
{
    if (!nameEdited_ && !site.name.empty()) {
        filling_ = true;
        gtk_entry_set_text(name_, site.name.c_str());
        filling_ = false;
    }
    // An icon that does not load would make the tool refuse the whole app.
    siteIcon_ = site.iconFile;
    if (siteIcon_ && !gdk_pixbuf_get_file_info(siteIcon_->c_str(), nullptr, nullptr))
        siteIcon_.reset();
    if (!chosenIcon_ && siteIcon_)
        showIcon(siteIcon_, "the site's icon");
    else if (!chosenIcon_)
        showLetterIcon();
    std::string warnings;
    for (const auto& w : site.warnings)
        warnings += (warnings.empty() ? "" : "\n") + w;
    if (!creation_.running())
        setStatus(warnings, false);
}

void KTCreationWindow::showIcon(const std::optional<std::string>& path, const std::string& note)
{
    GtkImage* preview = ui_.get<GtkImage>("icon_preview");
    GdkPixbuf* pixbuf = path ? gdk_pixbuf_new_from_file_at_scale(path->c_str(), 48, 48, TRUE, nullptr) : nullptr;
    if (pixbuf) {
        gtk_image_set_from_pixbuf(preview, pixbuf);
        g_object_unref(pixbuf);
    } else {
        gtk_image_set_from_icon_name(preview, "applications-internet", GTK_ICON_SIZE_DIALOG);
        gtk_image_set_pixel_size(preview, 48);
    }
    gtk_label_set_text(ui_.get<GtkLabel>("icon_note"), note.c_str());
    letterShown_ = false;
}

// What the tool draws without an icon: the name's initial (the host's when
// there is no name) on the site's own colour.
void KTCreationWindow::showLetterIcon()
{
    auto site = KTSiteAddress::parse(KTCreationRequest::normaliseAddress(entryText(address_)));
    const std::string name = entryText(name_);
    auto letter = site ? KTIconMaker::generate(KTIconMaker::initialOf(name.empty() ? site->displayDomain() : name),
                                               site->registrableDomain(), 48)
                       : GRef<GdkPixbuf>();
    if (!letter)
        return showIcon(std::nullopt, "a letter icon: the site offers none that loads");
    gtk_image_set_from_pixbuf(ui_.get<GtkImage>("icon_preview"), letter.get());
    gtk_label_set_text(ui_.get<GtkLabel>("icon_note"), "a letter icon: the site offers none that loads");
    letterShown_ = true;
}

void KTCreationWindow::chooseIcon()
{
    GtkWidget* dialog = gtk_file_chooser_dialog_new("Choose an Icon", window_, GTK_FILE_CHOOSER_ACTION_OPEN,
                                                    "_Cancel", GTK_RESPONSE_CANCEL, "_Choose", GTK_RESPONSE_ACCEPT,
                                                    nullptr);
    gtk_window_set_destroy_with_parent(GTK_WINDOW(dialog), TRUE);
    gtk_window_set_modal(GTK_WINDOW(dialog), TRUE);
    GtkFileFilter* images = gtk_file_filter_new();
    gtk_file_filter_set_name(images, "Images");
    gtk_file_filter_add_pixbuf_formats(images);
    gtk_file_chooser_add_filter(GTK_FILE_CHOOSER(dialog), images);
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_ACCEPT);
    g_signal_connect(dialog, "response", G_CALLBACK(+[](GtkDialog* d, int response, KTCreationWindow* self) {
        char* file = response == GTK_RESPONSE_ACCEPT ? gtk_file_chooser_get_filename(GTK_FILE_CHOOSER(d)) : nullptr;
        gtk_widget_destroy(GTK_WIDGET(d));
        if (!file)
            return;
        self->chosenIcon_ = std::string(file);
        g_free(file);
        self->showIcon(self->chosenIcon_, fileName(*self->chosenIcon_));
    }), this);
    gtk_widget_show(dialog);
}

void KTCreationWindow::create()
{
    if (creation_.running())
        return;
    probeTimer_.reset();
    const KTCreationRequest r = request();
    if (KTCreationRequest::normaliseAddress(r.address).empty()) {
        setStatus("Type the site's address first.", true);
        gtk_widget_grab_focus(GTK_WIDGET(address_));
        return;
    }
    std::vector<std::string> argv = r.arguments();
    argv.insert(argv.begin(), KTToolProcess::createTool());
    const bool named = std::find(argv.begin(), argv.end(), "--name") != argv.end();
    run(argv, named ? r.name : KTCreationRequest::normaliseAddress(r.address), named, false);
}

void KTCreationWindow::run(const std::vector<std::string>& argv, const std::string& name, bool named, bool replacing)
{
    setBusy(true);
    setStatus((replacing ? "Replacing “" : "Making “") + name + "”…", false);
    creation_.start(argv, [=, this](const KTToolProcess::Result& result) {
        created(argv, name, named, replacing, result);
    });
}

void KTCreationWindow::created(const std::vector<std::string>& argv, const std::string& name, bool named,
                               bool replacing, const KTToolProcess::Result& result)
{
    setBusy(false);
    // The tool's last line is the bundle's path: the one made, or the one
    // already there under that name.
    const std::string bundle = lastLine(result.out);
    if (result.exitCode == KTCreateFailure::kNameTaken && !bundle.empty()) {
        askReplace(argv, named, bundle);
        return;
    }
    if (result.exitCode != 0) {
        setStatus(result.errorLine(), true);
        return;
    }
    apps_->refresh(bundle);
    const KTInstalledApp* made = apps_->selected();
    const std::string shown = made ? made->name : name;
    setStatus(replacing ? "Replaced “" + shown + "”; its data is kept."
                        : "Made “" + shown + "”: it is in your application menu.",
              false);
}

void KTCreationWindow::askReplace(const std::vector<std::string>& argv, bool named, const std::string& bundle)
{
    // The list shows which app it is (it may have been made elsewhere).
    apps_->refresh(bundle);
    // The bundle's folder is named after the app, so this is the name that
    // replaces it, whatever the site calls itself on a second reading.
    const std::string name = KTBundle(bundle).folderName();
    setStatus("", false);
    GtkWidget* dialog = gtk_message_dialog_new(window_, GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT),
                                               GTK_MESSAGE_QUESTION, GTK_BUTTONS_NONE,
                                               "An app named “%s” already exists", name.c_str());
    gtk_message_dialog_format_secondary_text(
        GTK_MESSAGE_DIALOG(dialog),
        "Replacing it makes it anew with this address, icon and options. Its data stays: logins, cookies, "
        "history and any settings changed since it was made.");
    gtk_dialog_add_button(GTK_DIALOG(dialog), "_Cancel", GTK_RESPONSE_CANCEL);
    GtkWidget* replace = gtk_dialog_add_button(GTK_DIALOG(dialog), "_Replace", GTK_RESPONSE_ACCEPT);
    gtk_style_context_add_class(gtk_widget_get_style_context(replace), "destructive-action");
    // As GTK's own "already exists" question does: Enter replaces (nothing
    // is lost, the data stays), Escape cancels.
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_ACCEPT);
    g_object_set_data_full(G_OBJECT(dialog), "quilt-replace", new PendingReplace {argv, named, name},
                           [](gpointer p) { delete static_cast<PendingReplace*>(p); });
    // The dialog dies with the window (DESTROY_WITH_PARENT), so `this`
    // outlives it.
    g_signal_connect(dialog, "response", G_CALLBACK(+[](GtkDialog* d, int response, KTCreationWindow* self) {
        PendingReplace pending = *static_cast<PendingReplace*>(g_object_get_data(G_OBJECT(d), "quilt-replace"));
        gtk_widget_destroy(GTK_WIDGET(d));
        if (response != GTK_RESPONSE_ACCEPT) {
            self->setStatus("“" + pending.name + "” is left as it was: give the new app another name to keep both.",
                            false);
            gtk_widget_grab_focus(GTK_WIDGET(self->name_));
            return;
        }
        pending.argv.push_back("--force");
        if (!pending.named) {
            pending.argv.push_back("--name");
            pending.argv.push_back(pending.name);
        }
        self->run(pending.argv, pending.name, true, true);
    }), this);
    gtk_widget_show(dialog);
}

void KTCreationWindow::setBusy(bool busy)
{
    gtk_widget_set_sensitive(ui_.get("form"), !busy);
    gtk_widget_set_sensitive(createButton_, !busy);
    gtk_widget_set_visible(GTK_WIDGET(progress_), busy);
    if (!busy) {
        pulse_.reset();
        return;
    }
    gtk_progress_bar_set_fraction(progress_, 0);
    pulse_ = KTSource(g_timeout_add(100, [](gpointer bar) -> gboolean {
        gtk_progress_bar_pulse(GTK_PROGRESS_BAR(bar));
        return G_SOURCE_CONTINUE;
    }, progress_));
}

void KTCreationWindow::setStatus(const std::string& text, bool error)
{
    if (error) {
        char* markup = g_markup_printf_escaped("<b>%s</b>", text.c_str());
        gtk_label_set_markup(status_, markup);
        g_free(markup);
    } else {
        gtk_label_set_text(status_, text.c_str());
    }
}

} // namespace quilt
