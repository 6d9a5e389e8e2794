#include "MorvApp/Integration/DesktopSchemas.h"

namespace morv {

namespace {

/// GLib ends a process together with its session bus unless told otherwise: a copy must not end with it. The
/// connection that the settings use is the one of the process, as long as somebody holds it.
void outliveSessionBus() {
    static GDBusConnection* const held = [] {
        auto* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
        if (bus)
            g_dbus_connection_set_exit_on_close(bus, FALSE);
        return bus;
    }();
    static_cast<void>(held);
}

} // namespace

GHandle<GSettings> desktopSettings(const char* schema, const char* key) {
    auto* source = g_settings_schema_source_get_default();
    auto* found = source ? g_settings_schema_source_lookup(source, schema, TRUE) : nullptr;
    if (!found)
        return nullptr;
    const bool isKnown = g_settings_schema_has_key(found, key) == TRUE;
    g_settings_schema_unref(found);
    if (!isKnown)
        return nullptr;
    outliveSessionBus();
    return GHandle<GSettings>(g_settings_new(schema));
}

} // namespace morv
