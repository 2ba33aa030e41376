#include "core/config/KTNotificationCenter.h"

#include <utility>

namespace quilt {

KTNotificationCenter& KTNotificationCenter::defaultCenter()
{
    static KTNotificationCenter center;
    return center;
}

KTNotificationCenter::Token KTNotificationCenter::addObserver(std::string name, Handler handler)
{
    Token t = next_++;
    observers_[std::move(name)].push_back(std::make_shared<Entry>(Entry{t, std::move(handler)}));
    return t;
}

void KTNotificationCenter::removeObserver(Token token)
{
    for (auto& [name, list] : observers_) {
        for (auto it = list.begin(); it != list.end(); ++it) {
            if ((*it)->token == token) {
                // A post in progress holds its own copy of the list; the flag
                // stops it from calling a handler removed meanwhile.
                (*it)->alive = false;
                list.erase(it);
                return;
            }
        }
    }
}

void KTNotificationCenter::post(std::string_view name, std::any object, KTJson userInfo)
{
    auto found = observers_.find(std::string(name));
    if (found == observers_.end())
        return;
    const auto snapshot = found->second;
    const KTNotification note{std::string(name), std::move(object), std::move(userInfo)};
    for (const auto& entry : snapshot)
        if (entry->alive)
            entry->handler(note);
}

size_t KTNotificationCenter::observerCount(std::string_view name) const
{
    auto found = observers_.find(std::string(name));
    return found == observers_.end() ? 0 : found->second.size();
}

KTObservation::KTObservation(std::string name, KTNotificationCenter::Handler handler, KTNotificationCenter& center)
    : center_(&center)
    , token_(center.addObserver(std::move(name), std::move(handler)))
{
}

KTObservation::KTObservation(KTObservation&& o) noexcept
    : center_(std::exchange(o.center_, nullptr))
    , token_(std::exchange(o.token_, 0))
{
}

KTObservation& KTObservation::operator=(KTObservation&& o) noexcept
{
    if (this != &o) {
        reset();
        center_ = std::exchange(o.center_, nullptr);
        token_ = std::exchange(o.token_, 0);
    }
    return *this;
}

KTObservation::~KTObservation() { reset(); }

void KTObservation::reset()
{
    if (center_ && token_)
        center_->removeObserver(token_);
    center_ = nullptr;
    token_ = 0;
}

} // namespace quilt
