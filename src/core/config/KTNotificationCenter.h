#pragma once

#include "core/config/KTJson.h"

#include <any>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace quilt {

struct KTNotification {
    std::string name;
    std::any object;   // e.g. the agent name of "changeUserAnget"
    KTJson userInfo;   // e.g. {"hide": true}
};

// In-process notification centre: commands travel by name, so menus and
// preference panes reach every page without knowing the windows. Handlers run
// synchronously on the posting thread, in the order they were added.
class KTNotificationCenter {
public:
    using Handler = std::function<void(const KTNotification&)>;
    using Token = uint64_t;

    static KTNotificationCenter& defaultCenter();

    Token addObserver(std::string name, Handler handler);
    void removeObserver(Token token);
    void post(std::string_view name, std::any object = {}, KTJson userInfo = nullptr);
    size_t observerCount(std::string_view name) const;

private:
    struct Entry {
        Token token;
        Handler handler;
        bool alive = true;
    };
    std::unordered_map<std::string, std::vector<std::shared_ptr<Entry>>> observers_;
    Token next_ = 1;
};

// Scoped observation: removed when the owner dies, so a closed window never
// receives a command posted after it is gone.
class KTObservation {
public:
    KTObservation() = default;
    KTObservation(std::string name, KTNotificationCenter::Handler handler,
                  KTNotificationCenter& center = KTNotificationCenter::defaultCenter());
    KTObservation(KTObservation&& o) noexcept;
    KTObservation& operator=(KTObservation&& o) noexcept;
    KTObservation(const KTObservation&) = delete;
    KTObservation& operator=(const KTObservation&) = delete;
    ~KTObservation();
    void reset();

private:
    KTNotificationCenter* center_ = nullptr;
    KTNotificationCenter::Token token_ = 0;
};

} // namespace quilt
