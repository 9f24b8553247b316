#include "RunOverview/TaskbarProgress.h"

#include <QtGlobal>

#ifdef KESTREL_DBUS
#include "RunOverview/SessionBus.h"

#include <QDBusMessage>
#include <QGuiApplication>
#include <QVariantMap>

using namespace Qt::StringLiterals;
#elif defined(Q_OS_MACOS)
#include "RunOverview/DockBadge.h"
#endif

void TaskbarProgress::show(double fraction)
{
    if (const int percentage = static_cast<int>(fraction * 100); percentage != m_shown) {
        send(percentage, true);
        m_shown = percentage;
    }
}

void TaskbarProgress::clear()
{
    if (m_shown >= 0)
        send(0, false);
    m_shown = -1;
}

void TaskbarProgress::send([[maybe_unused]] int percentage, [[maybe_unused]] bool visible)
{
#ifdef KESTREL_DBUS
    const auto bus = sessionBus();
    if (!bus)
        return;
    QDBusMessage update = QDBusMessage::createSignal(u"/"_s, u"com.canonical.Unity.LauncherEntry"_s, u"Update"_s);
    update << u"application://"_s + QGuiApplication::desktopFileName() + u".desktop"_s
           << QVariantMap{{u"progress"_s, percentage / 100.0}, {u"progress-visible"_s, visible}};
    bus->send(update);
#elif defined(Q_OS_MACOS)
    showDockBadge(visible ? percentage : -1);
#endif
}
