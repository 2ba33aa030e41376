#include "KTDesktopEntry.h"

#include "core/config/KTFileUtil.h"

#include <glib.h>

#include <memory>

namespace quilt {

namespace {

using KeyFile = std::unique_ptr<GKeyFile, decltype(&g_key_file_free)>;

constexpr const char* kGroup = G_KEY_FILE_DESKTOP_GROUP;

std::string stringOf(GKeyFile* file, const char* key)
{
    gchar* v = g_key_file_get_string(file, kGroup, key, nullptr);
    std::string out = v ? v : "";
    g_free(v);
    return out;
}

// The characters the desktop entry rules reserve in Exec arguments.
constexpr std::string_view kReserved = " \t\n\"'\\><~|&;$*?#()`";

} // namespace

std::string KTDesktopEntry::quoteExecArgument(std::string_view argument)
{
    std::string doubled;
    for (char c : argument) {
        doubled += c;
        if (c == '%')
            doubled += '%';
    }
    if (doubled.find_first_of(kReserved) == std::string::npos && !doubled.empty())
        return doubled;
    std::string quoted = "\"";
    for (char c : doubled) {
        if (c == '"' || c == '`' || c == '$' || c == '\\')
            quoted += '\\';
        quoted += c;
    }
    return quoted + "\"";
}

std::optional<std::string> KTDesktopEntry::firstExecArgument(std::string_view exec)
{
    std::string out;
    size_t i = 0;
    if (!exec.empty() && exec[0] == '"') {
        for (i = 1; i < exec.size() && exec[i] != '"'; ++i) {
            if (exec[i] == '\\' && i + 1 < exec.size())
                ++i;
            out += exec[i];
        }
        if (i >= exec.size())
            return std::nullopt;
    } else {
        size_t end = exec.find(' ');
        out = std::string(exec.substr(0, end));
    }
    std::string undoubled;
    for (size_t k = 0; k < out.size(); ++k) {
        undoubled += out[k];
        if (out[k] == '%' && k + 1 < out.size() && out[k + 1] == '%')
            ++k;
    }
    return undoubled;
}

std::string KTDesktopEntry::toData() const
{
    KeyFile file(g_key_file_new(), g_key_file_free);
    GKeyFile* f = file.get();
    // GKeyFile escapes the values of string keys as desktop entries require.
    g_key_file_set_string(f, kGroup, "Type", "Application");
    // 1.4: the newest version the validators of Debian 12 know; nothing here needs more.
    g_key_file_set_string(f, kGroup, "Version", "1.4");
    g_key_file_set_string(f, kGroup, "Name", name.c_str());
    g_key_file_set_string(f, kGroup, "Comment", comment.c_str());
    g_key_file_set_string(f, kGroup, "Exec", (quoteExecArgument(executable) + " %U").c_str());
    g_key_file_set_string(f, kGroup, "Icon", icon.c_str());
    g_key_file_set_string(f, kGroup, "Terminal", "false");
    g_key_file_set_string(f, kGroup, "StartupNotify", "true");
    g_key_file_set_string(f, kGroup, "StartupWMClass", wmClass.c_str());
    g_key_file_set_string(f, kGroup, "Categories", "Network;WebBrowser;");
    g_key_file_set_string(f, kGroup, kUniqueIdKey, uniqueId.c_str());
    g_key_file_set_string(f, kGroup, kUrlKey, url.c_str());
    g_key_file_set_string(f, kGroup, kBundleKey, bundlePath.c_str());
    gsize length = 0;
    gchar* data = g_key_file_to_data(f, &length, nullptr);
    std::string out(data ? data : "", data ? length : 0);
    g_free(data);
    return out;
}

std::optional<KTDesktopEntry> KTDesktopEntry::fromData(std::string_view data)
{
    KeyFile file(g_key_file_new(), g_key_file_free);
    if (!g_key_file_load_from_data(file.get(), data.data(), data.size(), G_KEY_FILE_NONE, nullptr)
        || !g_key_file_has_group(file.get(), kGroup))
        return std::nullopt;
    GKeyFile* f = file.get();
    KTDesktopEntry e;
    e.name = stringOf(f, "Name");
    e.comment = stringOf(f, "Comment");
    e.executable = firstExecArgument(stringOf(f, "Exec")).value_or(std::string());
    e.icon = stringOf(f, "Icon");
    e.wmClass = stringOf(f, "StartupWMClass");
    e.uniqueId = stringOf(f, kUniqueIdKey);
    e.url = stringOf(f, kUrlKey);
    e.bundlePath = stringOf(f, kBundleKey);
    return e;
}

std::optional<KTDesktopEntry> KTDesktopEntry::readFile(const std::string& path)
{
    auto data = KTFileUtil::read(path);
    return data ? fromData(*data) : std::nullopt;
}

} // namespace quilt
