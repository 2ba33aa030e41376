#include "core/config/KTUserDefaults.h"

#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTJson.h"
#include "core/config/KTLog.h"
#include "core/config/KTPaths.h"

#include <memory>

namespace quilt {

namespace {
constexpr const char* kGroup = "Defaults";
}

KTUserDefaults::KTUserDefaults(std::string path)
    : path_(std::move(path))
    , file_(g_key_file_new())
{
    GError* error = nullptr;
    if (!g_key_file_load_from_file(file_, path_.c_str(), G_KEY_FILE_KEEP_COMMENTS, &error)) {
        // A missing file is the normal first start; a damaged one is logged
        // and replaced at the next write.
        if (!g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_NOENT))
            KTLog::line("error:" + std::string(error->message) + " (" + path_ + ")");
        g_clear_error(&error);
    }
}

KTUserDefaults::~KTUserDefaults() { g_key_file_free(file_); }

std::string KTUserDefaults::pathForBundleIdentifier(const std::string& bundleId)
{
    return KTPaths::userConfigDir() + "/" + (bundleId.empty() ? std::string("org.quilt.DefaultApp") : bundleId)
        + "/defaults.ini";
}

namespace {
std::unique_ptr<KTUserDefaults>& standardSlot()
{
    static auto* slot = new std::unique_ptr<KTUserDefaults>();
    return *slot;
}
} // namespace

KTUserDefaults& KTUserDefaults::standardUserDefaults()
{
    auto& slot = standardSlot();
    if (!slot)
        slot = std::make_unique<KTUserDefaults>(pathForBundleIdentifier(KTBundle::main().bundleIdentifier()));
    return *slot;
}

void KTUserDefaults::resetStandardUserDefaults() { standardSlot().reset(); }

bool KTUserDefaults::hasKey(const std::string& key) const
{
    return g_key_file_has_key(file_, kGroup, key.c_str(), nullptr);
}

std::optional<std::string> KTUserDefaults::stringForKey(const std::string& key) const
{
    char* v = g_key_file_get_string(file_, kGroup, key.c_str(), nullptr);
    if (!v)
        return std::nullopt;
    std::string s(v);
    g_free(v);
    return s;
}

bool KTUserDefaults::boolForKey(const std::string& key) const
{
    return boolForKeyDefaultValue(key, false);
}

bool KTUserDefaults::boolForKeyDefaultValue(const std::string& key, bool defaultValue) const
{
    auto v = stringForKey(key);
    if (!v)
        return defaultValue;
    return json::truthValue(KTJson(*v));
}

long KTUserDefaults::integerForKey(const std::string& key) const
{
    auto v = stringForKey(key);
    return v ? std::strtol(v->c_str(), nullptr, 10) : 0;
}

void KTUserDefaults::setString(const std::string& key, const std::string& value)
{
    g_key_file_set_string(file_, kGroup, key.c_str(), value.c_str());
}

void KTUserDefaults::setBool(const std::string& key, bool value)
{
    g_key_file_set_boolean(file_, kGroup, key.c_str(), value);
}

void KTUserDefaults::setInteger(const std::string& key, long value)
{
    g_key_file_set_int64(file_, kGroup, key.c_str(), value);
}

void KTUserDefaults::removeObjectForKey(const std::string& key)
{
    g_key_file_remove_key(file_, kGroup, key.c_str(), nullptr);
}

bool KTUserDefaults::synchronize()
{
    gsize len = 0;
    char* data = g_key_file_to_data(file_, &len, nullptr);
    std::string error;
    bool ok = KTFileUtil::makeDirectories(KTFileUtil::parentFolder(path_), &error)
        && KTFileUtil::writeAtomically(path_, std::string_view(data, len), &error);
    g_free(data);
    if (!ok)
        KTLog::line("error:" + error);
    return ok;
}

} // namespace quilt
