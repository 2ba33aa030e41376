#pragma once

#include "core/services/KTCredentials.h"

#include <string>
#include <vector>

namespace quilt {

// The login form of one page, from its discovery until the page moves on:
// what the form held when found, what it holds now, and the site it was
// found on (the page's own address as the app knows it).
struct KTLoginData {
    // The field a menu of saved logins is shown for.
    enum class FieldType { Username = 0, Password = 1 };

    std::string initialUsername;
    std::string initialPassword;
    std::string username;
    std::string password;
    std::string host; // host of `url`, as named in the update question
    std::string url;  // the page the form was found on; the site when saving
    // Set by every change event and every fill, even one that writes the
    // value the field already had: only a form nobody touched is left alone.
    bool changed = false;

    static KTLoginData found(std::string username, std::string password, std::string url);

    void setUsername(std::string value);
    void setPassword(std::string value);
    void fill(std::string user, std::string pass);

    // Whether leaving the page may ask to save or update: something was
    // typed or filled and neither field is empty.
    bool mayOfferToSave() const;
    // The saved logins the menu lists for a field, in the order given:
    // those whose user name begins with what is typed (all when nothing
    // is); the user-name field leaves out the one it already holds.
    std::vector<KTCredentials> menuItems(const std::vector<KTCredentials>& saved, FieldType field) const;

    // "host" of an http(s) address, "" for anything else.
    static std::string hostOf(const std::string& url);
    // Whether two addresses are one site: same scheme, host and port (the
    // scheme's default port when none is written). Only http(s) has sites.
    static bool sameSite(const std::string& a, const std::string& b);
};

} // namespace quilt
