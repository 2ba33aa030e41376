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

// ---- Notifications ---------------------------------------------------------
// The page's Notification is answered here: each new notification is posted
// on the "notifications" channel as [title, options] and the app has the
// desktop show it. Permission is always "granted": the app is the site's own.
// WebKit's own notification path (its permission request, then
// show-notification) is left for the engine to deny, so a notification is
// shown once, by the app. A click brings the app forward; no click or close
// event comes back to the page.
(function () {
    "use strict";
    if (window.ktNotificationsInstalled)
        return;
    Object.defineProperty(window, "ktNotificationsInstalled", { value: true });

    // Taken before any page script runs, so a page that replaces
    // window.webkit later cannot stand in for the app.
    var handlers = window.webkit && window.webkit.messageHandlers;
    var channel = handlers && handlers.notifications;
    var postMessage = channel && channel.postMessage;

    function send(body) {
        try {
            if (postMessage)
                postMessage.call(channel, body);
        } catch (e) {
            // No app to talk to: the page goes on without notifications.
        }
    }

    function text(value) {
        return value === undefined || value === null ? "" : String(value);
    }

    function actionsOf(list) {
        if (list === undefined || list === null || typeof list !== "object")
            return [];
        return Array.prototype.slice.call(list, 0, 32).filter(function (a) {
            return a && typeof a === "object" && a.action !== undefined;
        }).map(function (a) {
            var out = { action: text(a.action) };
            if (a.title !== undefined)
                out.title = text(a.title);
            return out;
        });
    }

    // Only plain strings travel: whatever else the page put in the options
    // stays in the page.
    function messageFor(title, options) {
        var out = { body: text(options.body) };
        if (options.tag !== undefined)
            out.tag = text(options.tag);
        if (options.icon !== undefined)
            out.icon = text(options.icon);
        if (options.actions !== undefined)
            out.actions = actionsOf(options.actions);
        return [title, out];
    }

    class Notification extends EventTarget {
        constructor(title, options) {
            if (arguments.length < 1)
                throw new TypeError("Failed to construct 'Notification': 1 argument required, but only 0 present.");
            super();
            options = options && typeof options === "object" ? options : {};
            var message = messageFor(text(title), options);
            var fields = {
                title: message[0], body: message[1].body, tag: message[1].tag || "",
                icon: message[1].icon || "", data: options.data === undefined ? null : options.data,
                actions: Object.freeze(message[1].actions || []), silent: !!options.silent,
                requireInteraction: !!options.requireInteraction
            };
            Object.keys(fields).forEach(function (key) {
                Object.defineProperty(this, key, { value: fields[key], enumerable: true });
            }, this);
            this.onclick = this.onshow = this.onclose = this.onerror = null;
            send(message);
            setTimeout(this.fire.bind(this, "show"), 0);
        }
        fire(type) {
            var event = new Event(type);
            if (typeof this["on" + type] === "function")
                this["on" + type].call(this, event);
            this.dispatchEvent(event);
        }
        close() {}
        static get permission() { return "granted"; }
        static get maxActions() { return 32; }
        static requestPermission(callback) {
            if (typeof callback === "function")
                setTimeout(function () { callback("granted"); }, 0);
            return Promise.resolve("granted");
        }
    }
    Object.defineProperty(Notification.prototype, "fire", { enumerable: false });

    Object.defineProperty(window, "Notification", { value: Notification, writable: true, configurable: true });
})();

// ---- App badge ---------------------------------------------------------------
// navigator.setAppBadge(n) and clearAppBadge(), as the web defines them, on
// the "badge" channel: {badge: n} (0 clears), {badge: "flag"} for a badge
// without a number, {badge: null} to clear. The app shows it on its icon.
(function () {
    "use strict";
    if (window.ktBadgeInstalled || typeof navigator === "undefined")
        return;
    Object.defineProperty(window, "ktBadgeInstalled", { value: true });

    var handlers = window.webkit && window.webkit.messageHandlers;
    var channel = handlers && handlers.badge;
    var postMessage = channel && channel.postMessage;

    function send(badge) {
        try {
            if (postMessage)
                postMessage.call(channel, { badge: badge });
        } catch (e) {
            // No app to talk to: the badge simply does not show.
        }
    }

    function define(name, fn) {
        Object.defineProperty(Navigator.prototype, name, { value: fn, writable: true, configurable: true });
    }

    define("setAppBadge", function (contents) {
        if (contents === undefined) {
            send("flag");
            return Promise.resolve();
        }
        var n = Number(contents);
        if (!isFinite(n) || n < 0 || n > Number.MAX_SAFE_INTEGER)
            return Promise.reject(new TypeError("Failed to execute 'setAppBadge' on 'Navigator': Value is outside the 'unsigned long long' value range."));
        send(Math.floor(n));
        return Promise.resolve();
    });
    define("clearAppBadge", function () {
        send(null);
        return Promise.resolve();
    });
})();
