#ifdef KESTREL_DBUS
#include "RunOverview/SessionBus.h"

#include <QFile>

using namespace Qt::StringLiterals;

std::optional<QDBusConnection> sessionBus()
{
    const QString usualSocket = qEnvironmentVariable("XDG_RUNTIME_DIR") + u"/bus"_s;
    if (!qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS") && !QFile::exists(usualSocket))
        return std::nullopt;
    const QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected() ? std::optional(bus) : std::nullopt;
}
#endif
