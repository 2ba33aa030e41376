#pragma once

#include "core/config/KTColor.h"
#include "core/config/KTRect.h"

#include <gdk-pixbuf/gdk-pixbuf.h>

#include <string>

namespace quilt {

// How the stores reach the running application (windows, menus, platform
// services) without depending on it. The application installs its own; until
// then every call does nothing and questions get neutral answers, so the
// stores work the same in tools and tests.
class KTShellDelegate {
public:
    virtual ~KTShellDelegate() = default;

    static KTShellDelegate& shared();
    // Not owned; pass nullptr to restore the neutral delegate.
    static void setShared(KTShellDelegate* delegate);

    // Options an enterprise configuration applies through the application.
    virtual void setMainWindowColor(const KTColor&) {}
    virtual void setMainWindowTitle(bool) {}
    virtual void setMainWindowTitleIcon(bool) {}
    virtual void setMainWindowTitleBar(bool) {}
    virtual void setStausBarOption(bool) {}
    virtual void setHidePreferences(bool) {}
    virtual void setUserScriptStyleOption(bool) {}
    virtual void setMobileDesktopOption(bool) {}
    virtual void setBookmark(bool) {}
    virtual void setDefaultWindowSize(double /*width*/, double /*height*/) {}

    // The application's first window.
    virtual void setFirstWindowLevel(long) {}
    virtual void setFirstWindowShadow(bool) {}
    virtual void setFirstWindowAlpha(double) {}

    // Platform services.
    virtual void setApplicationIcon(GdkPixbuf* /*image*/) {}
    virtual void applyCookieAcceptPolicy(unsigned long) {}
    virtual void registerGlobalShortcut(const std::string& /*accelerator*/) {}
    virtual KTRect mainScreenFrame() { return KTRect{0, 0, 1920, 1080}; }
};

} // namespace quilt
