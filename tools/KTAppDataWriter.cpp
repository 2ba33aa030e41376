#include "KTAppDataWriter.h"

#include "KTCreateFailure.h"
#include "core/config/KTFileUtil.h"
#include "core/web/KTWhiteListManager.h"

#include <glib.h>

namespace quilt {

namespace {
constexpr const char* kSettingsFile = "settings.json";
constexpr const char* kWhiteListFile = "whitelist.json";
} // namespace

KTAppDataWriter::KTAppDataWriter(std::string dataFolder)
    : folder_(std::move(dataFolder))
{
    while (folder_.size() > 1 && folder_.back() == '/')
        folder_.pop_back();
    record_ = KTJson::object();
    if (auto text = KTFileUtil::read(path(kRecordFile)))
        if (auto parsed = json::parse(*text); parsed && parsed->is_object())
            record_ = std::move(*parsed);
}

bool KTAppDataWriter::isAsWritten(const std::string& name, std::string_view data) const
{
    auto written = json::stringFor(record_, name);
    return written && *written == sha256(data);
}

void KTAppDataWriter::recordWritten(const std::string& name, std::string_view data) { record_[name] = sha256(data); }

std::string KTAppDataWriter::sha256(std::string_view data)
{
    gchar* hex = g_compute_checksum_for_data(G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(data.data()),
                                             data.size());
    std::string out = hex;
    g_free(hex);
    return out;
}

std::vector<std::string> KTAppDataWriter::managedPaths() const
{
    return {path(kSettingsFile), path(kWhiteListFile), path(kRecordFile)};
}

bool KTAppDataWriter::mayReplace(const std::string& file) const
{
    auto current = KTFileUtil::read(path(file));
    if (!current)
        return !KTFileUtil::exists(path(file));
    // A file the tool has no record of was not written by it: keep it.
    return isAsWritten(file, *current);
}

void KTAppDataWriter::write(const KTJson& settings, const AllowList& allowList, std::vector<std::string>* kept)
{
    std::string error;
    if (!KTFileUtil::makeDirectories(folder_, &error))
        throw KTCreateFailure::ioError("cannot make the data folder: " + error);

    if (mayReplace(kSettingsFile)) {
        const std::string data = json::compact(settings);
        if (!KTFileUtil::writeAtomically(path(kSettingsFile), data, &error))
            throw KTCreateFailure::ioError("cannot write " + std::string(kSettingsFile) + ": " + error);
        recordWritten(kSettingsFile, data);
    } else if (kept) {
        kept->push_back(kSettingsFile);
    }

    if (mayReplace(kWhiteListFile)) {
        KTWhiteListManager list(path(kWhiteListFile));
        list.setAllowAll(allowList.allowAll);
        list.setAllowPatterns(allowList.allowPatterns);
        list.setAllowSubdomains(allowList.allowSubdomains);
        list.removeAllPatterns();
        for (const auto& p : allowList.patterns)
            list.addPattern(p);
        auto written = list.savePatterns() ? KTFileUtil::read(path(kWhiteListFile), &error) : std::nullopt;
        if (!written)
            throw KTCreateFailure::ioError("cannot write " + std::string(kWhiteListFile)
                                           + (error.empty() ? std::string() : ": " + error));
        recordWritten(kWhiteListFile, *written);
    } else if (kept) {
        kept->push_back(kWhiteListFile);
    }

    if (!KTFileUtil::writeAtomically(path(kRecordFile), json::compact(record_), &error))
        throw KTCreateFailure::ioError("cannot write " + std::string(kRecordFile) + ": " + error);
}

} // namespace quilt
