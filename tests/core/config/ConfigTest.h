#pragma once

// Helpers shared by the configuration-layer tests.

#include "TestEnvironment.h"

#include "core/config/KTNumber.h"
#include "core/config/KTShellDelegate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace quilt::test {

// The application side as the stores see it: a real KTShellDelegate that
// writes every call into one ordered list ("name arg"). Tests may append
// their own events (notifications) to the same list to check the order.
class RecordingShellDelegate : public KTShellDelegate {
public:
    RecordingShellDelegate() { KTShellDelegate::setShared(this); }
    ~RecordingShellDelegate() override { KTShellDelegate::setShared(nullptr); }

    std::vector<std::string> calls;
    GdkPixbuf* icon = nullptr;
    KTRect screen{0, 0, 1600, 900};

    void setMainWindowColor(const KTColor& c) override { note("setMainWindowColor", c.stringRepresentation()); }
    void setMainWindowTitle(bool v) override { note("setMainWindowTitle", v); }
    void setMainWindowTitleIcon(bool v) override { note("setMainWindowTitleIcon", v); }
    void setMainWindowTitleBar(bool v) override { note("setMainWindowTitleBar", v); }
    void setStausBarOption(bool v) override { note("setStausBarOption", v); }
    void setHidePreferences(bool v) override { note("setHidePreferences", v); }
    void setUserScriptStyleOption(bool v) override { note("setUserScriptStyleOption", v); }
    void setMobileDesktopOption(bool v) override { note("setMobileDesktopOption", v); }
    void setBookmark(bool v) override { note("setBookmark", v); }
    void setDefaultWindowSize(double w, double h) override
    {
        note("setDefaultWindowSize", std::to_string(static_cast<int>(w)) + "x" + std::to_string(static_cast<int>(h)));
    }
    void setFirstWindowLevel(long v) override { note("setFirstWindowLevel", std::to_string(v)); }
    void setFirstWindowShadow(bool v) override { note("setFirstWindowShadow", v); }
    void setFirstWindowAlpha(double v) override { note("setFirstWindowAlpha", KTNumber::format(v, 6)); }
    void setApplicationIcon(GdkPixbuf* image) override
    {
        icon = image;
        note("setApplicationIcon", std::string());
    }
    void applyCookieAcceptPolicy(unsigned long v) override { note("applyCookieAcceptPolicy", std::to_string(v)); }
    KTRect mainScreenFrame() override { return screen; }

    size_t count(const std::string& prefix) const
    {
        return static_cast<size_t>(std::count_if(calls.begin(), calls.end(),
                                                 [&](const std::string& c) { return c.rfind(prefix, 0) == 0; }));
    }

private:
    void note(const std::string& name, const std::string& arg) { calls.push_back(name + " " + arg); }
    void note(const std::string& name, bool v) { note(name, std::string(v ? "1" : "0")); }
};

// Makes every write past `bytes` fail with EFBIG, as a full disk would. The
// tests run as root, so folder permissions cannot provoke a failed write;
// this limit can.
class ScopedFileSizeLimit {
public:
    explicit ScopedFileSizeLimit(rlim_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &old_);
        oldHandler_ = std::signal(SIGXFSZ, SIG_IGN);
        rlimit lim = old_;
        lim.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &lim);
    }
    ~ScopedFileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &old_);
        std::signal(SIGXFSZ, oldHandler_);
    }
    ScopedFileSizeLimit(const ScopedFileSizeLimit&) = delete;
    ScopedFileSizeLimit& operator=(const ScopedFileSizeLimit&) = delete;

private:
    rlimit old_{};
    void (*oldHandler_)(int) = SIG_DFL;
};

} // namespace quilt::test
