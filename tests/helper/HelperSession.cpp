#include "HelperSession.h"

#include "KTHelperServiceFile.h"
#include "core/services/KTHelperBusNames.h"

#include <cstdlib>

namespace quilt::test {

namespace {

// A reply that comes after the wait ended must still have a place to go.
template <class T>
std::optional<T> waitFor(const std::shared_ptr<std::optional<T>>& slot, std::chrono::milliseconds timeout)
{
    waitUntil([&] { return slot->has_value(); }, timeout);
    return *slot;
}

} // namespace

void HelperSessionTest::SetUp()
{
    if (!std::getenv("QUILT_HELPER_SESSION"))
        GTEST_SKIP() << "needs its own desktop session: run through ctest";
    installServiceFile();
    log = std::make_unique<LogCapture>();
    manager = KTServiceManager::create();
    manager->setApplicationIdentity("Quilt Test", "dialog-information");
}

void HelperSessionTest::TearDown()
{
    manager.reset();
    log.reset();
}

void HelperSessionTest::installServiceFile()
{
    std::string error;
    ASSERT_TRUE(KTHelperServiceFile::install(QUILT_HELPER_PATH, &error)) << error;
}

GDBusConnection* HelperSessionTest::bus()
{
    static GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    return connection;
}

std::optional<pid_t> HelperSessionTest::helperPid()
{
    GVariant* reply = g_dbus_connection_call_sync(
        bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetConnectionUnixProcessID",
        g_variant_new("(s)", KTHelperBusNames::kServiceName), G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, 5000,
        nullptr, nullptr);
    if (!reply)
        return std::nullopt;
    guint32 pid = 0;
    g_variant_get(reply, "(u)", &pid);
    g_variant_unref(reply);
    return static_cast<pid_t>(pid);
}

void HelperSessionTest::syncWithBus()
{
    auto done = std::make_shared<bool>(false);
    g_dbus_connection_call(
        bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId", nullptr, nullptr,
        G_DBUS_CALL_FLAGS_NONE, 5000, nullptr,
        [](GObject* source, GAsyncResult* result, gpointer data) {
            auto* flag = static_cast<std::shared_ptr<bool>*>(data);
            GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, nullptr);
            if (reply)
                g_variant_unref(reply);
            **flag = true;
            delete flag;
        },
        new std::shared_ptr<bool>(done));
    EXPECT_TRUE(waitUntil([&] { return *done; }));
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
}

bool HelperSessionTest::waitForHelperGone(std::chrono::milliseconds timeout)
{
    return waitUntil([] { return !helperPid(); }, timeout);
}

std::string HelperSessionTest::freshSite(const std::string& word)
{
    gchar* uuid = g_uuid_string_random();
    std::string site = "https://" + word + "-" + std::string(uuid, 8) + ".example";
    g_free(uuid);
    return site;
}

std::string HelperSessionTest::output(const std::vector<std::string>& argv)
{
    return runProgram(argv, std::chrono::seconds(20)).out;
}

std::optional<bool> HelperSessionTest::save(const std::string& password, const std::string& user,
                                            const std::string& url)
{
    auto answer = std::make_shared<std::optional<bool>>();
    manager->saveCredentialsUsernameForURLWithReply(password, user, url, [answer](bool ok) { *answer = ok; });
    return waitFor(answer, std::chrono::seconds(15));
}

std::optional<bool> HelperSessionTest::update(const std::string& password, const std::string& user,
                                              const std::string& url)
{
    auto answer = std::make_shared<std::optional<bool>>();
    manager->updateCredentialsForUsernameSavedForWithReply(password, user, url, [answer](bool ok) { *answer = ok; });
    return waitFor(answer, std::chrono::seconds(15));
}

std::optional<std::vector<KTCredentials>> HelperSessionTest::saved(const std::string& url,
                                                                   std::chrono::milliseconds timeout)
{
    auto answer = std::make_shared<std::optional<std::vector<KTCredentials>>>();
    manager->credentialsSavedForWithReply(url, [answer](std::vector<KTCredentials> list) { *answer = std::move(list); });
    return waitFor(answer, timeout);
}

std::optional<std::optional<std::string>> HelperSessionTest::passwordFor(const std::string& user,
                                                                         const std::string& url)
{
    auto answer = std::make_shared<std::optional<std::optional<std::string>>>();
    manager->passwordForSavedForWithReply(user, url, [answer](std::optional<std::string> p) { *answer = std::move(p); });
    return waitFor(answer, std::chrono::seconds(15));
}

} // namespace quilt::test
