#include "ui/menubar/KTDBusMenu.h"

#include "core/config/KTLog.h"

#include <algorithm>

namespace quilt {

namespace {
const char kInterface[] = R"xml(<node>
  <interface name="com.canonical.dbusmenu">
    <method name="GetLayout">
      <arg type="i" name="parentId" direction="in"/>
      <arg type="i" name="recursionDepth" direction="in"/>
      <arg type="as" name="propertyNames" direction="in"/>
      <arg type="u" name="revision" direction="out"/>
      <arg type="(ia{sv}av)" name="layout" direction="out"/>
    </method>
    <method name="GetGroupProperties">
      <arg type="ai" name="ids" direction="in"/>
      <arg type="as" name="propertyNames" direction="in"/>
      <arg type="a(ia{sv})" name="properties" direction="out"/>
    </method>
    <method name="GetProperty">
      <arg type="i" name="id" direction="in"/>
      <arg type="s" name="name" direction="in"/>
      <arg type="v" name="value" direction="out"/>
    </method>
    <method name="Event">
      <arg type="i" name="id" direction="in"/>
      <arg type="s" name="eventId" direction="in"/>
      <arg type="v" name="data" direction="in"/>
      <arg type="u" name="timestamp" direction="in"/>
    </method>
    <method name="EventGroup">
      <arg type="a(isvu)" name="events" direction="in"/>
      <arg type="ai" name="idErrors" direction="out"/>
    </method>
    <method name="AboutToShow">
      <arg type="i" name="id" direction="in"/>
      <arg type="b" name="needUpdate" direction="out"/>
    </method>
    <method name="AboutToShowGroup">
      <arg type="ai" name="ids" direction="in"/>
      <arg type="ai" name="updatesNeeded" direction="out"/>
      <arg type="ai" name="idErrors" direction="out"/>
    </method>
    <signal name="ItemsPropertiesUpdated">
      <arg type="a(ia{sv})" name="updatedProps"/>
      <arg type="a(ias)" name="removedProps"/>
    </signal>
    <signal name="LayoutUpdated">
      <arg type="u" name="revision"/>
      <arg type="i" name="parent"/>
    </signal>
    <signal name="ItemActivationRequested">
      <arg type="i" name="id"/>
      <arg type="u" name="timestamp"/>
    </signal>
    <property name="Version" type="u" access="read"/>
    <property name="TextDirection" type="s" access="read"/>
    <property name="Status" type="s" access="read"/>
    <property name="IconThemePath" type="as" access="read"/>
  </interface>
</node>)xml";

struct Pending {
    KTDBusMenu* menu;
    int id;
};
} // namespace

KTDBusMenu::KTDBusMenu(GDBusConnection* connection, const std::string& objectPath, std::vector<KTMenuItem> items,
                       GActionGroup* actions)
    : connection_(GRef<GDBusConnection>::retain(connection))
    , path_(objectPath)
    , items_(std::move(items))
    , actions_(GRef<GActionGroup>::retain(actions))
{
    static const GDBusInterfaceVTable vtable {onMethod, onProperty, nullptr, {}};
    GError* error = nullptr;
    if (!object_.exportAt(connection, path_.c_str(), kInterface, vtable, this, &error)) {
        KTLog::line(std::string("error: ") + (error ? error->message : "cannot export the tray menu"));
        g_clear_error(&error);
    }
    if (!actions)
        return;
    auto changed = G_CALLBACK(+[](GActionGroup*, const char* name, KTDBusMenu* self) { self->layoutChanged(name); });
    signals_.emplace_back(actions, "action-added", changed, this);
    signals_.emplace_back(actions, "action-removed", changed, this);
    signals_.emplace_back(actions, "action-enabled-changed",
                          G_CALLBACK(+[](GActionGroup*, const char* name, gboolean, KTDBusMenu* self) {
                              self->layoutChanged(name);
                          }),
                          this);
}

KTDBusMenu::~KTDBusMenu()
{
    signals_.clear();
}

void KTDBusMenu::layoutChanged(const char* action)
{
    // Other actions of the application come and go without concerning us.
    if (std::none_of(items_.begin(), items_.end(), [action](const KTMenuItem& i) { return i.action == action; }))
        return;
    ++revision_;
    if (object_)
        g_dbus_connection_emit_signal(connection_.get(), nullptr, path_.c_str(), "com.canonical.dbusmenu",
                                      "LayoutUpdated", g_variant_new("(ui)", revision_, 0), nullptr);
}

void KTDBusMenu::activate(int id)
{
    if (id < 1 || static_cast<size_t>(id) > items_.size() || !actions_)
        return;
    const std::string& action = items_[id - 1].action;
    if (g_action_group_has_action(actions_.get(), action.c_str())
        && g_action_group_get_action_enabled(actions_.get(), action.c_str()))
        g_action_group_activate_action(actions_.get(), action.c_str(), nullptr);
}

GVariant* KTDBusMenu::properties(int id) const
{
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE("a{sv}"));
    if (id == 0) {
        g_variant_builder_add(&b, "{sv}", "children-display", g_variant_new_string("submenu"));
    } else if (static_cast<size_t>(id) <= items_.size()) {
        const KTMenuItem& item = items_[id - 1];
        if (item.separator()) {
            g_variant_builder_add(&b, "{sv}", "type", g_variant_new_string("separator"));
        } else {
            bool enabled = actions_ && g_action_group_has_action(actions_.get(), item.action.c_str())
                           && g_action_group_get_action_enabled(actions_.get(), item.action.c_str());
            g_variant_builder_add(&b, "{sv}", "label", g_variant_new_string(item.title.c_str()));
            g_variant_builder_add(&b, "{sv}", "enabled", g_variant_new_boolean(enabled));
        }
        g_variant_builder_add(&b, "{sv}", "visible", g_variant_new_boolean(true));
    }
    return g_variant_builder_end(&b);
}

GVariant* KTDBusMenu::layout(int parent, int depth) const
{
    GVariantBuilder children;
    g_variant_builder_init(&children, G_VARIANT_TYPE("av"));
    // The menu is flat: only the root has children.
    if (parent == 0 && depth != 0)
        for (size_t i = 0; i < items_.size(); ++i)
            g_variant_builder_add(&children, "v", layout(static_cast<int>(i + 1), 0));
    return g_variant_new("(i@a{sv}av)", parent, properties(parent), &children);
}

void KTDBusMenu::onMethod(GDBusConnection*, const char*, const char*, const char*, const char* method,
                          GVariant* params, GDBusMethodInvocation* invocation, gpointer data)
{
    auto* self = static_cast<KTDBusMenu*>(data);
    const int count = static_cast<int>(self->items_.size());
    auto known = [count](int id) { return id >= 0 && id <= count; };
    std::string name = method;
    if (name == "GetLayout") {
        int parent = 0, depth = 0;
        g_variant_get(params, "(ii^a&s)", &parent, &depth, nullptr);
        if (!known(parent)) {
            g_dbus_method_invocation_return_dbus_error(invocation, "com.canonical.dbusmenu.Error.UnknownId",
                                                       "no such menu item");
            return;
        }
        g_dbus_method_invocation_return_value(invocation,
                                              g_variant_new("(u@(ia{sv}av))", self->revision_,
                                                            self->layout(parent, depth)));
    } else if (name == "GetGroupProperties") {
        GVariantIter* ids = nullptr;
        g_variant_get(params, "(ai^a&s)", &ids, nullptr);
        GVariantBuilder b;
        g_variant_builder_init(&b, G_VARIANT_TYPE("a(ia{sv})"));
        int id = 0;
        while (g_variant_iter_next(ids, "i", &id))
            if (known(id))
                g_variant_builder_add(&b, "(i@a{sv})", id, self->properties(id));
        g_variant_iter_free(ids);
        g_dbus_method_invocation_return_value(invocation, g_variant_new("(a(ia{sv}))", &b));
    } else if (name == "GetProperty") {
        int id = 0;
        const char* key = nullptr;
        g_variant_get(params, "(i&s)", &id, &key);
        GVariant* props = known(id) ? self->properties(id) : nullptr;
        GVariant* value = props ? g_variant_lookup_value(props, key, nullptr) : nullptr;
        if (props)
            g_variant_unref(g_variant_ref_sink(props));
        if (!value) {
            g_dbus_method_invocation_return_dbus_error(invocation, "com.canonical.dbusmenu.Error.UnknownProperty",
                                                       "no such property");
            return;
        }
        g_dbus_method_invocation_return_value(invocation, g_variant_new("(v)", value));
        g_variant_unref(value);
    } else if (name == "Event" || name == "EventGroup") {
        GVariantBuilder errors;
        g_variant_builder_init(&errors, G_VARIANT_TYPE("ai"));
        auto event = [&](int id, const char* kind) {
            if (!known(id)) {
                g_variant_builder_add(&errors, "i", id);
                return;
            }
            if (std::string(kind) != "clicked")
                return;
            // After the reply: a command may quit or relaunch the app.
            g_idle_add_full(G_PRIORITY_DEFAULT, +[](gpointer p) -> gboolean {
                auto* pending = static_cast<Pending*>(p);
                pending->menu->activate(pending->id);
                return G_SOURCE_REMOVE;
            }, new Pending {self, id}, [](gpointer p) { delete static_cast<Pending*>(p); });
        };
        if (name == "Event") {
            int id = 0;
            const char* kind = nullptr;
            g_variant_get(params, "(i&svu)", &id, &kind, nullptr, nullptr);
            event(id, kind);
            g_variant_builder_clear(&errors);
            g_dbus_method_invocation_return_value(invocation, nullptr);
        } else {
            GVariantIter* events = nullptr;
            g_variant_get(params, "(a(isvu))", &events);
            int id = 0;
            const char* kind = nullptr;
            GVariant* data = nullptr;
            while (g_variant_iter_next(events, "(i&svu)", &id, &kind, &data, nullptr)) {
                event(id, kind);
                g_variant_unref(data);
            }
            g_variant_iter_free(events);
            g_dbus_method_invocation_return_value(invocation, g_variant_new("(ai)", &errors));
        }
    } else if (name == "AboutToShow") {
        g_dbus_method_invocation_return_value(invocation, g_variant_new("(b)", FALSE));
    } else if (name == "AboutToShowGroup") {
        g_dbus_method_invocation_return_value(invocation, g_variant_new("(@ai@ai)",
                                                                        g_variant_new_array(G_VARIANT_TYPE_INT32, nullptr, 0),
                                                                        g_variant_new_array(G_VARIANT_TYPE_INT32, nullptr, 0)));
    } else {
        g_dbus_method_invocation_return_dbus_error(invocation, "org.freedesktop.DBus.Error.UnknownMethod", method);
    }
}

GVariant* KTDBusMenu::onProperty(GDBusConnection*, const char*, const char*, const char*, const char* name,
                                 GError**, gpointer)
{
    std::string p = name;
    if (p == "Version")
        return g_variant_new_uint32(3);
    if (p == "TextDirection")
        return g_variant_new_string("ltr");
    if (p == "Status")
        return g_variant_new_string("normal");
    return g_variant_new_strv(nullptr, 0);
}

} // namespace quilt
