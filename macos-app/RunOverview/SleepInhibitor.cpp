#include "RunOverview/SleepInhibitor.h"

#include <QCoreApplication>

#if defined(Q_OS_MACOS)
#include <QProcess>
#elif defined(KESTREL_DBUS)
#include "RunOverview/SessionBus.h"

#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QVariantMap>
#endif

using namespace Qt::StringLiterals;

#if defined(Q_OS_MACOS)

/// caffeinate ends when this process does, however that comes about.
struct SleepInhibitor::Request
{
    QProcess process;

    Request()
    {
        process.start(u"/usr/bin/caffeinate"_s,
                      {u"-i"_s, u"-w"_s, QString::number(QCoreApplication::applicationPid())});
    }
    ~Request()
    {
        process.terminate();
        process.waitForFinished();
    }
};

#elif defined(KESTREL_DBUS)

/// The portal keeps a request until it is closed or we leave the bus. Its answer may come after we have gone.
struct SleepInhibitor::Request
{
    QDBusPendingReply<QDBusObjectPath> handle;

    Request()
    {
        constexpr quint32 suspend = 4;
        const auto bus = sessionBus();
        if (!bus)
            return;
        QDBusMessage call =
            QDBusMessage::createMethodCall(u"org.freedesktop.portal.Desktop"_s, u"/org/freedesktop/portal/desktop"_s,
                                           u"org.freedesktop.portal.Inhibit"_s, u"Inhibit"_s);
        call << QString() << suspend << QVariantMap{{u"reason"_s, u"正在分解视频"_s}};
        handle = bus->asyncCall(call);
    }
    ~Request()
    {
        if (handle.isFinished())
            close(handle);
        else
            closeWhenAnswered(handle);
    }
    static void closeWhenAnswered(const QDBusPendingReply<QDBusObjectPath>& handle)
    {
        auto* answer = new QDBusPendingCallWatcher(handle, qApp);
        QObject::connect(answer, &QDBusPendingCallWatcher::finished, answer, [answer, handle] {
            answer->deleteLater();
            close(handle);
        });
    }
    static void close(const QDBusPendingReply<QDBusObjectPath>& handle)
    {
        const auto bus = sessionBus();
        if (handle.isError() || !bus)
            return;
        bus->send(QDBusMessage::createMethodCall(u"org.freedesktop.portal.Desktop"_s, handle.value().path(),
                                                 u"org.freedesktop.portal.Request"_s, u"Close"_s));
    }
    Q_DISABLE_COPY_MOVE(Request)
};

#else

struct SleepInhibitor::Request
{};

#endif

SleepInhibitor::SleepInhibitor()
    : m_request(std::make_unique<Request>())
{}

SleepInhibitor::~SleepInhibitor() = default;
