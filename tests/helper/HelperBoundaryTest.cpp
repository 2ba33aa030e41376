#include "HelperSession.h"

#include "core/services/KTHelperBusNames.h"
#include "core/services/KTVariantReader.h"

using namespace quilt;
using namespace quilt::test;

namespace {

struct RawCall {
    const char* name;
    const char* method;
    std::string arguments; // GVariant text of the argument tuple
    std::string expected;  // the reply's text, or the D-Bus error's name
};

std::string big(size_t n) { return std::string(n, 'x'); }

std::string nestedTitle(int depth)
{
    std::string v = "'deep'";
    for (int i = 0; i < depth; ++i)
        v = "<" + v + ">";
    return "({'title': " + v + "}, 'App', '')";
}

// Raw calls straight onto the bus, as any process in the session could send
// them: every method's argument checks, wrong types and sizes included.
class HelperBoundary : public HelperSessionTest, public testing::WithParamInterface<RawCall> {
protected:
    static std::string call(const RawCall& c)
    {
        GVariant* args = g_variant_parse(nullptr, c.arguments.c_str(), nullptr, nullptr, nullptr);
        EXPECT_TRUE(args) << c.arguments.substr(0, 200);
        GError* error = nullptr;
        GVariant* reply = g_dbus_connection_call_sync(bus(), KTHelperBusNames::kServiceName,
                                                      KTHelperBusNames::kServicePath,
                                                      KTHelperBusNames::kHelperInterface, c.method, args, nullptr,
                                                      G_DBUS_CALL_FLAGS_NONE, 15000, nullptr, &error);
        std::string text;
        if (reply) {
            gchar* printed = g_variant_print(reply, FALSE);
            text = printed;
            g_free(printed);
            g_variant_unref(reply);
        } else {
            gchar* remote = g_dbus_error_get_remote_error(error);
            text = remote ? remote : error->message;
            g_free(remote);
            g_error_free(error);
        }
        return text;
    }
};

std::string manySites(int n)
{
    std::string list = "[";
    for (int i = 0; i < n; ++i)
        list += std::string(i ? ", " : "") + "'https://s" + std::to_string(i) + ".example'";
    return list + "]";
}

const std::string kInvalid = "org.freedesktop.DBus.Error.InvalidArgs";
const std::string kTooBig = std::to_string(KTVariantReader::kMaxStringBytes + 1);

TEST_P(HelperBoundary, AnswersEveryCallAndKeepsRunning)
{
    ASSERT_TRUE(saved("https://warmup.example")) << "helper did not start";
    const auto before = helperPid();
    EXPECT_EQ(call(GetParam()), GetParam().expected);
    EXPECT_EQ(helperPid(), before) << "the helper died or was replaced";
}

INSTANTIATE_TEST_SUITE_P(
    Calls, HelperBoundary,
    testing::Values(
        // Records the decoder refuses.
        RawCall{"NotifyNumberAsMessage", "PostNotification", "({'message': <5>}, 'App', '')", kInvalid},
        RawCall{"NotifyActionsOfStrings", "PostNotification", "({'actions': <['a']>}, 'App', '')", kInvalid},
        RawCall{"NotifyHugeTitle", "PostNotification", "({'title': <'" + big(KTVariantReader::kMaxStringBytes + 1) + "'>}, 'App', '')", kInvalid},
        RawCall{"NotifyDeepNesting", "PostNotification", nestedTitle(30), kInvalid},
        RawCall{"NotifyHugeAppName", "PostNotification", "(@a{sv} {}, '" + big(KTVariantReader::kMaxStringBytes + 1) + "', '')", kInvalid},
        // Signatures that are not the method's.
        RawCall{"NotifyWithoutApp", "PostNotification", "(@a{sv} {},)", kInvalid},
        RawCall{"QueryWithNumber", "CredentialsSavedFor", "(42,)", kInvalid},
        RawCall{"SaveWithTwoArguments", "SaveCredentials", "('pw', 'alice')", kInvalid},
        RawCall{"UndeclaredMethod", "AllSavedCredentials", "@() ()", "org.freedesktop.DBus.Error.UnknownMethod"},
        // Addresses without a web site have no logins and take none.
        RawCall{"QueryNoURL", "CredentialsSavedFor", "('not a url',)", "([],)"},
        RawCall{"QueryFileURL", "CredentialsSavedFor", "('file:///etc/passwd',)", "([],)"},
        RawCall{"QueryScriptURL", "CredentialsSavedFor", "('javascript:alert(1)',)", "([],)"},
        RawCall{"QueryHugeURL", "CredentialsSavedFor", "('https://" + big(KTVariantReader::kMaxStringBytes) + ".example',)", kInvalid},
        RawCall{"PasswordEmptyUser", "PasswordFor", "('', 'https://a.example')", "(false, '')"},
        RawCall{"PasswordFtpSite", "PasswordFor", "('alice', 'ftp://a.example')", "(false, '')"},
        RawCall{"SaveEmptyPassword", "SaveCredentials", "('', 'alice', 'https://a.example')", "(false,)"},
        RawCall{"SaveEmptyUser", "SaveCredentials", "('pw', '', 'https://a.example')", "(false,)"},
        RawCall{"SaveAboutBlank", "SaveCredentials", "('pw', 'alice', 'about:blank')", "(false,)"},
        RawCall{"SaveHugePassword", "SaveCredentials", "('" + big(KTVariantReader::kMaxStringBytes + 1) + "', 'alice', 'https://a.example')", kInvalid},
        RawCall{"UpdateUnknownLogin", "UpdateCredentials", "('pw', 'nobody', 'https://a.example')", "(false,)"},
        RawCall{"ListNoSites", "LoginsSavedFor", "(@as [],)", "([],)"},
        RawCall{"ListFileAndScriptURLs", "LoginsSavedFor", "(['file:///etc/passwd', 'javascript:x'],)", "([],)"},
        RawCall{"ListTooManySites", "LoginsSavedFor", "(" + manySites(65) + ",)", kInvalid},
        RawCall{"RemoveEmptyUser", "RemoveCredentials", "('', 'https://a.example')", "(false,)"},
        RawCall{"RemoveUnknownLogin", "RemoveCredentials", "('nobody', 'https://a.example')", "(false,)"},
        RawCall{"RemoveAllHugeURL", "RemoveAllCredentials", "(['https://" + big(KTVariantReader::kMaxStringBytes) + ".example'],)", kInvalid},
        RawCall{"UpdateHugeUser", "UpdateCredentials", "('pw', '" + big(KTVariantReader::kMaxStringBytes + 1) + "', 'https://a.example')", kInvalid}),
    [](const testing::TestParamInfo<RawCall>& info) { return std::string(info.param.name); });

} // namespace
