// A window from which files can be dragged as from a file manager: drag_source <file>...
// Prints a line whenever what lies below the pointer begins to accept the files.
// It disappears after one drag, but lives on for a while, since the receiver fetches what was dropped in its own time.

#include <QApplication>
#include <QDrag>
#include <QLabel>
#include <QMimeData>
#include <QMouseEvent>
#include <QTimer>
#include <QUrl>

#include <chrono>
#include <cstdio>

class DragSource final : public QLabel
{
public:
    explicit DragSource(const QStringList& paths)
        : QLabel(paths.join(QLatin1Char('\n')))
    {
        for (const QString& path : paths)
            m_urls.append(QUrl::fromLocalFile(path));
        setWindowFlag(Qt::X11BypassWindowManagerHint); // stays where it is put
        setGeometry(0, 0, 300, 40);
    }

protected:
    void mouseMoveEvent(QMouseEvent* event) override
    {
        if (!(event->buttons() & Qt::LeftButton))
            return;
        auto* files = new QMimeData;
        files->setUrls(m_urls);
        auto* drag = new QDrag(this);
        drag->setMimeData(files);
        connect(drag, &QDrag::actionChanged, this, [](Qt::DropAction action) {
            if (action == Qt::CopyAction)
                std::puts("accepted");
            std::fflush(stdout);
        });
        drag->exec(Qt::CopyAction);
        hide();
        QTimer::singleShot(std::chrono::seconds(20), qApp, &QApplication::quit);
    }

private:
    QList<QUrl> m_urls;
};

int main(int argc, char* argv[])
{
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    DragSource source(QApplication::arguments().mid(1));
    source.show();
    return QApplication::exec();
}
