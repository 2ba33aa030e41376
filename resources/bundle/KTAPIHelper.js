// The page side of the app. Defines window.ktAPIHelper and talks to the app
// over the "notifications" and "autoFill" message channels.
(function () {
    "use strict";
    if (window.ktAPIHelper)
        return;

    function post(channel, body) {
        try {
            var handlers = window.webkit && window.webkit.messageHandlers;
            if (handlers && handlers[channel])
                handlers[channel].postMessage(body);
        } catch (e) {
            // A page that replaced window.webkit simply talks to no one.
        }
    }

    function passwordFields(root) {
        return Array.prototype.slice.call((root || document).querySelectorAll("input[type=password]"));
    }

    function userFieldFor(password) {
        var form = password.form || document;
        var inputs = Array.prototype.slice.call(form.querySelectorAll("input"));
        var index = inputs.indexOf(password);
        for (var i = index - 1; i >= 0; --i) {
            var t = (inputs[i].type || "text").toLowerCase();
            if (t === "text" || t === "email" || t === "tel")
                return inputs[i];
        }
        return null;
    }

    function setValue(field, value) {
        if (!field)
            return;
        field.focus();
        field.value = value;
        field.dispatchEvent(new Event("input", { bubbles: true }));
        field.dispatchEvent(new Event("change", { bubbles: true }));
    }

    var autoFill = {
        // Fills the first login form of the page.
        autoFill: function (user, password) {
            var fields = passwordFields();
            if (!fields.length)
                return false;
            setValue(userFieldFor(fields[0]), user);
            setValue(fields[0], password);
            return true;
        },
        // Reports a login form being submitted so the app can offer to save it.
        watchForms: function () {
            document.addEventListener("submit", function (event) {
                var form = event.target;
                var fields = passwordFields(form);
                if (!fields.length || !fields[0].value)
                    return;
                var user = userFieldFor(fields[0]);
                post("autoFill", {
                    type: "submit",
                    url: location.href,
                    host: location.host,
                    user: user ? user.value : "",
                    password: fields[0].value
                });
            }, true);
            post("autoFill", { type: "loaded", url: location.href, host: location.host,
                               hasLoginForm: passwordFields().length > 0 });
        }
    };

    window.ktAPIHelper = {
        autoFill: autoFill,
        post: post
    };

    if (document.readyState === "loading")
        document.addEventListener("DOMContentLoaded", autoFill.watchForms);
    else
        autoFill.watchForms();
})();
