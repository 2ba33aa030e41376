#include "web/KTAutoFillHandler.h"

#include "core/config/KTLog.h"
#include "core/services/KTServiceManager.h"
#include "web/KTWebUIDelegate.h"

#include <gtk/gtk.h>

#include <chrono>

namespace quilt {

namespace {

using Clock = std::chrono::steady_clock;

// Replies waiting on one question to the keyring; more are dropped.
constexpr size_t kMaxWaiting = 16;
// A question unanswered this long is given up for a new one.
constexpr auto kGiveUp = std::chrono::milliseconds(KTServiceManager::kReplyTimeoutMs + 1000);

unsigned long nextSerial = 0;

std::string uriOf(WebKitWebView* view)
{
    const char* uri = webkit_web_view_get_uri(view);
    return uri ? uri : "";
}

GtkWindow* windowOf(WebKitWebView* view)
{
    GtkWidget* top = view ? gtk_widget_get_toplevel(GTK_WIDGET(view)) : nullptr;
    return top && gtk_widget_is_toplevel(top) && GTK_IS_WINDOW(top) ? GTK_WINDOW(top) : nullptr;
}

bool validText(const std::string& s) { return g_utf8_validate(s.data(), static_cast<gssize>(s.size()), nullptr); }

} // namespace

// One question to the keyring for a page, and who waits for its answer.
struct KTAutoFillFetch {
    std::string url;
    Clock::time_point started;
    std::vector<KTAutoFillHandler::CredentialsReply> replies;
};

struct KTAutoFillHandler::Page {
    std::optional<KTLoginData> record;
    unsigned long serial = 0; // of the record, so a late answer finds out it is stale
    std::shared_ptr<KTAutoFillFetch> fetch;
    std::shared_ptr<bool> token = std::make_shared<bool>(true); // lives as long as the page entry
    KTSignal destroyed, loadChanged, uriChanged;
};

KTAutoFillHandler::KTAutoFillHandler() : alive_(std::make_shared<bool>(true)) {}

KTAutoFillHandler::~KTAutoFillHandler()
{
    if (menuView_)
        KTWebUIDelegate::shared().hideAutoFillMenu();
}

KTAutoFillHandler::Page& KTAutoFillHandler::page(WebKitWebView* view)
{
    auto& slot = pages_[view];
    if (slot)
        return *slot;
    slot = std::make_unique<Page>();
    slot->destroyed = KTSignal(view, "destroy", G_CALLBACK(+[](WebKitWebView* v, KTAutoFillHandler* self) {
                                   self->forget(v);
                               }),
                               this);
    slot->loadChanged = KTSignal(view, "load-changed",
                                 G_CALLBACK(+[](WebKitWebView* v, WebKitLoadEvent event, KTAutoFillHandler* self) {
                                     if (event == WEBKIT_LOAD_STARTED)
                                         self->offerPasswordAutoSaveForWebView(v);
                                 }),
                                 this);
    // A page that changes its address without loading (history.pushState)
    // has moved on as much as one that loads.
    slot->uriChanged = KTSignal(view, "notify::uri", G_CALLBACK(+[](WebKitWebView* v, GParamSpec*, KTAutoFillHandler* self) {
                                    self->offerPasswordAutoSaveForWebView(v);
                                }),
                                this);
    return *slot;
}

KTLoginData* KTAutoFillHandler::record(WebKitWebView* view)
{
    auto it = pages_.find(view);
    return it != pages_.end() && it->second->record ? &*it->second->record : nullptr;
}

const KTLoginData* KTAutoFillHandler::loginDataFor(WebKitWebView* view) const
{
    auto it = pages_.find(view);
    return it != pages_.end() && it->second->record ? &*it->second->record : nullptr;
}

void KTAutoFillHandler::forget(WebKitWebView* view)
{
    if (menuView_ == view)
        hideAutoFillMenu();
    pages_.erase(view);
}

void KTAutoFillHandler::clearLoginDataForWebView(WebKitWebView* view)
{
    auto it = pages_.find(view);
    if (it != pages_.end())
        it->second->record.reset();
}

void KTAutoFillHandler::didReceiveScriptMessage(WebKitWebView* view, const KTJson& body)
{
    auto m = KTAutoFillMessage::parse(body);
    if (!m || !view)
        return;
    using Event = KTAutoFillMessage::Event;
    switch (m->event) {
    case Event::LoginFound:
        return onLoginFound(*m, view);
    case Event::UsernameChange:
        return onUsernameChange(*m, view);
    case Event::PasswordChange:
        return onPasswordChange(*m, view);
    case Event::UsernameFocused:
    case Event::PasswordFocused:
        if (record(view))
            showAutoFillMenu(view, m->left, m->top,
                             m->event == Event::UsernameFocused ? FieldType::Username : FieldType::Password);
        return;
    case Event::UsernameBlurred:
    case Event::PasswordBlurred:
        if (record(view))
            hideAutoFillMenu();
        return;
    case Event::KeyUp:
        return handleKeyEvent(m->key, view);
    }
}

void KTAutoFillHandler::onLoginFound(const KTAutoFillMessage& m, WebKitWebView* view)
{
    Page& p = page(view);
    p.record = KTLoginData::found(m.username, m.password, uriOf(view));
    const unsigned long serial = p.serial = ++nextSerial;
    savedCredentialsForWebViewWithReply(view, [this, view, serial](const std::vector<KTCredentials>& saved) {
        auto it = pages_.find(view);
        // A form found again, or a page already leaving, is not filled from this answer.
        if (saved.empty() || it == pages_.end() || !it->second->record || it->second->serial != serial)
            return;
        autoFillPasswordWebView(saved[0].username.value_or(""), saved[0].password.value_or(""), view);
    });
}

void KTAutoFillHandler::onUsernameChange(const KTAutoFillMessage& m, WebKitWebView* view)
{
    KTLoginData* r = record(view);
    if (!r)
        return;
    r->setUsername(m.value);
    if (!KTWebUIDelegate::shared().isAutoFillMenuVisible())
        return showAutoFillMenu(view, m.left, m.top, FieldType::Username);
    const unsigned long request = ++menuRequest_;
    savedCredentialsForWebViewWithReply(view, [this, view, request, left = m.left, top = m.top](const auto& saved) {
        KTLoginData* r = record(view);
        if (!r || request != menuRequest_)
            return;
        auto items = r->menuItems(saved, FieldType::Username);
        if (items.empty())
            hideAutoFillMenu();
        else
            placeMenu(view, left, top, std::move(items));
    });
}

void KTAutoFillHandler::onPasswordChange(const KTAutoFillMessage& m, WebKitWebView* view)
{
    KTLoginData* r = record(view);
    if (!r)
        return;
    r->setPassword(m.value);
    // Typing a password never opens the menu; clearing the field does.
    if (m.value.empty() && !KTWebUIDelegate::shared().isAutoFillMenuVisible())
        showAutoFillMenu(view, m.left, m.top, FieldType::Password);
}

void KTAutoFillHandler::handleKeyEvent(int key, WebKitWebView* view)
{
    if (key == 27)
        return hideAutoFillMenu();
    if (key != -1 && key != 1 && key != 13)
        return;
    const int selected = KTWebUIDelegate::shared().autoFillMenuKey(key);
    if (menuView_ == view && KTWebUIDelegate::shared().isAutoFillMenuVisible())
        tellPage(view, selected);
}

void KTAutoFillHandler::savedCredentialsForWebViewWithReply(WebKitWebView* view, CredentialsReply reply)
{
    Page& p = page(view);
    const std::string url = uriOf(view);
    if (KTLoginData::hostOf(url).empty())
        return;
    if (p.fetch && KTLoginData::sameSite(p.fetch->url, url) && Clock::now() - p.fetch->started < kGiveUp) {
        if (p.fetch->replies.size() >= kMaxWaiting)
            p.fetch->replies.erase(p.fetch->replies.begin());
        p.fetch->replies.push_back(std::move(reply));
        return;
    }
    auto fetch = std::make_shared<KTAutoFillFetch>(KTAutoFillFetch {url, Clock::now(), {}});
    fetch->replies.push_back(std::move(reply));
    p.fetch = fetch;
    std::weak_ptr<bool> token = p.token;
    KTServiceManager::sharedManager().credentialsSavedForWithReply(
        url, [this, view, token, fetch](std::vector<KTCredentials> saved) {
            if (token.expired())
                return;
            Page& p = *pages_.at(view);
            if (p.fetch == fetch)
                p.fetch.reset();
            // The page may have gone on to another site meanwhile.
            if (!KTLoginData::sameSite(fetch->url, uriOf(view)))
                return;
            for (auto& reply : fetch->replies)
                reply(saved);
        });
}

void KTAutoFillHandler::autoFillPasswordWebView(const std::string& username, const std::string& password,
                                                WebKitWebView* view)
{
    if (!validText(username) || !validText(password))
        return;
    if (KTLoginData* r = record(view))
        r->fill(username, password);
    // The values go to the page as they are, as arguments rather than
    // inside the script's text, so no quote in a password can end it.
    GVariantDict args;
    g_variant_dict_init(&args, nullptr);
    g_variant_dict_insert(&args, "username", "s", username.c_str());
    g_variant_dict_insert(&args, "password", "s", password.c_str());
    webkit_web_view_call_async_javascript_function(
        view, "return ktAPIHelper.autoFill.autoFill(username, password);", -1, g_variant_dict_end(&args), nullptr,
        nullptr, nullptr,
        +[](GObject* source, GAsyncResult* result, gpointer) {
            GError* error = nullptr;
            JSCValue* value
                = webkit_web_view_call_async_javascript_function_finish(WEBKIT_WEB_VIEW(source), result, &error);
            if (value)
                g_object_unref(value);
            g_clear_error(&error);
        },
        nullptr);
}

void KTAutoFillHandler::showAutoFillMenu(WebKitWebView* view, double left, double top, FieldType field)
{
    const unsigned long request = ++menuRequest_;
    savedCredentialsForWebViewWithReply(view, [this, view, request, left, top, field](const auto& saved) {
        KTLoginData* r = record(view);
        if (!r || request != menuRequest_)
            return;
        auto items = r->menuItems(saved, field);
        if (!items.empty())
            placeMenu(view, left, top, std::move(items));
    });
}

void KTAutoFillHandler::placeMenu(WebKitWebView* view, double left, double top, std::vector<KTCredentials> items)
{
    GtkWidget* widget = GTK_WIDGET(view);
    GdkWindow* window = gtk_widget_get_window(widget);
    if (!window || !gtk_widget_get_mapped(widget))
        return;
    // The page speaks in its own pixels, which zoom scales.
    const double zoom = webkit_web_view_get_zoom_level(view);
    int x = 0, y = 0;
    gdk_window_get_origin(window, &x, &y);
    if (!gtk_widget_get_has_window(widget)) {
        GtkAllocation a;
        gtk_widget_get_allocation(widget, &a);
        x += a.x;
        y += a.y;
    }
    x += static_cast<int>(left * zoom);
    y += static_cast<int>(top * zoom);
    std::vector<std::string> users;
    for (const auto& c : items)
        users.push_back(c.username.value_or(""));
    menuView_ = view;
    menuItems_ = std::move(items);
    std::weak_ptr<bool> alive = alive_;
    KTWebUIDelegate::shared().showAutoFillMenu(windowOf(view), x, y, users, [this, alive](size_t row) {
        if (!alive.expired())
            passwordDidSelected(row);
    });
    tellPage(view, -1);
}

void KTAutoFillHandler::hideAutoFillMenu()
{
    WebKitWebView* view = menuView_;
    menuView_ = nullptr;
    menuItems_.clear();
    ++menuRequest_;
    if (!KTWebUIDelegate::shared().isAutoFillMenuVisible())
        return;
    KTWebUIDelegate::shared().hideAutoFillMenu();
    if (view)
        tellPage(view, -1);
}

void KTAutoFillHandler::passwordDidSelected(size_t row)
{
    WebKitWebView* view = menuView_;
    if (view && row < menuItems_.size()) {
        const KTCredentials chosen = menuItems_[row];
        autoFillPasswordWebView(chosen.username.value_or(""), chosen.password.value_or(""), view);
    }
    hideAutoFillMenu();
}

void KTAutoFillHandler::tellPage(WebKitWebView* view, int selectedRow)
{
    // Lets the page keep the arrow keys and Return from its form while
    // they move through the menu.
    const bool shown = menuView_ == view && KTWebUIDelegate::shared().isAutoFillMenuVisible();
    std::string script = std::string("window.ktAPIHelper && ktAPIHelper.autoFill.menuState(")
                         + (shown ? "true" : "false") + ", " + (shown && selectedRow >= 0 ? "true" : "false") + ");";
    webkit_web_view_evaluate_javascript(view, script.c_str(), -1, nullptr, nullptr, nullptr, nullptr, nullptr);
}

void KTAutoFillHandler::offerPasswordAutoSaveForWebView(WebKitWebView* view)
{
    auto it = pages_.find(view);
    if (it == pages_.end() || !it->second->record)
        return;
    const KTLoginData& r = *it->second->record;
    if (!r.changed || isOngoingPasswordSaveRequest_ || !r.mayOfferToSave())
        return;
    isOngoingPasswordSaveRequest_ = true;
    const KTLoginData login = r;
    const unsigned long serial = it->second->serial;
    std::weak_ptr<bool> alive = alive_, token = it->second->token;
    // No answer (no helper) leaves the flag set: no question is ever shown.
    KTServiceManager::sharedManager().passwordForSavedForWithReply(
        login.username, login.url, [this, alive, token, view, login, serial](std::optional<std::string> saved) {
            if (alive.expired())
                return;
            if (saved && *saved == login.password) {
                isOngoingPasswordSaveRequest_ = false;
                return;
            }
            WebKitWebView* v = token.expired() ? nullptr : view;
            askToSave(v, login, saved);
            // The question keeps its own copy; the page's form is done with.
            auto it = v ? pages_.find(v) : pages_.end();
            if (it != pages_.end() && it->second->serial == serial)
                it->second->record.reset();
        });
}

void KTAutoFillHandler::askToSave(WebKitWebView* view, const KTLoginData& login, std::optional<std::string> saved)
{
    std::weak_ptr<bool> alive = alive_;
    const bool update = saved.has_value();
    auto done = [this, alive, login, update](bool yes) {
        if (!alive.expired())
            answered(yes, update, login);
    };
    if (update)
        KTWebUIDelegate::shared().askToUpdatePassword(windowOf(view), login.username, login.host, std::move(done));
    else
        KTWebUIDelegate::shared().askToSavePassword(windowOf(view), std::move(done));
}

void KTAutoFillHandler::answered(bool yes, bool update, const KTLoginData& login)
{
    if (yes) {
        auto& service = KTServiceManager::sharedManager();
        auto logged = [](bool ok) {
            if (!ok)
                KTLog::debug("the keyring did not take the login");
        };
        if (update)
            service.updateCredentialsForUsernameSavedForWithReply(login.password, login.username, login.url, logged);
        else
            service.saveCredentialsUsernameForURLWithReply(login.password, login.username, login.url, logged);
    }
    isOngoingPasswordSaveRequest_ = false;
}

} // namespace quilt
