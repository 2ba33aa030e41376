#pragma once

// Every command and notification that travels by name through the
// notification centre, in one place so that a poster and its observers can
// never drift apart. The texts are what earlier versions used and stay as
// they are, odd spellings included: pages, panes and scripts match on them.
namespace quilt::names {

// Commands for the selected page of every window.
inline constexpr char kReload[] = "reload";
inline constexpr char kStop[] = "stop";
inline constexpr char kPrintPage[] = "printpage";
inline constexpr char kZoomIn[] = "zoomin";
inline constexpr char kZoomOut[] = "zoomout";
inline constexpr char kResetZoom[] = "resetzoom";
// These three print the page rather than answer a zoom question (kept).
inline constexpr char kCanZoomIn[] = "canzoomin";
inline constexpr char kCanZoomOut[] = "canzoomout";
inline constexpr char kCanResetZoom[] = "canresetzoom";
inline constexpr char kRequestMobileVersion[] = "requestMobileVersion";
inline constexpr char kRequestDesktopVersion[] = "requestDesktopVersion";
inline constexpr char kShowBookmark[] = "showBookmark";
inline constexpr char kNewTab[] = "New tab";
// User info "url".
inline constexpr char kOpenLinkInNewTab[] = "Open Link In New Tab";
// Object: the agent's name or text. "Anget" is the historic spelling.
inline constexpr char kChangeUserAgent[] = "changeUserAnget";
inline constexpr char kSetCustomUserAgent[] = "setCustomUserAnget";
// Object: the web view whose page asked to close.
inline constexpr char kNeedCloseWebView[] = "needCloseWebView";

// Application and window notifications.
inline constexpr char kShowWindow[] = "showWindow";
inline constexpr char kDownloadAdd[] = "downloadAdd";
inline constexpr char kUpdateWindowBackgroundColor[] = "UpdateWindowBackgroundColorNotification";
// User info "hide".
inline constexpr char kShowHideToolbarButton[] = "ShowHideToolbarButtonNotification";
// User info "TitlebarVisibility".
inline constexpr char kTitlebarVisibilityChange[] = "TitlebarVisibilityChangeNotification";
inline constexpr char kRefreshTimeIntervalChange[] = "RefreshTimeIntervalChangeNotification";
// The app's badge text changed (core/menubar/KTDockBadge); user info "text".
inline constexpr char kDockBadgeChanged[] = "DockBadgeChangedNotification";

// Live page switches: a setting changed, every open page re-applies it.
inline constexpr char kRefreshFont[] = "refreshFont";
inline constexpr char kEnablePlugins[] = "enablePlugins";
inline constexpr char kEnableJavaScript[] = "enableJavaScript";
// Two w's: the settings key of the same name is spelt so too.
inline constexpr char kBlockPopupWindow[] = "blockPopupWindoww";
inline constexpr char kHideProgressBar[] = "hideProgressBar";
inline constexpr char kBlockAds[] = "blockAds";

} // namespace quilt::names
