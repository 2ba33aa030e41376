#include "KTAppCreator.h"

#include "KTAppConfiguration.h"
#include "KTAppDataWriter.h"
#include "KTAppRegistry.h"
#include "KTBundleBuilder.h"
#include "KTCreateFailure.h"
#include "KTDesktopEntry.h"
#include "KTHelperServiceFile.h"
#include "KTIconMaker.h"
#include "KTInterruption.h"
#include "KTRollback.h"
#include "KTSiteAddress.h"
#include "KTSiteProbe.h"
#include "core/config/KTBundle.h"
#include "core/config/KTFileManager.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTPaths.h"
#include "core/config/KTUUID.h"

#include <glib.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#ifndef QUILT_TOOL_VERSION
#define QUILT_TOOL_VERSION "0"
#endif

namespace fs = std::filesystem;

namespace quilt {

namespace {

constexpr const char* kInstalledTemplate = "/usr/lib/quilt/DefaultApp.app";

std::string oneLine(std::string text)
{
    for (char& c : text)
        if (c == '\n' || c == '\r')
            c = ' ';
    return text;
}

std::string absolutePath(const std::string& path)
{
    std::error_code ec;
    auto p = fs::absolute(path, ec);
    return (ec ? fs::path(path) : p).lexically_normal().string();
}

std::string stripSlash(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

std::string readScript(const std::string& path)
{
    std::string error;
    auto text = KTFileUtil::read(path, &error);
    if (!text || KTFileUtil::isDirectory(path))
        throw KTCreateFailure::badInput("cannot read the user script " + path + (error.empty() ? "" : ": " + error));
    if (!g_utf8_validate(text->data(), static_cast<gssize>(text->size()), nullptr))
        throw KTCreateFailure::badInput("the user script " + path + " is not UTF-8 text");
    return *text;
}

std::string destinationOf(const KTCreateOptions& options)
{
    return stripSlash(absolutePath(options.dest.value_or(KTAppRegistry::defaultAppsFolder())));
}

std::string prepareDestination(const KTCreateOptions& options)
{
    const std::string dest = destinationOf(options);
    if (dest.find('%') != std::string::npos)
        throw KTCreateFailure::badInput(KTCreateOptions::kPercentProblem);
    std::string error;
    if (!KTFileUtil::makeDirectories(dest, &error))
        throw KTCreateFailure::badInput("cannot use the destination " + dest + ": " + error);
    if (::access(dest.c_str(), W_OK | X_OK) != 0)
        throw KTCreateFailure::badInput("cannot write to the destination " + dest + ": " + std::strerror(errno));
    return dest;
}

// Something already at the app's place: a folder that is not an app is
// never replaced, an app only when asked to (--force).
void checkTarget(const std::string& target, const std::string& name, bool force)
{
    if (!KTFileUtil::exists(target))
        return;
    if (!KTAppRegistry::isAppBundle(target))
        throw KTCreateFailure::badInput(target + " exists and is not an app bundle; not replacing it");
    if (!force)
        throw KTCreateFailure::nameTaken(target, "an app named \"" + name + "\" already exists at " + target
                                                     + " (use --force to replace it)");
}

void makeFolderOrFail(const std::string& path)
{
    std::string error;
    if (!KTFileUtil::makeDirectories(path, &error))
        throw KTCreateFailure::ioError("cannot make " + path + ": " + error);
}

bool renameFlags(const std::string& from, const std::string& to, unsigned flags)
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flags) == 0)
        return true;
    // File systems without these flags get the plain rename.
    if (errno == EINVAL || errno == ENOSYS || errno == ENOTSUP)
        errno = EINVAL;
    return false;
}

// Puts the finished bundle at `target`. With an old bundle there, the two
// are swapped in one step where the file system allows it, so there is no
// moment without an app.
void placeBundle(const std::string& stage, const std::string& target, bool replacing, KTRollback& rollback)
{
    if (!replacing) {
        if (!renameFlags(stage, target, RENAME_NOREPLACE)) {
            if (errno == EEXIST)
                throw KTCreateFailure::badInput(target + " appeared while the app was being made");
            if (errno != EINVAL || ::rename(stage.c_str(), target.c_str()) != 0)
                throw KTCreateFailure::ioError("cannot move the app to " + target + ": " + std::strerror(errno));
        }
        rollback.add([=] { ::rename(target.c_str(), stage.c_str()); });
        return;
    }
    if (renameFlags(stage, target, RENAME_EXCHANGE)) {
        // The staging folder now holds the old bundle and goes at the end.
        rollback.add([=] { renameFlags(stage, target, RENAME_EXCHANGE); });
        return;
    }
    if (errno != EINVAL)
        throw KTCreateFailure::ioError("cannot replace " + target + ": " + std::strerror(errno));
    const std::string backup = stage + ".old";
    if (::rename(target.c_str(), backup.c_str()) != 0)
        throw KTCreateFailure::ioError("cannot move the old app aside: " + std::string(std::strerror(errno)));
    rollback.finally([=] { KTFileUtil::removeTree(backup); });
    if (::rename(stage.c_str(), target.c_str()) != 0) {
        int err = errno;
        ::rename(backup.c_str(), target.c_str());
        throw KTCreateFailure::ioError("cannot move the app to " + target + ": " + std::strerror(err));
    }
    rollback.add([=] {
        ::rename(target.c_str(), stage.c_str());
        ::rename(backup.c_str(), target.c_str());
    });
}

void writeDesktopEntry(const std::string& path, const KTDesktopEntry& entry)
{
    std::string error;
    if (!KTFileUtil::writeAtomically(path, entry.toData(), &error, 0644))
        throw KTCreateFailure::ioError("cannot write the desktop entry: " + error);
}

// Launchers of this bundle under another identifier (an old bundle that had
// no unique id got a new one) would otherwise stay behind as duplicates.
void removeOtherLaunchers(const std::string& bundlePath, const std::string& keep)
{
    std::error_code unresolved;
    std::string target = fs::weakly_canonical(bundlePath, unresolved).string();
    if (unresolved) // a link loop or an over-long name: compare the path as given
        target = bundlePath;
    for (const auto& app : KTAppRegistry::list({})) {
        if (app.desktopFile.empty() || app.desktopFile == keep)
            continue;
        std::error_code ec;
        if (fs::weakly_canonical(app.bundlePath, ec).string() != target)
            continue;
        ::unlink(app.desktopFile.c_str());
        if (!app.iconPath.empty())
            ::unlink(app.iconPath.c_str());
    }
}

// The icon and the scripts live in the bundle, where the app's preferences
// change them: an old bundle's are carried over unless they are still as
// this tool wrote them or the user asks for new ones now.
void keepUserChangedBundleFiles(const std::string& oldBundle, const KTCreateOptions& options,
                                const KTAppDataWriter& writer, KTBundleBuilder::Contents& contents,
                                std::vector<std::string>& kept)
{
    const std::string resources = oldBundle + "/Contents/Resources/";
    if (!options.iconPath) {
        auto old = KTFileUtil::read(resources + KTBundleBuilder::kIconFile);
        if (old && !writer.isAsWritten(KTBundleBuilder::kIconFile, *old) && KTIconMaker::largestPng(*old)) {
            contents.keptIcns = *old;
            kept.push_back(KTBundleBuilder::kIconFile);
        }
    }
    if (!options.userScriptPath) {
        auto old = KTFileUtil::read(resources + KTBundleBuilder::kUserScriptsFile);
        if (old && !writer.isAsWritten(KTBundleBuilder::kUserScriptsFile, *old)) {
            contents.keptUserScripts = *old;
            kept.push_back(KTBundleBuilder::kUserScriptsFile);
        }
    }
}

// What a creation will do, settled before anything is written: everything
// the user can get wrong is refused here.
struct CreationPlan {
    KTSiteAddress site;
    std::string name;
    std::string templatePath;
    std::string dest;
    std::string target;
    bool replacing = false;
    std::string uniqueId;
    std::string bundleId;
    GRef<GdkPixbuf> icon;
    std::optional<std::string> script;
};

GRef<GdkPixbuf> iconFor(const KTCreateOptions& options, const KTSiteAddress& site)
{
    std::string error;
    if (options.iconPath) {
        auto icon = KTIconMaker::loadImage(*options.iconPath, &error);
        if (!icon)
            throw KTCreateFailure::badInput(error);
        return icon;
    }
    auto icon = KTIconMaker::generate(KTIconMaker::initialOf(options.name.value_or(site.displayDomain())),
                                      site.registrableDomain());
    if (!icon)
        throw KTCreateFailure::ioError("cannot draw the icon");
    return icon;
}

// "://host[:port]/path" of a manifest's scope: the scope itself, over http
// and https alike, as the default patterns are written.
std::optional<std::string> scopePattern(const std::string& scope)
{
    GUri* uri = g_uri_parse(scope.c_str(), G_URI_FLAGS_NONE, nullptr);
    if (!uri)
        return std::nullopt;
    std::string pattern;
    if (const char* host = g_uri_get_host(uri); host && *host) {
        const int port = g_uri_get_port(uri);
        std::string path = g_uri_get_path(uri);
        pattern = "://" + std::string(host) + (port > 0 ? ":" + std::to_string(port) : "") + (path.empty() ? "/" : path);
    }
    g_uri_unref(uri);
    if (pattern.empty() || pattern.find('*') != std::string::npos)
        return std::nullopt;
    return pattern;
}

// The options with what the site says filled in wherever the command line
// left a gap. Whatever cannot be had is one warning line.
KTCreateOptions withSiteIdentity(const KTCreateOptions& given, const KTSiteAddress& site, std::ostream& err)
{
    KTCreateOptions options = given;
    auto result = KTSiteProbe().probe(site);
    auto warn = [&](const std::string& line) { err << "quilt-create: warning: " << line << std::endl; };
    for (const auto& line : result.warnings)
        warn(line);
    if (!result.reached)
        return options;
    const KTSiteIdentity& id = result.identity;
    if (!options.name) {
        if (auto problem = KTCreateOptions::nameProblem(id.name))
            warn("the site's name \"" + id.name + "\" cannot be used (" + *problem + ")");
        else
            options.name = id.name;
    }
    if (!options.iconPath && result.iconFile)
        options.iconPath = result.iconFile;
    if (!options.allowAll && options.allowPatterns.empty() && id.scope)
        if (auto pattern = scopePattern(*id.scope))
            options.allowPatterns = {*pattern};
    if (id.startUrl && KTSiteAddress::parse(*id.startUrl))
        options.url = *id.startUrl;
    options.windowColor = id.themeColor;
    return options;
}

CreationPlan planCreation(const KTCreateOptions& options)
{
    CreationPlan plan;
    std::string error;
    auto site = KTSiteAddress::parse(options.url, &error);
    if (!site)
        throw KTCreateFailure::badInput(error);
    plan.site = *site;
    plan.name = options.name.value_or(site->displayHost());
    if (auto problem = KTCreateOptions::nameProblem(plan.name))
        throw KTCreateFailure::badInput(*problem);
    plan.templatePath = KTAppCreator::findTemplate(options.templatePath);
    plan.icon = iconFor(options, *site);
    if (options.userScriptPath)
        plan.script = readScript(*options.userScriptPath);

    plan.dest = prepareDestination(options);
    plan.target = plan.dest + "/" + plan.name + ".app";
    checkTarget(plan.target, plan.name, options.force);
    plan.replacing = KTFileUtil::exists(plan.target);

    // A replaced app keeps its identifier, and with it its data folder.
    plan.uniqueId = (plan.replacing ? KTBundle(plan.target).uniqueIdentifier() : std::nullopt).value_or(KTUUID::random());
    plan.bundleId = KTAppRegistry::bundleIdentifierFor(plan.name, plan.uniqueId);
    return plan;
}

// A hidden folder beside the destination, so the finished bundle moves into
// place by a rename on the same file system.
// The staging folder names the app it is for, so that a run killed outright
// (SIGKILL, power loss) can be cleaned up by the next one.
constexpr const char* kStagingFor = "user.QuiltStagingFor";

std::string makeStagingFolder(const CreationPlan& plan)
{
    std::string tmpl = plan.dest + "/." + plan.name + ".app.XXXXXX";
    if (!::mkdtemp(tmpl.data()))
        throw KTCreateFailure::ioError("cannot make a folder in " + plan.dest + ": " + std::strerror(errno));
    ::chmod(tmpl.c_str(), 0755);
    ::setxattr(tmpl.c_str(), kStagingFor, plan.uniqueId.data(), plan.uniqueId.size(), 0);
    return tmpl;
}

// ".NAME.app.XXXXXX" (and its ".old" twin) left by a run that was killed:
// older than any run still going could be. Its app's data folder goes too
// when it was new, i.e. no app known here uses its id.
bool isStagingName(std::string_view n)
{
    if (n.size() > 4 && n.substr(n.size() - 4) == ".old")
        n.remove_suffix(4);
    const size_t dot = n.rfind('.');
    if (n.size() < 2 || n[0] != '.' || dot == std::string_view::npos || n.size() - dot != 7)
        return false;
    return dot >= 4 && n.substr(dot - 4, 4) == ".app";
}

void removeStaleStaging(const std::string& folder, const std::vector<std::string>& appFolders)
{
    DIR* dir = ::opendir(folder.c_str());
    if (!dir)
        return;
    std::vector<std::string> stale;
    const time_t cutoff = ::time(nullptr) - 600;
    while (dirent* entry = ::readdir(dir)) {
        const std::string full = folder + "/" + entry->d_name;
        struct stat st {};
        if (isStagingName(entry->d_name) && ::lstat(full.c_str(), &st) == 0 && S_ISDIR(st.st_mode)
            && st.st_uid == ::getuid() && st.st_mtime < cutoff)
            stale.push_back(full);
    }
    ::closedir(dir);
    if (stale.empty())
        return;
    std::vector<KTInstalledApp> apps = KTAppRegistry::list(appFolders);
    for (const auto& path : stale) {
        char id[256] = {};
        const ssize_t n = ::getxattr(path.c_str(), kStagingFor, id, sizeof id - 1);
        const std::string uniqueId = n > 0 ? std::string(id, static_cast<size_t>(n)) : std::string();
        const bool inUse = std::any_of(apps.begin(), apps.end(), [&](const auto& a) { return a.uniqueId == uniqueId; });
        if (!uniqueId.empty() && !inUse && uniqueId.find('/') == std::string::npos && uniqueId[0] != '.')
            KTFileUtil::removeTree(KTPaths::userDataDir() + "/Quilt/" + uniqueId);
        KTFileUtil::removeTree(path);
    }
}

// A new app's data folder goes whole on rollback; an existing app's files
// get their old bytes back.
void guardDataFolder(const std::string& folder, bool existed, const KTAppDataWriter& writer, KTRollback& rollback)
{
    if (!existed) {
        rollback.add([=] { KTFileUtil::removeTree(folder); });
        return;
    }
    for (const auto& p : writer.managedPaths())
        rollback.saveFile(p);
}

KTBundleBuilder::Contents bundleContents(const CreationPlan& plan, const KTAppConfiguration& config,
                                 const KTCreateOptions& options)
{
    KTBundleBuilder::Contents contents;
    contents.name = plan.name;
    contents.bundleIdentifier = plan.bundleId;
    contents.uniqueId = plan.uniqueId;
    contents.configurationName = config.configurationName();
    contents.configuration = config.configuration();
    contents.icon = plan.icon;
    if (plan.script)
        contents.userScripts = KTAppConfiguration::userScripts(*plan.script, *options.scriptPattern);
    return contents;
}

// Remembers the bundle files this run wrote itself (not the ones carried
// over), so the next run can tell whether the user changed them.
void recordBundleFiles(const std::string& bundle, const KTBundleBuilder::Contents& contents, KTAppDataWriter& writer)
{
    const std::string resources = bundle + "/Contents/Resources/";
    if (!contents.keptIcns)
        writer.recordWritten(KTBundleBuilder::kIconFile,
                             KTFileUtil::read(resources + KTBundleBuilder::kIconFile).value_or(""));
    if (!contents.keptUserScripts)
        writer.recordWritten(KTBundleBuilder::kUserScriptsFile,
                             KTFileUtil::read(resources + KTBundleBuilder::kUserScriptsFile).value_or(""));
}

// The launcher icon is the ICNS's largest picture, as the app shows it.
void exportIcon(const std::string& bundle, const std::string& iconPath, KTRollback& rollback)
{
    rollback.saveFile(iconPath);
    std::string error;
    auto icns = KTFileUtil::read(bundle + "/Contents/Resources/" + KTBundleBuilder::kIconFile, &error);
    auto png = icns ? KTIconMaker::largestPng(*icns) : std::nullopt;
    if (!png || !KTFileUtil::writeAtomically(iconPath, *png, &error))
        throw KTCreateFailure::ioError("cannot export the icon: " + error);
}

KTDesktopEntry launcherFor(const CreationPlan& plan, const std::string& iconPath)
{
    KTDesktopEntry entry;
    entry.name = plan.name;
    entry.comment = "Web app for " + plan.site.displayHost();
    entry.executable = plan.target + "/Contents/MacOS/" + KTBundleBuilder::kExecutable;
    entry.icon = iconPath;
    entry.wmClass = plan.bundleId;
    entry.uniqueId = plan.uniqueId;
    entry.url = plan.site.url();
    entry.bundlePath = plan.target;
    return entry;
}

} // namespace

// Logins and notifications go through the helper service, which the bus
// starts from this file. An app works without it, so a problem here is a
// warning, not a failed creation.
void KTAppCreator::installHelperService()
{
    auto helper = KTHelperServiceFile::findHelper();
    std::string error;
    if (helper && !KTHelperServiceFile::install(*helper, &error))
        err_ << "quilt-create: warning: cannot write " << KTHelperServiceFile::path() << ": " << error << std::endl;
}

KTAppCreator::KTAppCreator(std::ostream& out, std::ostream& err)
    : out_(out), err_(err)
{
}

std::string KTAppCreator::version() { return QUILT_TOOL_VERSION; }

int KTAppCreator::run(const std::vector<std::string>& args)
{
    try {
        KTCreateOptions options = KTCreateOptions::parse(args);
        switch (options.command) {
        case KTCreateOptions::Command::Help:
            out_ << KTCreateOptions::usage();
            break;
        case KTCreateOptions::Command::Version:
            out_ << "quilt-create " << version() << "\n";
            break;
        case KTCreateOptions::Command::List:
            list(options);
            break;
        case KTCreateOptions::Command::Remove:
            remove(options);
            break;
        case KTCreateOptions::Command::Probe:
            probe(options);
            break;
        case KTCreateOptions::Command::Create:
            out_ << create(options) << "\n";
            break;
        }
        out_.flush();
        return 0;
    } catch (const KTCreateFailure& failure) {
        if (!failure.bundle().empty())
            out_ << failure.bundle() << std::endl;
        err_ << "quilt-create: " << oneLine(failure.what()) << std::endl;
        return failure.exitCode();
    } catch (const std::exception& e) {
        err_ << "quilt-create: " << oneLine(e.what()) << std::endl;
        return KTCreateFailure::kIOError;
    }
}

std::string KTAppCreator::findTemplate(const std::optional<std::string>& option)
{
    auto check = [](const std::string& path, const std::string& source) {
        if (auto problem = KTBundleBuilder::templateProblem(path))
            throw KTCreateFailure::badInput(source + " is not a template bundle: " + *problem);
        return stripSlash(absolutePath(path));
    };
    if (option)
        return check(*option, "--template");
    if (const char* env = std::getenv("QUILT_TEMPLATE"); env && *env)
        return check(env, "QUILT_TEMPLATE");
    char buf[PATH_MAX];
    ssize_t n = ::readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n > 0) {
        // build/tools/quilt-create -> build/DefaultApp.app; an installed
        // PREFIX/bin/quilt-create -> PREFIX/lib/quilt/DefaultApp.app, so
        // a staged or /usr/local install uses its own template.
        std::string exe(buf, static_cast<size_t>(n));
        const std::string up = KTFileUtil::parentFolder(KTFileUtil::parentFolder(exe));
        for (const std::string& candidate : {up + "/" + KTBundleBuilder::kTemplateName,
                                             up + "/lib/quilt/" + KTBundleBuilder::kTemplateName})
            if (!KTBundleBuilder::templateProblem(candidate))
                return candidate;
    }
    if (!KTBundleBuilder::templateProblem(kInstalledTemplate))
        return kInstalledTemplate;
    throw KTCreateFailure::ioError("no template bundle DefaultApp.app found; give one with --template DIR");
}

std::string KTAppCreator::create(const KTCreateOptions& given)
{
    KTCreateOptions options = given;
    // A name given is checked before the site is read, which takes seconds.
    if (given.name)
        checkTarget(destinationOf(given) + "/" + *given.name + ".app", *given.name, given.force);
    if (given.siteIdentity) {
        std::string error;
        auto site = KTSiteAddress::parse(given.url, &error);
        if (!site)
            throw KTCreateFailure::badInput(error);
        options = withSiteIdentity(given, *site, err_);
    }
    const CreationPlan plan = planCreation(options);
    removeStaleStaging(plan.dest, {KTAppRegistry::defaultAppsFolder(), plan.dest});
    const KTAppConfiguration config(options, plan.site, plan.name);
    const std::string desktopPath = KTAppRegistry::desktopFilePath(plan.bundleId);
    const std::string iconPath = KTAppRegistry::iconPath(plan.bundleId);
    makeFolderOrFail(KTAppRegistry::applicationsFolder());
    makeFolderOrFail(KTFileUtil::parentFolder(iconPath));

    // Declared before the rollback: a signal is taken between the steps
    // below and the rollback runs before the mask is restored.
    KTInterruption interruption;
    KTRollback rollback;
    const std::string stage = makeStagingFolder(plan);
    // After a swap it holds the old bundle; after a failure, the new one.
    rollback.finally([stage] { KTFileUtil::removeTree(stage); });

    const std::string dataFolder = KTPaths::userDataDir() + "/Quilt/" + plan.uniqueId;
    const bool dataExisted = KTFileUtil::exists(dataFolder);
    KTAppDataWriter writer(KTFileManager::getSettingsPathForSandbox(plan.uniqueId));
    guardDataFolder(dataFolder, dataExisted, writer, rollback);
    KTInterruption::check();

    KTBundleBuilder::Contents contents = bundleContents(plan, config, options);
    std::vector<std::string> kept;
    if (plan.replacing)
        keepUserChangedBundleFiles(plan.target, given, writer, contents, kept);
    KTBundleBuilder(plan.templatePath).build(stage, contents);
    KTInterruption::check();
    recordBundleFiles(stage, contents, writer);
    writer.write(config.settings(), config.allowList(), &kept);
    KTInterruption::check();

    placeBundle(stage, plan.target, plan.replacing, rollback);
    exportIcon(plan.target, iconPath, rollback);
    writeDesktopEntry(desktopPath, launcherFor(plan, iconPath));
    KTInterruption::check();
    rollback.commit();

    removeOtherLaunchers(plan.target, desktopPath);
    KTAppRegistry::refreshDesktopDatabase();
    installHelperService();
    for (const auto& file : kept)
        out_ << "kept " << file << ": changed since quilt-create wrote it\n";
    return plan.target;
}

void KTAppCreator::probe(const KTCreateOptions& options)
{
    std::string error;
    auto site = KTSiteAddress::parse(options.url, &error);
    if (!site)
        throw KTCreateFailure::badInput(error);
    out_ << json::compact(KTSiteProbe().probe(*site).toJson()) << "\n";
}

void KTAppCreator::list(const KTCreateOptions& options)
{
    std::vector<std::string> folders = {KTAppRegistry::defaultAppsFolder()};
    if (options.dest)
        folders.push_back(absolutePath(*options.dest));
    for (const auto& app : KTAppRegistry::list(folders))
        out_ << app.name << '\t' << app.url << '\t' << app.bundlePath << '\t' << app.uniqueId << '\n';
}

void KTAppCreator::remove(const KTCreateOptions& options)
{
    std::vector<std::string> folders = {KTAppRegistry::defaultAppsFolder()};
    std::optional<std::string> dest;
    if (options.dest) {
        dest = stripSlash(absolutePath(*options.dest));
        folders.push_back(*dest);
    }
    for (const auto& folder : folders)
        removeStaleStaging(folder, folders);
    std::vector<KTInstalledApp> matches;
    for (auto& app : KTAppRegistry::list(folders)) {
        if (app.name != options.removeName && KTBundle(app.bundlePath).folderName() != options.removeName)
            continue;
        if (dest && KTFileUtil::parentFolder(app.bundlePath) != *dest)
            continue;
        matches.push_back(std::move(app));
    }
    if (matches.empty())
        throw KTCreateFailure::badInput("no app named \"" + options.removeName + "\"");
    if (matches.size() > 1)
        throw KTCreateFailure::badInput("several apps are named \"" + options.removeName + "\" (in "
                                        + KTFileUtil::parentFolder(matches[0].bundlePath) + " and "
                                        + KTFileUtil::parentFolder(matches[1].bundlePath)
                                        + "); choose one with --dest DIR");
    KTAppRegistry::remove(matches[0], options.purge);
    KTAppRegistry::refreshDesktopDatabase();
    out_ << "removed " << matches[0].name << (options.purge ? " and its data" : "") << ": " << matches[0].bundlePath
         << '\n';
}

} // namespace quilt
