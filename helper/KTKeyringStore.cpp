#include "KTKeyringStore.h"

#include "core/config/KTLog.h"

#include <libsecret/secret.h>

#include <algorithm>
#include <cstdint>
#include <tuple>

namespace quilt {

namespace {

const SecretSchema* schema()
{
    static const SecretSchema s = {KTKeyringStore::kSchemaName,
                                   SECRET_SCHEMA_NONE,
                                   {{"site", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                    {"username", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                    {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                                   0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};
    return &s;
}

GHashTable* attributes(const KTLoginSite& site, const std::string* username)
{
    GHashTable* table = g_hash_table_new_full(g_str_hash, g_str_equal, nullptr, g_free);
    g_hash_table_insert(table, const_cast<char*>("site"), g_strdup(site.origin().c_str()));
    if (username)
        g_hash_table_insert(table, const_cast<char*>("username"), g_strdup(username->c_str()));
    return table;
}

bool logged(GError* error)
{
    if (!error)
        return false;
    KTLog::line(std::string("error: ") + error->message);
    g_error_free(error);
    return true;
}

struct Found {
    guint64 created;
    KTCredentials credentials;
};

std::optional<Found> readItem(SecretRetrievable* item, const KTLoginSite& site)
{
    GHashTable* attrs = secret_retrievable_get_attributes(item);
    const char* itemSite = static_cast<const char*>(g_hash_table_lookup(attrs, "site"));
    const char* user = static_cast<const char*>(g_hash_table_lookup(attrs, "username"));
    std::optional<Found> found;
    // The search already matched the site; a second look costs nothing.
    if (itemSite && user && site.origin() == itemSite) {
        GError* error = nullptr;
        SecretValue* value = secret_retrievable_retrieve_secret_sync(item, nullptr, &error);
        const char* text = value ? secret_value_get_text(value) : nullptr;
        if (text)
            found = Found{secret_retrievable_get_created(item), KTCredentials{user, text, site.origin()}};
        if (value)
            secret_value_unref(value);
        logged(error);
    }
    g_hash_table_unref(attrs);
    return found;
}

} // namespace

std::vector<KTCredentials> KTKeyringStore::credentialsFor(const KTLoginSite& site)
{
    GHashTable* attrs = attributes(site, nullptr);
    GError* error = nullptr;
    const auto flags = SecretSearchFlags(SECRET_SEARCH_ALL | SECRET_SEARCH_UNLOCK | SECRET_SEARCH_LOAD_SECRETS);
    GList* items = secret_password_searchv_sync(schema(), attrs, flags, nullptr, &error);
    g_hash_table_unref(attrs);
    logged(error);
    std::vector<Found> found;
    for (GList* l = items; l; l = l->next)
        if (auto item = readItem(SECRET_RETRIEVABLE(l->data), site))
            found.push_back(std::move(*item));
    g_list_free_full(items, g_object_unref);
    std::sort(found.begin(), found.end(), [](const Found& a, const Found& b) {
        return std::tie(a.created, *a.credentials.username) < std::tie(b.created, *b.credentials.username);
    });
    std::vector<KTCredentials> list;
    for (auto& f : found)
        list.push_back(std::move(f.credentials));
    return list;
}

std::optional<std::string> KTKeyringStore::passwordFor(const std::string& username, const KTLoginSite& site)
{
    GHashTable* attrs = attributes(site, &username);
    GError* error = nullptr;
    gchar* password = secret_password_lookupv_sync(schema(), attrs, nullptr, &error);
    g_hash_table_unref(attrs);
    logged(error);
    std::optional<std::string> result;
    if (password)
        result = password;
    secret_password_free(password);
    return result;
}

bool KTKeyringStore::save(const std::string& password, const std::string& username, const KTLoginSite& site)
{
    GHashTable* attrs = attributes(site, &username);
    GError* error = nullptr;
    const std::string label = site.labelFor(username);
    const gboolean stored = secret_password_storev_sync(schema(), attrs, SECRET_COLLECTION_DEFAULT, label.c_str(),
                                                        password.c_str(), nullptr, &error);
    g_hash_table_unref(attrs);
    return !logged(error) && stored;
}

bool KTKeyringStore::update(const std::string& password, const std::string& username, const KTLoginSite& site)
{
    return passwordFor(username, site) && save(password, username, site);
}

namespace {
bool clear(const KTLoginSite& site, const std::string* username)
{
    GHashTable* attrs = attributes(site, username);
    GError* error = nullptr;
    const gboolean removed = secret_password_clearv_sync(schema(), attrs, nullptr, &error);
    g_hash_table_unref(attrs);
    return !logged(error) && removed;
}
} // namespace

bool KTKeyringStore::remove(const std::string& username, const KTLoginSite& site)
{
    return clear(site, &username);
}

unsigned KTKeyringStore::removeAll(const KTLoginSite& site)
{
    const auto count = static_cast<unsigned>(credentialsFor(site).size());
    return count && clear(site, nullptr) ? count : 0;
}

} // namespace quilt
