#include "RunOverview/FileRevealing.h"

#include <QDesktopServices>
#include <QProcess>
#include <QUrl>

#ifdef KESTREL_DBUS
#include "RunOverview/SessionBus.h"

#include <QCoreApplication>
#include <QDBusPendingCallWatcher>
#endif

using namespace Qt::StringLiterals;

namespace {

[[maybe_unused]] void openFolder(const FileURL& url)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(url.deletingLastPathComponent().path()));
}

} // namespace

void revealInFolder(const FileURL& url)
{
#if defined(Q_OS_MACOS)
    QProcess::startDetached(u"/usr/bin/open"_s, {u"-R"_s, url.path()});
#elif defined(KESTREL_DBUS)
    const auto bus = sessionBus();
    if (!bus) {
        openFolder(url);
        return;
    }
    QDBusMessage call =
        QDBusMessage::createMethodCall(u"org.freedesktop.FileManager1"_s, u"/org/freedesktop/FileManager1"_s,
                                       u"org.freedesktop.FileManager1"_s, u"ShowItems"_s);
    call << QStringList{QUrl::fromLocalFile(url.path()).toString(QUrl::FullyEncoded)} << QString();
    auto* answer = new QDBusPendingCallWatcher(bus->asyncCall(call), qApp);
    QObject::connect(answer, &QDBusPendingCallWatcher::finished, qApp, [answer, url] {
        answer->deleteLater();
        if (answer->isError())
            openFolder(url);
    });
#else
    openFolder(url);
#endif
}
