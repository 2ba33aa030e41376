#pragma once

#include "core/config/KTJson.h"

#include <optional>
#include <string>

namespace quilt {

// One message of the "autoFill" page channel: an array whose first element
// names the event, e.g. ["onUsernameChange", "al", {"left": 8, "top": 40}].
// Pages may send anything: a body that is not such an array, an unknown
// event, a value of the wrong type or a value too long to be a login is
// refused as a whole.
struct KTAutoFillMessage {
    enum class Event {
        LoginFound,
        UsernameChange,
        PasswordChange,
        UsernameFocused,
        PasswordFocused,
        UsernameBlurred,
        PasswordBlurred,
        KeyUp,
    };

    // Longer user names or passwords are not logins a person types.
    static constexpr size_t kMaxValueLength = 1024;
    // Positions beyond this are clamped: far off any screen either way.
    static constexpr double kMaxOffset = 100000;

    Event event = Event::KeyUp;
    std::string username; // LoginFound
    std::string password; // LoginFound
    std::string value;    // UsernameChange, PasswordChange
    double left = 0;      // changes and focus: where the field is, in page pixels
    double top = 0;
    int key = 0; // KeyUp: -1 up, 1 down, 13 return, 27 escape, others ignored

    static std::optional<KTAutoFillMessage> parse(const KTJson& body);
};

} // namespace quilt
