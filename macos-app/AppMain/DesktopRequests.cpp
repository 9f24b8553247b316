#include "AppMain/DesktopRequests.h"

#include "MainWindowController/MainWindow.h"
#include "MainWindowController/MainWindowController.h"
#ifdef KESTREL_DBUS
#include "RunOverview/SessionBus.h"
#endif

#include <QApplication>
#include <QFileInfo>
#include <QFileOpenEvent>

using namespace Qt::StringLiterals;

DesktopRequests::DesktopRequests(MainWindowController& controller)
    : m_controller(controller)
{
    qApp->installEventFilter(this);
#ifdef KESTREL_DBUS
    if (auto bus = sessionBus()) { // the object first: calls wait for the name alone
        bus->registerObject(u"/org/kestrel/kestrel"_s, u"org.freedesktop.Application"_s, this,
                            QDBusConnection::ExportAllSlots);
        bus->registerService(u"org.kestrel.kestrel"_s); // not given when another Kestrel has it
    }
#endif
}

bool DesktopRequests::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::FileOpen)
        return QObject::eventFilter(watched, event);
    m_controller.openVideo(FileURL(static_cast<QFileOpenEvent*>(event)->file()));
    return true;
}

void DesktopRequests::Activate(const QVariantMap& /*platformData*/)
{
    m_controller.window()->raise();
    m_controller.window()->activateWindow();
}

void DesktopRequests::Open(const QStringList& uris, const QVariantMap& platformData)
{
    for (const QString& uri : uris) {
        const QString path = QUrl(uri).toLocalFile();
        if (!path.isEmpty() && QFileInfo(path).isFile()) {
            m_controller.openVideo(FileURL(path));
            return;
        }
    }
    Activate(platformData);
}

void DesktopRequests::ActivateAction(const QString& /*name*/, const QVariantList& /*parameters*/,
                                     const QVariantMap& platformData)
{
    Activate(platformData); // the desktop entry names no actions
}
