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
