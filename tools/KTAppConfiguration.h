#pragma once

#include "KTAppDataWriter.h"
#include "KTCreateOptions.h"
#include "KTSiteAddress.h"
#include "core/config/KTJson.h"

#include <string>

namespace quilt {

// What a made app is told, decided from the command line and the site:
// the bundle's configuration property list, the first "settings.json" and
// allow-list of its data folder, and its user scripts. Pure: nothing here
// touches a file.
class KTAppConfiguration {
public:
    KTAppConfiguration(const KTCreateOptions& options, KTSiteAddress site, std::string appName);

    const std::string& appName() const { return appName_; }
    const KTSiteAddress& site() const { return site_; }
    bool enterprise() const { return options_.enterprise; }

    // "QuiltCreationToolSettings" or "EnterpriseSettings".
    std::string configurationName() const;
    // The keys the app reads from that property list.
    KTJson configuration() const;

    // The first settings: the home page and what a modern site needs.
    KTJson settings() const;
    KTAppDataWriter::AllowList allowList() const;

    // Rules file of the bundle's user scripts with the one given script.
    static KTJson userScripts(const std::string& script, const std::string& pattern);

private:
    KTJson creationToolConfiguration() const;
    KTJson enterpriseConfiguration() const;
    void addAllowListKeys(KTJson& dict) const;

    KTCreateOptions options_;
    KTSiteAddress site_;
    std::string appName_;
};

} // namespace quilt
