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

    // ---- autoFill: login forms --------------------------------------------
    // Finds login forms (also those a page adds later), tells the app about
    // them and what is typed and focused there, and fills a login in as
    // typing would. The app answers with ktAPIHelper.autoFill.autoFill().
    var autoFill = (function () {
        var KEYS = { ArrowUp: -1, Up: -1, ArrowDown: 1, Down: 1, Enter: 13, Escape: 27, Esc: 27 };
        var watched = typeof WeakSet === "function" ? new WeakSet() : null;
        var current = null;       // { user, password } of the form last found or used
        var filling = false;      // our own input events are not the person's typing
        var menu = { shown: false, selected: false };

        function send(body) { post("autoFill", body); }

        function isLoginField(field) {
            var t = (field.type || "text").toLowerCase();
            return t === "text" || t === "email" || t === "tel";
        }

        function userFieldFor(password) {
            var scope = password.form || document;
            var inputs = Array.prototype.slice.call(scope.querySelectorAll("input"));
            for (var i = inputs.indexOf(password) - 1; i >= 0; --i) {
                if (isLoginField(inputs[i]))
                    return inputs[i];
            }
            return null;
        }

        // Where a menu under the field goes, in the page's pixels.
        function position(field) {
            var r = field.getBoundingClientRect();
            return { left: r.left, top: r.bottom };
        }

        function setValue(field, value) {
            if (!field)
                return;
            // The prototype's setter, so frameworks that wrap the field's
            // own value property still see the change.
            var setter = Object.getOwnPropertyDescriptor(HTMLInputElement.prototype, "value").set;
            setter.call(field, value);
            field.dispatchEvent(new Event("input", { bubbles: true }));
            field.dispatchEvent(new Event("change", { bubbles: true }));
        }

        function watchField(field, kind, login) {
            var name = kind === "user" ? "Username" : "Password";
            field.addEventListener("focus", function () {
                current = login;
                send(["on" + name + "Focused", position(field)]);
            });
            field.addEventListener("blur", function () { send(["on" + name + "Blurred"]); });
            field.addEventListener("input", function () {
                if (!filling)
                    send(["on" + name + "Change", String(field.value), position(field)]);
            });
            field.addEventListener("keydown", function (event) {
                var key = KEYS[event.key];
                // While the menu is up, the arrows and a chosen row's Return
                // are the menu's, not the form's.
                if (menu.shown && (key === 1 || key === -1 || (key === 13 && menu.selected)))
                    event.preventDefault();
            });
            field.addEventListener("keyup", function (event) {
                var key = KEYS[event.key];
                if (key !== undefined)
                    send(["onKeyUp", key]);
            });
        }

        function found(password) {
            if (watched ? watched.has(password) : password.__ktWatched)
                return;
            if (watched)
                watched.add(password);
            else
                password.__ktWatched = true;
            var user = userFieldFor(password);
            var login = { user: user, password: password };
            if (user)
                watchField(user, "user", login);
            watchField(password, "password", login);
            current = login;
            send(["onLoginFound", { username: user ? String(user.value) : "", password: String(password.value) }]);
        }

        function scan(root) {
            if (!root || !root.querySelectorAll)
                return;
            if (root.matches && root.matches("input[type=password]"))
                found(root);
            Array.prototype.forEach.call(root.querySelectorAll("input[type=password]"), found);
        }

        return {
            // Fills the login form in use with a saved login.
            autoFill: function (username, password) {
                if (!current || !current.password.isConnected)
                    scan(document);
                if (!current)
                    return false;
                filling = true;
                try {
                    setValue(current.user, String(username));
                    setValue(current.password, String(password));
                } finally {
                    filling = false;
                }
                return true;
            },
            // The app tells whether its menu is up and a row is selected.
            menuState: function (shown, selected) {
                menu.shown = !!shown;
                menu.selected = !!selected;
            },
            watchForms: function () {
                scan(document);
                if (typeof MutationObserver !== "function")
                    return;
                new MutationObserver(function (records) {
                    records.forEach(function (record) {
                        Array.prototype.forEach.call(record.addedNodes, scan);
                        if (record.type === "attributes")
                            scan(record.target);
                    });
                }).observe(document.documentElement || document, {
                    childList: true, subtree: true, attributes: true, attributeFilter: ["type"]
                });
            }
        };
    })();
    // ---- end of autoFill --------------------------------------------------

    window.ktAPIHelper = {
        autoFill: autoFill,
        post: post
    };

    if (document.readyState === "loading")
        document.addEventListener("DOMContentLoaded", autoFill.watchForms);
    else
        autoFill.watchForms();
})();
