#include "KTSiteProbe.h"

#include "KTProbeCache.h"

#include "core/config/GRef.h"

#include <gdk-pixbuf/gdk-pixbuf.h>
#include <libsoup/soup.h>

#include <algorithm>
#include <csignal>
#include <condition_variable>
#include <mutex>
#include <thread>

#ifndef QUILT_TOOL_VERSION
#define QUILT_TOOL_VERSION "0"
#endif

namespace quilt {

namespace {

using Clock = std::chrono::steady_clock;

struct Fetched {
    bool ok = false;
    std::string url; // after redirects
    std::string body;
    std::string error;
};

std::string gerrorText(GError* error)
{
    std::string text = error ? error->message : "unknown error";
    return text;
}

sigset_t stopSignals()
{
    sigset_t set;
    sigemptyset(&set);
    for (int sig : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&set, sig);
    return set;
}

// GLib and libsoup start threads that outlive the probe; they must not
// take a stop signal that the creation's rollback waits for in the main
// thread, so they are born with those signals blocked. A signal arriving
// meanwhile ends the probe at once and takes its course afterwards.
class StopSignalsHeld {
public:
    StopSignalsHeld()
    {
        const sigset_t set = stopSignals();
        ::pthread_sigmask(SIG_BLOCK, &set, &previous_);
    }
    ~StopSignalsHeld() { ::pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    StopSignalsHeld(const StopSignalsHeld&) = delete;
    StopSignalsHeld& operator=(const StopSignalsHeld&) = delete;

    static bool pending()
    {
        sigset_t pending;
        sigemptyset(&pending);
        ::sigpending(&pending);
        for (int sig : {SIGTERM, SIGINT, SIGHUP})
            if (sigismember(&pending, sig))
                return true;
        return false;
    }

private:
    sigset_t previous_;
};

// Cancels everything in flight when the total time is up, whatever the
// server does: a site that trickles bytes cannot hold the tool.
class Deadline {
public:
    explicit Deadline(std::chrono::milliseconds total)
        : end_(Clock::now() + total), cancellable_(g_cancellable_new())
    {
        watcher_ = std::thread([this] {
            std::unique_lock lock(mutex_);
            while (!done_) {
                cv_.wait_until(lock, std::min(end_, Clock::now() + std::chrono::milliseconds(50)));
                if (!done_ && (Clock::now() >= end_ || StopSignalsHeld::pending())) {
                    g_cancellable_cancel(cancellable_);
                    return;
                }
            }
        });
    }
    ~Deadline()
    {
        {
            std::lock_guard lock(mutex_);
            done_ = true;
        }
        cv_.notify_all();
        watcher_.join();
        g_object_unref(cancellable_);
    }
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;

    GCancellable* cancellable() const { return cancellable_; }
    bool expired() const { return g_cancellable_is_cancelled(cancellable_); }
    // Whole seconds left, at least one, for libsoup's own I/O timeout.
    unsigned secondsLeft() const
    {
        auto left = std::chrono::duration_cast<std::chrono::seconds>(end_ - Clock::now()).count();
        return static_cast<unsigned>(std::max<long long>(1, left + 1));
    }

private:
    Clock::time_point end_;
    GCancellable* cancellable_;
    std::mutex mutex_;
    std::condition_variable cv_;
    bool done_ = false;
    std::thread watcher_;
};

class Fetcher {
public:
    Fetcher(const KTSiteProbe::Limits& limits, const Deadline& deadline)
        : limits_(limits), deadline_(deadline)
    {
        session_ = soup_session_new_with_options("user-agent", "quilt-create/" QUILT_TOOL_VERSION, nullptr);
    }
    ~Fetcher() { g_object_unref(session_); }
    Fetcher(const Fetcher&) = delete;
    Fetcher& operator=(const Fetcher&) = delete;

    // `cut`: a body over `cap` is cut there instead of refused.
    Fetched get(const std::string& start, size_t cap, bool cut) const
    {
        Fetched out;
        std::string url = start;
        for (int hop = 0;; ++hop) {
            if (deadline_.expired()) {
                out.error = "timed out";
                return out;
            }
            soup_session_set_timeout(session_, deadline_.secondsLeft());
            auto msg = GRef<SoupMessage>::adopt(soup_message_new("GET", url.c_str()));
            if (!msg) {
                out.error = "not a valid address";
                return out;
            }
            soup_message_set_flags(msg.get(), SOUP_MESSAGE_NO_REDIRECT);
            GError* error = nullptr;
            auto stream = GRef<GInputStream>::adopt(
                soup_session_send(session_, msg.get(), deadline_.cancellable(), &error));
            if (!stream) {
                out.error = deadline_.expired() ? "timed out" : gerrorText(error);
                g_clear_error(&error);
                return out;
            }
            const unsigned status = soup_message_get_status(msg.get());
            if (SOUP_STATUS_IS_REDIRECTION(status)) {
                g_input_stream_close(stream.get(), nullptr, nullptr);
                const char* location
                    = soup_message_headers_get_one(soup_message_get_response_headers(msg.get()), "Location");
                if (!location) {
                    out.error = "a redirect without a target";
                    return out;
                }
                if (hop >= limits_.maxRedirects) {
                    out.error = "more than " + std::to_string(limits_.maxRedirects) + " redirects";
                    return out;
                }
                auto next = KTSiteIdentity::resolve(url, location);
                if (!next) {
                    out.error = "a redirect to an address that is not http or https";
                    return out;
                }
                if (hasUserInfo(*next)) {
                    out.error = "a redirect to an address holding a password";
                    return out;
                }
                url = *next;
                continue;
            }
            out.url = url;
            if (!SOUP_STATUS_IS_SUCCESSFUL(status)) {
                g_input_stream_close(stream.get(), nullptr, nullptr);
                out.error = "the server answered " + std::to_string(status);
                return out;
            }
            return read(stream.get(), cap, cut, std::move(out));
        }
    }

private:
    static bool hasUserInfo(const std::string& url)
    {
        GUri* uri = g_uri_parse(url.c_str(), G_URI_FLAGS_NONE, nullptr);
        const bool has = uri && g_uri_get_userinfo(uri) && *g_uri_get_userinfo(uri);
        if (uri)
            g_uri_unref(uri);
        return has;
    }

    Fetched read(GInputStream* stream, size_t cap, bool cut, Fetched out) const
    {
        char buffer[64 * 1024];
        for (;;) {
            GError* error = nullptr;
            const gssize n = g_input_stream_read(stream, buffer, sizeof buffer, deadline_.cancellable(), &error);
            if (n < 0) {
                out.error = deadline_.expired() ? "timed out" : gerrorText(error);
                g_clear_error(&error);
                return out;
            }
            if (n == 0)
                break;
            out.body.append(buffer, static_cast<size_t>(n));
            if (out.body.size() > cap) {
                if (!cut) {
                    out.error = "larger than " + std::to_string(cap / 1024) + " KiB";
                    return out;
                }
                out.body.resize(cap);
                break;
            }
        }
        g_input_stream_close(stream, nullptr, nullptr);
        out.ok = true;
        return out;
    }

    const KTSiteProbe::Limits& limits_;
    const Deadline& deadline_;
    SoupSession* session_;
};

struct DecodeState {
    int maxSide;
    bool refused = false;
};

// Decodes icon bytes of any format gdk-pixbuf reads. A raster picture
// larger than the limit is refused when its size is known, before its
// pixels are allocated; a vector picture is drawn at 512 px.
GRef<GdkPixbuf> decodeIcon(const std::string& bytes, int maxSide, std::string* error)
{
    auto loader = GRef<GdkPixbufLoader>::adopt(gdk_pixbuf_loader_new());
    DecodeState state {maxSide};
    g_signal_connect(loader.get(), "size-prepared",
                     G_CALLBACK(+[](GdkPixbufLoader* l, int w, int h, gpointer data) {
                         auto* s = static_cast<DecodeState*>(data);
                         GdkPixbufFormat* format = gdk_pixbuf_loader_get_format(l);
                         if (format && gdk_pixbuf_format_is_scalable(format)) {
                             const double scale = 512.0 / std::max(1, std::max(w, h));
                             gdk_pixbuf_loader_set_size(l, std::max(1, static_cast<int>(w * scale)),
                                                        std::max(1, static_cast<int>(h * scale)));
                         } else if (w > s->maxSide || h > s->maxSide) {
                             s->refused = true;
                             gdk_pixbuf_loader_set_size(l, 1, 1);
                         }
                     }),
                     &state);
    GError* gerror = nullptr;
    bool ok = gdk_pixbuf_loader_write(loader.get(), reinterpret_cast<const guchar*>(bytes.data()), bytes.size(),
                                      &gerror);
    ok = gdk_pixbuf_loader_close(loader.get(), ok ? &gerror : nullptr) && ok;
    if (state.refused) {
        *error = "larger than " + std::to_string(maxSide) + " pixels";
        g_clear_error(&gerror);
        return {};
    }
    GdkPixbuf* pixbuf = ok ? gdk_pixbuf_loader_get_pixbuf(loader.get()) : nullptr;
    if (!pixbuf) {
        *error = gerror ? std::string("not a picture (") + gerror->message + ")" : "not a picture";
        g_clear_error(&gerror);
        return {};
    }
    return GRef<GdkPixbuf>::adopt(gdk_pixbuf_apply_embedded_orientation(pixbuf));
}

std::optional<std::string> pngOf(GdkPixbuf* pixbuf)
{
    gchar* buffer = nullptr;
    gsize size = 0;
    if (!gdk_pixbuf_save_to_buffer(pixbuf, &buffer, &size, "png", nullptr, nullptr))
        return std::nullopt;
    std::string out(buffer, size);
    g_free(buffer);
    return out;
}

std::string hostOf(const std::string& url)
{
    GUri* uri = g_uri_parse(url.c_str(), G_URI_FLAGS_NONE, nullptr);
    std::string host = uri && g_uri_get_host(uri) ? g_uri_get_host(uri) : url;
    if (uri)
        g_uri_unref(uri);
    return host;
}

KTJson optionalText(const std::optional<std::string>& s) { return s ? KTJson(*s) : KTJson(); }

// The first of the site's icons that can be fetched and decoded, kept in the
// cache; nothing, with a warning, when none can.
std::optional<std::string> bestIcon(KTSiteProbe::Result& result, const KTSiteProbe::Limits& limits,
                                    const Fetcher& fetcher, const Deadline& deadline, const KTProbeCache& cache)
{
    // A broken one gives way to the next.
    std::string firstProblem;
    int tries = 0;
    for (const auto& icon : result.identity.icons) {
        if (tries++ == limits.maxIconTries || deadline.expired())
            break;
        Fetched bytes = fetcher.get(icon.url, limits.maxIconBytes, false);
        std::string error = bytes.error;
        GRef<GdkPixbuf> pixbuf;
        if (bytes.ok)
            pixbuf = decodeIcon(bytes.body, limits.maxIconSide, &error);
        if (!pixbuf) {
            if (firstProblem.empty())
                firstProblem = KTSiteProbe::shown(icon.url) + ": " + error;
            continue;
        }
        std::string writeError = "cannot encode it as PNG";
        auto png = pngOf(pixbuf.get());
        auto path = png ? cache.store(result.url, *png, &writeError) : std::nullopt;
        if (!path)
            result.warnings.push_back("cannot keep the site's icon in " + cache.folder() + ": " + writeError);
        return path;
    }
    result.warnings.push_back(
        firstProblem.empty() ? "no icon could be fetched from " + hostOf(result.url) + " in time; the icon is generated"
                             : "no usable icon (" + firstProblem + "); the icon is generated");
    return std::nullopt;
}

} // namespace

KTSiteProbe::KTSiteProbe()
    : limits_(Limits {})
{
}

KTSiteProbe::KTSiteProbe(Limits limits)
    : limits_(limits)
{
}

std::string KTSiteProbe::defaultCacheFolder() { return std::string(g_get_user_cache_dir()) + "/quilt/probe"; }

std::string KTSiteProbe::shown(const std::string& url)
{
    GUri* uri = g_uri_parse(url.c_str(), G_URI_FLAGS_NONE, nullptr);
    if (!uri)
        return url;
    gchar* text = g_uri_to_string_partial(uri, static_cast<GUriHideFlags>(G_URI_HIDE_USERINFO | G_URI_HIDE_FRAGMENT));
    std::string out = text ? text : "";
    g_free(text);
    g_uri_unref(uri);
    return out;
}

KTSiteProbe::Result KTSiteProbe::probe(const KTSiteAddress& site, const std::string& cacheFolder) const
{
    Result result;
    result.url = site.url();
    const StopSignalsHeld held;
    const Deadline deadline(limits_.total);
    const Fetcher fetcher(limits_, deadline);

    KTSiteIdentity::Head head;
    std::optional<KTSiteIdentity::Manifest> manifest;
    Fetched page = fetcher.get(site.url(), limits_.maxPageBytes, true);
    if (page.ok) {
        result.reached = true;
        result.url = page.url;
        head = KTSiteIdentity::parseHead(page.body, page.url);
        if (head.manifestUrl) {
            Fetched m = fetcher.get(*head.manifestUrl, limits_.maxManifestBytes, false);
            std::string error = m.error;
            if (m.ok)
                manifest = KTSiteIdentity::parseManifest(m.body, m.url, page.url, &error);
            if (!manifest)
                result.warnings.push_back("the web app manifest " + shown(*head.manifestUrl)
                                          + " cannot be used (" + error + "); the page's title and icons are used");
        }
    } else {
        result.warnings.push_back("cannot reach " + shown(site.url()) + " (" + page.error
                                  + "); nothing is taken from the site");
    }
    result.identity = KTSiteIdentity::combine(head, manifest, result.url);
    const KTProbeCache cache(cacheFolder);
    if (result.reached)
        result.iconFile = bestIcon(result, limits_, fetcher, deadline, cache);
    cache.prune(result.iconFile);
    return result;
}

KTJson KTSiteProbe::Result::toJson() const
{
    KTJson j = KTJson::object();
    j["url"] = shown(url);
    j["name"] = identity.name;
    j["shortName"] = identity.shortName;
    j["iconFile"] = optionalText(iconFile);
    j["themeColor"] = optionalText(identity.themeColor);
    j["startUrl"] = identity.startUrl ? shown(*identity.startUrl) : shown(url);
    j["scope"] = identity.scope ? KTJson(shown(*identity.scope)) : KTJson();
    j["warnings"] = warnings;
    return j;
}

} // namespace quilt
