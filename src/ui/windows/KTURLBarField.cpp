#include "ui/windows/KTURLBarField.h"

#include "core/config/KTNotificationCenter.h"
#include "core/config/KTNotificationNames.h"
#include "core/web/KTTypedAddress.h"

#include <gdk/gdkkeysyms.h>

namespace quilt {

namespace {
constexpr const char* kPlaceholder = "Search or enter address";
}

KTURLBarField::KTURLBarField()
{
    overlay_ = gtk_overlay_new();
    g_object_ref_sink(overlay_);
    entry_ = gtk_entry_new();
    gtk_entry_set_input_purpose(GTK_ENTRY(entry_), GTK_INPUT_PURPOSE_URL);
    gtk_widget_set_hexpand(entry_, TRUE);
    gtk_widget_set_size_request(entry_, 360, -1);
    gtk_style_context_add_class(gtk_widget_get_style_context(entry_), "quilt-url");
    gtk_container_add(GTK_CONTAINER(overlay_), entry_);

    // The summary lies over the entry and lets every click through to it.
    summary_ = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 4);
    gtk_widget_set_halign(summary_, GTK_ALIGN_CENTER);
    gtk_widget_set_valign(summary_, GTK_ALIGN_CENTER);
    gtk_widget_set_no_show_all(summary_, TRUE);
    lock_ = gtk_image_new_from_icon_name("channel-secure-symbolic", GTK_ICON_SIZE_MENU);
    gtk_widget_set_no_show_all(lock_, TRUE);
    hostLabel_ = gtk_label_new("");
    gtk_label_set_ellipsize(GTK_LABEL(hostLabel_), PANGO_ELLIPSIZE_MIDDLE);
    gtk_style_context_add_class(gtk_widget_get_style_context(hostLabel_), "quilt-url-host");
    gtk_widget_show(hostLabel_);
    gtk_box_pack_start(GTK_BOX(summary_), lock_, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(summary_), hostLabel_, FALSE, FALSE, 0);
    gtk_overlay_add_overlay(GTK_OVERLAY(overlay_), summary_);
    gtk_overlay_set_overlay_pass_through(GTK_OVERLAY(overlay_), summary_, TRUE);

    // The stop/reload button sits over the entry's right end, 6 px in.
    loadStatusButton_ = gtk_button_new_from_icon_name("view-refresh-symbolic", GTK_ICON_SIZE_MENU);
    gtk_button_set_relief(GTK_BUTTON(loadStatusButton_), GTK_RELIEF_NONE);
    gtk_widget_set_focus_on_click(loadStatusButton_, FALSE);
    gtk_widget_set_can_focus(loadStatusButton_, FALSE);
    gtk_widget_set_halign(loadStatusButton_, GTK_ALIGN_END);
    gtk_widget_set_valign(loadStatusButton_, GTK_ALIGN_CENTER);
    gtk_widget_set_margin_end(loadStatusButton_, 6);
    gtk_style_context_add_class(gtk_widget_get_style_context(loadStatusButton_), "quilt-url-load");
    gtk_widget_show(loadStatusButton_);
    gtk_overlay_add_overlay(GTK_OVERLAY(overlay_), loadStatusButton_);
    signals_.emplace_back(loadStatusButton_, "clicked", G_CALLBACK(+[](GtkButton*, KTURLBarField* self) {
                              self->loadAction();
                          }),
                          this);

    GtkCssProvider* css = gtk_css_provider_new();
    gtk_css_provider_load_from_data(css,
                                    "label.quilt-url-host { color: rgba(102, 102, 102, 1); }\n"
                                    "entry.quilt-url { padding-right: 30px; }\n"
                                    "button.quilt-url-load { min-height: 16px; min-width: 16px; padding: 2px; }\n",
                                    -1, nullptr);
    for (GtkWidget* w : {hostLabel_, entry_, loadStatusButton_})
        gtk_style_context_add_provider(gtk_widget_get_style_context(w), GTK_STYLE_PROVIDER(css),
                                       GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
    g_object_unref(css);

    signals_.emplace_back(entry_, "focus-in-event",
                          G_CALLBACK(+[](GtkWidget*, GdkEvent*, KTURLBarField* self) -> gboolean {
                              self->setEditing(true);
                              // After GTK has placed the cursor of a click.
                              std::weak_ptr<bool> alive = self->alive_;
                              g_idle_add_full(G_PRIORITY_HIGH_IDLE, +[](gpointer data) -> gboolean {
                                  auto* ctx = static_cast<std::pair<KTURLBarField*, std::weak_ptr<bool>>*>(data);
                                  if (!ctx->second.expired() && ctx->first->isEditing_)
                                      gtk_editable_select_region(GTK_EDITABLE(ctx->first->entry_), 0, -1);
                                  return G_SOURCE_REMOVE;
                              }, new std::pair<KTURLBarField*, std::weak_ptr<bool>>(self, alive),
                                              +[](gpointer data) {
                                                  delete static_cast<std::pair<KTURLBarField*, std::weak_ptr<bool>>*>(data);
                                              });
                              return FALSE;
                          }),
                          this);
    signals_.emplace_back(entry_, "focus-out-event",
                          G_CALLBACK(+[](GtkWidget*, GdkEvent*, KTURLBarField* self) -> gboolean {
                              self->setEditing(false);
                              return FALSE;
                          }),
                          this);
    signals_.emplace_back(entry_, "activate", G_CALLBACK(+[](GtkEntry* e, KTURLBarField* self) {
                              std::string text = gtk_entry_get_text(e);
                              self->setEditing(false);
                              if (self->onReturn)
                                  self->onReturn(text);
                          }),
                          this);
    signals_.emplace_back(entry_, "key-press-event",
                          G_CALLBACK(+[](GtkWidget*, GdkEventKey* event, KTURLBarField* self) -> gboolean {
                              if (event->keyval != GDK_KEY_Escape)
                                  return FALSE;
                              self->setEditing(false);
                              if (self->onEscape)
                                  self->onEscape();
                              return TRUE;
                          }),
                          this);
    setLoadingState(false);
    gtk_widget_show(entry_);
    update();
}

KTURLBarField::~KTURLBarField()
{
    *alive_ = false;
    signals_.clear();
    gtk_widget_destroy(overlay_);
    g_object_unref(overlay_);
}

void KTURLBarField::setURLString(const std::string& url)
{
    urlString_ = url;
    update();
}

void KTURLBarField::setSecure(bool secure)
{
    isSecure_ = secure;
    update();
}

void KTURLBarField::setEditing(bool editing)
{
    if (editing == isEditing_)
        return;
    isEditing_ = editing;
    // Entering shows the page's URL; typing done before leaves no trace.
    if (editing)
        shownText_.reset();
    update();
}

void KTURLBarField::setLoadingState(bool loading)
{
    isLoading_ = loading;
    gtk_button_set_image(GTK_BUTTON(loadStatusButton_),
                         gtk_image_new_from_icon_name(loading ? "process-stop-symbolic" : "view-refresh-symbolic",
                                                      GTK_ICON_SIZE_MENU));
    gtk_widget_set_tooltip_text(loadStatusButton_, loading ? "Stop loading this page" : "Reload this page");
}

void KTURLBarField::update()
{
    if (isEditing_) {
        // A page that moves on updates the text, unless the user is typing.
        const char* now = gtk_entry_get_text(GTK_ENTRY(entry_));
        if (!shownText_ || *shownText_ == now)
            setText(urlString_);
    } else {
        setText("");
    }
    updateSummeryView();
    gtk_widget_set_visible(summary_, !isEditing_ && !urlString_.empty());
    gtk_entry_set_placeholder_text(GTK_ENTRY(entry_), urlString_.empty() ? kPlaceholder : nullptr);
}

void KTURLBarField::setText(const std::string& text)
{
    if (text != gtk_entry_get_text(GTK_ENTRY(entry_))) {
        gtk_entry_set_text(GTK_ENTRY(entry_), text.c_str());
        if (isEditing_)
            gtk_editable_select_region(GTK_EDITABLE(entry_), 0, -1);
    }
    shownText_ = text;
}

void KTURLBarField::updateSummeryView()
{
    // Text that is no URL leaves the host as it was.
    if (auto parsed = KTTypedAddress::parse(urlString_))
        gtk_label_set_text(GTK_LABEL(hostLabel_),
                           parsed->host && !parsed->host->empty() ? parsed->host->c_str() : urlString_.c_str());
    gtk_widget_set_visible(lock_, isSecure_);
}

std::string KTURLBarField::hostText() const { return gtk_label_get_text(GTK_LABEL(hostLabel_)); }

void KTURLBarField::loadAction()
{
    KTNotificationCenter::defaultCenter().post(isLoading_ ? names::kStop : names::kReload);
}

} // namespace quilt
