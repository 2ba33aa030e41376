#include "KTHelperServiceFile.h"

#include "core/config/KTFileUtil.h"
#include "core/config/KTPaths.h"
#include "core/services/KTHelperBusNames.h"

#include <glib.h>

#include <climits>
#include <cstdlib>
#include <unistd.h>

namespace quilt {

std::string KTHelperServiceFile::path()
{
    return KTPaths::userDataDir() + "/dbus-1/services/" + KTHelperBusNames::kServiceName + ".service";
}

std::string KTHelperServiceFile::contents(const std::string& helperExecutable)
{
    // The bus splits Exec= like a shell: quote a path that needs it.
    const bool plain = helperExecutable.find_first_not_of(
                           "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._+-")
                       == std::string::npos;
    gchar* quoted = g_shell_quote(helperExecutable.c_str());
    const std::string exec = plain ? helperExecutable : std::string(quoted);
    g_free(quoted);
    return std::string("[D-BUS Service]\nName=") + KTHelperBusNames::kServiceName + "\nExec=" + exec + "\n";
}

std::optional<std::string> KTHelperServiceFile::findHelper()
{
    if (const char* env = std::getenv("QUILT_HELPER"); env && *env)
        return KTFileUtil::exists(env) ? std::optional<std::string>(env) : std::nullopt;
    char buf[PATH_MAX];
    const ssize_t n = ::readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0)
        return std::nullopt;
    const std::string folder = KTFileUtil::parentFolder(std::string(buf, static_cast<size_t>(n)));
    const std::string up = KTFileUtil::parentFolder(folder);
    for (const std::string& candidate :
         {up + "/helper/quilt-helper", up + "/libexec/quilt/quilt-helper", folder + "/quilt-helper"})
        if (::access(candidate.c_str(), X_OK) == 0)
            return candidate;
    return std::nullopt;
}

bool KTHelperServiceFile::install(const std::string& helperExecutable, std::string* error)
{
    const std::string text = contents(helperExecutable);
    if (KTFileUtil::read(path()).value_or("") == text)
        return true;
    if (!KTFileUtil::makeDirectories(KTFileUtil::parentFolder(path()))) {
        if (error)
            *error = "cannot make " + KTFileUtil::parentFolder(path());
        return false;
    }
    return KTFileUtil::writeAtomically(path(), text, error);
}

} // namespace quilt
