#include "KTBundleBuilder.h"

#include "KTCreateFailure.h"
#include "KTIconMaker.h"
#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTPlist.h"

#include <filesystem>
#include <set>
#include <unistd.h>

namespace fs = std::filesystem;

namespace quilt {

namespace {

// Resources that belong to one made app, never to the template.
const std::set<std::string>& perAppResources()
{
    static const std::set<std::string> names = {KTBundleBuilder::kTemplateName, KTBundle::kUniqueIdFallbackFile,
                                                 "QuiltCreationToolSettings.plist", "EnterpriseSettings.plist"};
    return names;
}

void copyOrFail(const std::string& from, const std::string& to)
{
    std::string error;
    if (!KTFileUtil::copyTree(from, to, &error))
        throw KTCreateFailure::ioError(error);
}

void makeOrFail(const std::string& path)
{
    std::string error;
    if (!KTFileUtil::makeDirectories(path, &error))
        throw KTCreateFailure::ioError(error);
}

void writeOrFail(const std::string& path, std::string_view data)
{
    std::string error;
    if (!KTFileUtil::writeAtomically(path, data, &error))
        throw KTCreateFailure::ioError(error);
}

} // namespace

KTBundleBuilder::KTBundleBuilder(std::string templatePath)
    : template_(std::move(templatePath))
{
}

std::optional<std::string> KTBundleBuilder::templateProblem(const std::string& path)
{
    if (!KTFileUtil::isDirectory(path))
        return path + " is not a folder";
    auto info = KTPlist::readFile(path + "/Contents/Info.plist");
    if (!info || !info->is_object())
        return path + " has no readable Contents/Info.plist";
    if (!json::stringFor(*info, "CFBundleShortVersionString"))
        return path + "/Contents/Info.plist has no CFBundleShortVersionString";
    const std::string exe = path + "/Contents/MacOS/" + kExecutable;
    if (::access(exe.c_str(), X_OK) != 0)
        return path + " has no executable Contents/MacOS/" + kExecutable;
    return std::nullopt;
}

void KTBundleBuilder::copyTemplateContents(const std::string& from, const std::string& to)
{
    const std::string contents = from + "/Contents";
    makeOrFail(to + "/Contents/Resources");
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(contents, ec)) {
        const std::string name = entry.path().filename().string();
        if (name != "Resources") {
            copyOrFail(entry.path().string(), to + "/Contents/" + name);
            continue;
        }
        std::error_code ec2;
        for (const auto& res : fs::directory_iterator(entry.path(), ec2)) {
            const std::string resName = res.path().filename().string();
            if (!perAppResources().count(resName))
                copyOrFail(res.path().string(), to + "/Contents/Resources/" + resName);
        }
        if (ec2)
            throw KTCreateFailure::ioError(entry.path().string() + ": " + ec2.message());
    }
    if (ec)
        throw KTCreateFailure::ioError(contents + ": " + ec.message());
}

void KTBundleBuilder::build(const std::string& folder, const Contents& contents) const
{
    copyTemplateContents(template_, folder);
    const std::string resources = folder + "/Contents/Resources";

    // The app keeps the template's keys (transport security and whatever a
    // later template adds) and its versions, under its own name.
    std::string error;
    auto info = KTPlist::readFile(template_ + "/Contents/Info.plist", &error);
    if (!info || !info->is_object())
        throw KTCreateFailure::ioError("cannot read the template's Info.plist: " + error);
    (*info)["CFBundleName"] = contents.name;
    (*info)["CFBundleIdentifier"] = contents.bundleIdentifier;
    (*info)["CFBundleExecutable"] = kExecutable;
    if (!KTPlist::writeFile(folder + "/Contents/Info.plist", *info, &error))
        throw KTCreateFailure::ioError("cannot write Info.plist: " + error);

    if (!KTPlist::writeFile(resources + "/" + contents.configurationName + ".plist", contents.configuration, &error))
        throw KTCreateFailure::ioError("cannot write " + contents.configurationName + ".plist: " + error);

    const std::string icon = resources + "/" + kIconFile;
    if (contents.keptIcns)
        writeOrFail(icon, *contents.keptIcns);
    else if (!KTIconMaker::writeIcns(icon, contents.icon.get(), &error))
        throw KTCreateFailure::ioError("cannot write AppIcon.icns: " + error);

    const std::string scripts = resources + "/" + kUserScriptsFile;
    if (contents.keptUserScripts || contents.userScripts)
        makeOrFail(KTFileUtil::parentFolder(scripts));
    if (contents.keptUserScripts)
        writeOrFail(scripts, *contents.keptUserScripts);
    else if (contents.userScripts)
        writeOrFail(scripts, json::compact(*contents.userScripts));

    // Updates of this app and of others copy from here.
    const std::string inner = resources + "/" + kTemplateName;
    makeOrFail(inner);
    copyTemplateContents(template_, inner);

    if (!KTBundle::writeUniqueIdentifier(folder, contents.uniqueId, &error))
        throw KTCreateFailure::ioError("cannot record the app's unique id: " + error);
}

} // namespace quilt
