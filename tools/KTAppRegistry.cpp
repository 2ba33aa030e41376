#include "KTAppRegistry.h"

#include "KTCreateFailure.h"
#include "KTDesktopEntry.h"
#include "KTInterruption.h"
#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTPaths.h"
#include "core/config/KTPlist.h"

#include <glib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace fs = std::filesystem;

namespace quilt {

namespace {

std::string canonical(const std::string& path)
{
    std::error_code ec;
    auto p = fs::weakly_canonical(path, ec);
    return ec ? path : p.string();
}

// A name that can safely be one component of a path we delete.
bool isSafeComponent(const std::string& s)
{
    return !s.empty() && s != "." && s != ".." && s.find('/') == std::string::npos;
}

void removeOrFail(const std::string& path)
{
    std::string error;
    if (!KTFileUtil::removeTree(path, &error))
        throw KTCreateFailure::ioError("cannot remove " + path + ": " + error);
}

KTJson configurationOf(const std::string& bundlePath)
{
    for (const char* name : {"QuiltCreationToolSettings", "EnterpriseSettings"}) {
        auto dict = KTPlist::readFile(bundlePath + "/Contents/Resources/" + name + ".plist");
        if (dict && dict->is_object())
            return *dict;
    }
    return KTJson::object();
}

} // namespace

std::string KTAppRegistry::applicationsFolder() { return KTPaths::userDataDir() + "/applications"; }

std::string KTAppRegistry::defaultAppsFolder() { return KTPaths::userDataDir() + "/quilt/apps"; }

std::string KTAppRegistry::desktopFilePath(const std::string& bundleIdentifier)
{
    return applicationsFolder() + "/" + bundleIdentifier + ".desktop";
}

std::string KTAppRegistry::iconPath(const std::string& bundleIdentifier)
{
    return KTPaths::userDataDir() + "/icons/hicolor/512x512/apps/" + bundleIdentifier + ".png";
}

std::string KTAppRegistry::bundleIdentifierFor(const std::string& name, const std::string& uniqueId)
{
    // Transliterate first, so "Café" becomes "cafe" rather than "caf_".
    gchar* ascii = g_str_to_ascii(name.c_str(), "C");
    std::string element;
    for (const char* p = ascii; p && *p; ++p) {
        char c = *p;
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
        const bool alnum = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
        if (alnum)
            element += c;
        else if (!element.empty() && element.back() != '_')
            element += '_';
    }
    g_free(ascii);
    while (!element.empty() && element.back() == '_')
        element.pop_back();
    if (element.size() > 40)
        element.resize(40);
    if (element.empty())
        element = "app";
    // D-Bus name elements must not start with a digit.
    if (element[0] >= '0' && element[0] <= '9')
        element = "app_" + element;

    std::string hex;
    for (char c : uniqueId) {
        if (g_ascii_isxdigit(c))
            hex += g_ascii_tolower(c);
        if (hex.size() == 8)
            break;
    }
    if (hex.size() < 8) {
        // Identifiers from elsewhere need not be hexadecimal; a digest of
        // them still tells two apps apart.
        gchar* digest = g_compute_checksum_for_string(G_CHECKSUM_SHA256, uniqueId.c_str(), -1);
        hex = std::string(digest, 8);
        g_free(digest);
    }
    return "org.quilt.apps." + element + "_" + hex;
}

bool KTAppRegistry::isAppBundle(const std::string& path)
{
    if (!KTFileUtil::isDirectory(path + "/Contents/MacOS") || !KTFileUtil::exists(path + "/Contents/Info.plist"))
        return false;
    KTBundle bundle(path);
    return !bundle.shortVersion().empty();
}

std::vector<KTInstalledApp> KTAppRegistry::list(const std::vector<std::string>& folders)
{
    std::vector<KTInstalledApp> apps;
    std::vector<std::string> seen;

    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(applicationsFolder(), ec)) {
        const std::string file = entry.path().string();
        if (entry.path().extension() != ".desktop")
            continue;
        auto desktop = KTDesktopEntry::readFile(file);
        if (!desktop || desktop->uniqueId.empty())
            continue;
        KTInstalledApp app;
        app.name = desktop->name;
        app.url = desktop->url;
        app.bundlePath = desktop->bundlePath;
        if (app.bundlePath.empty() && !desktop->executable.empty())
            app.bundlePath = KTFileUtil::parentFolder(KTFileUtil::parentFolder(
                KTFileUtil::parentFolder(desktop->executable)));
        app.uniqueId = desktop->uniqueId;
        app.bundleIdentifier = entry.path().stem().string();
        app.desktopFile = file;
        app.iconPath = desktop->icon == iconPath(app.bundleIdentifier) ? desktop->icon : std::string();
        seen.push_back(canonical(app.bundlePath));
        apps.push_back(std::move(app));
    }

    for (const auto& folder : folders) {
        std::error_code ec2;
        for (const auto& entry : fs::directory_iterator(folder, ec2)) {
            const std::string path = entry.path().string();
            if (entry.path().extension() != ".app" || entry.path().filename().string().front() == '.')
                continue;
            if (std::find(seen.begin(), seen.end(), canonical(path)) != seen.end() || !isAppBundle(path))
                continue;
            KTBundle bundle(path);
            KTJson config = configurationOf(path);
            KTInstalledApp app;
            app.name = json::stringFor(config, "appName").value_or(bundle.folderName());
            app.url = json::stringFor(config, "URL").value_or(std::string());
            app.bundlePath = path;
            app.uniqueId = bundle.uniqueIdentifier().value_or(std::string());
            app.bundleIdentifier = bundle.bundleIdentifier();
            if (KTFileUtil::exists(iconPath(app.bundleIdentifier)))
                app.iconPath = iconPath(app.bundleIdentifier);
            seen.push_back(canonical(path));
            apps.push_back(std::move(app));
        }
    }
    std::sort(apps.begin(), apps.end(), [](const auto& a, const auto& b) {
        return a.name != b.name ? a.name < b.name : a.bundlePath < b.bundlePath;
    });
    return apps;
}

void KTAppRegistry::remove(const KTInstalledApp& app, bool purge)
{
    KTInterruption interruption;
    // The bundle is first renamed to a hidden staging name in one step: a
    // removal that fails or is stopped later never leaves a launcher to a
    // half-removed app, and the next run of the tool clears the rest.
    std::string aside;
    if (!app.bundlePath.empty() && KTFileUtil::exists(app.bundlePath)) {
        if (!isAppBundle(app.bundlePath))
            throw KTCreateFailure::badInput(app.bundlePath + " is not an app bundle; not removing it");
        KTInterruption::check();
        aside = KTFileUtil::parentFolder(app.bundlePath) + "/." + KTFileUtil::lastComponent(app.bundlePath) + ".XXXXXX";
        if (!::mkdtemp(aside.data()))
            throw KTCreateFailure::ioError("cannot remove " + app.bundlePath + ": " + std::strerror(errno));
        // Renaming a folder over an empty one replaces it.
        if (::rename(app.bundlePath.c_str(), aside.c_str()) != 0) {
            const int err = errno;
            ::rmdir(aside.c_str());
            throw KTCreateFailure::ioError("cannot remove " + app.bundlePath + ": " + std::strerror(err));
        }
    }
    if (!app.desktopFile.empty())
        removeOrFail(app.desktopFile);
    if (!app.iconPath.empty())
        removeOrFail(app.iconPath);
    if (!aside.empty())
        removeOrFail(aside);
    if (!purge)
        return;
    if (isSafeComponent(app.uniqueId))
        removeOrFail(KTPaths::userDataDir() + "/Quilt/" + app.uniqueId);
    if (isSafeComponent(app.bundleIdentifier)) {
        removeOrFail(KTPaths::userCacheDir() + "/" + app.bundleIdentifier);
        removeOrFail(KTPaths::userConfigDir() + "/" + app.bundleIdentifier);
    }
}

void KTAppRegistry::refreshDesktopDatabase()
{
    gchar* program = g_find_program_in_path("update-desktop-database");
    if (!program)
        return;
    const std::string folder = applicationsFolder();
    gchar* argv[] = {program, const_cast<gchar*>("-q"), const_cast<gchar*>(folder.c_str()), nullptr};
    g_spawn_sync(nullptr, argv, nullptr,
                 static_cast<GSpawnFlags>(G_SPAWN_STDOUT_TO_DEV_NULL | G_SPAWN_STDERR_TO_DEV_NULL), nullptr, nullptr,
                 nullptr, nullptr, nullptr, nullptr);
    g_free(program);
}

} // namespace quilt

