#pragma once

#include "core/config/KTJson.h"
#include "core/config/KTSignal.h"
#include "core/services/KTAutoFillMessage.h"
#include "core/services/KTCredentials.h"
#include "core/services/KTLoginData.h"

#include <webkit2/webkit2.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quilt {

// Messages of the "autoFill" page channel for one app: the page that sent
// them is known by its view, never by what the message claims.
//
// One login record per page, from the form's discovery until the page moves
// on: a found form is filled with the first login saved for the page's site;
// focusing or typing in its fields lists the matching saved logins in a menu
// under the field (KTWebUIDelegate); leaving the page after typing a new or
// changed login asks to save or update it. Logins live in the keyring,
// reached through KTServiceManager.
class KTAutoFillHandler {
public:
    using CredentialsReply = std::function<void(const std::vector<KTCredentials>&)>;

    KTAutoFillHandler();
    ~KTAutoFillHandler();
    KTAutoFillHandler(const KTAutoFillHandler&) = delete;
    KTAutoFillHandler& operator=(const KTAutoFillHandler&) = delete;

    // body: the message as JSON, already size-checked; any shape a page can send.
    void didReceiveScriptMessage(WebKitWebView* view, const KTJson& body);

    // The page reloads or starts over: its form is forgotten.
    void clearLoginDataForWebView(WebKitWebView* view);
    // The page is being left: asks to save or update what was typed.
    void offerPasswordAutoSaveForWebView(WebKitWebView* view);
    // Puts a login into the page's form as typing would.
    void autoFillPasswordWebView(const std::string& username, const std::string& password, WebKitWebView* view);
    // The logins saved for the page's site; the reply only comes while the
    // page still shows that site. Asked again while a question is under way,
    // only the latest reply waits for the next answer: a flood of events
    // costs one request at a time.
    void savedCredentialsForWebViewWithReply(WebKitWebView* view, CredentialsReply reply);

    const KTLoginData* loginDataFor(WebKitWebView* view) const;
    bool isOngoingPasswordSaveRequest() const { return isOngoingPasswordSaveRequest_; }

private:
    struct Page;
    using FieldType = KTLoginData::FieldType;

    Page& page(WebKitWebView* view);
    KTLoginData* record(WebKitWebView* view);
    void forget(WebKitWebView* view);

    void onLoginFound(const KTAutoFillMessage& m, WebKitWebView* view);
    void onUsernameChange(const KTAutoFillMessage& m, WebKitWebView* view);
    void onPasswordChange(const KTAutoFillMessage& m, WebKitWebView* view);
    void handleKeyEvent(int key, WebKitWebView* view);

    void showAutoFillMenu(WebKitWebView* view, double left, double top, FieldType field);
    void placeMenu(WebKitWebView* view, double left, double top, std::vector<KTCredentials> items);
    void hideAutoFillMenu();
    void passwordDidSelected(size_t row);
    void tellPage(WebKitWebView* view, int selectedRow);

    void askToSave(WebKitWebView* view, const KTLoginData& login, std::optional<std::string> saved);
    void answered(bool yes, bool update, const KTLoginData& login);

    std::map<WebKitWebView*, std::unique_ptr<Page>> pages_;
    bool isOngoingPasswordSaveRequest_ = false;
    // The menu's page and rows, while it is shown.
    WebKitWebView* menuView_ = nullptr;
    // Bumped by every show and hide: an answer that comes after a later
    // one (a blur before the logins came) places no menu.
    unsigned long menuRequest_ = 0;
    std::vector<KTCredentials> menuItems_;
    std::shared_ptr<bool> alive_;
};

} // namespace quilt
