#pragma once

#include "Controls/DroppablePathField.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/MainWindowController.h"
#include "TestFiles.h"

#include <QtTest>
#include <QtWidgets>

// Mouse and keys

inline void type(QLineEdit* field, const QString& text)
{
    field->setFocus();
    field->selectAll();
    if (text.isEmpty())
        QTest::keyClick(field, Qt::Key_Delete);
    else
        QTest::keyClicks(field, text);
}

inline void paste(QLineEdit* field, const QString& text)
{
    QGuiApplication::clipboard()->setText(text);
    field->setFocus();
    field->selectAll();
    field->paste();
}

inline void drop(QWidget* field, const QStringList& paths)
{
    QMimeData data;
    QList<QUrl> urls;
    for (const QString& path : paths)
        urls.append(QUrl::fromLocalFile(path));
    data.setUrls(urls);
    const QPoint center = field->rect().center();
    QDragEnterEvent enter(center, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(field, &enter);
    QDropEvent event(center, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(field, &event);
}

inline void click(QAbstractButton* button)
{
    QTest::mouseClick(button, Qt::LeftButton);
}

/// A main window with its controller, used through its controls as a person would, and a detector that does with each
/// video what the test has written for it.
class WindowUnderTest final
{
public:
    WindowUnderTest()
    {
        QDir::setCurrent(folder.path()); // a place where no detector lies about
        QDir().mkpath(QFileInfo(detectorPath()).path());
        writeFile(detectorPath(), detectorScript);
        window().show();
    }

    [[nodiscard]] MainWindow& window() const { return *controller.window(); }

    // Files

    [[nodiscard]] QString path(const QString& name) const { return folder.filePath(name); }
    [[nodiscard]] static QString detectorPath()
    {
        return QCoreApplication::applicationDirPath() + QStringLiteral("/../share/kestrel/detect_scene_changes.py");
    }

    /// What the detector shall do with the video: Python with the functions of `detectorScript` below.
    QString addVideo(const QString& name, const QByteArray& plan) const
    {
        write(name, "no real video");
        write(name + QStringLiteral(".plan"), plan);
        return path(name);
    }
    void write(const QString& name, const QByteArray& content) const { writeFile(path(name), content); }
    [[nodiscard]] QByteArray read(const QString& name) const { return readFile(path(name)); }

    void chooseVideo(const QString& videoPath) const { type(line("videoPathField"), videoPath); }
    /// Types a path into the file dialog that is open, and accepts it.
    void chooseInDialog(const QString& chosen) const
    {
        const QPointer<QFileDialog> dialog = window().findChild<QFileDialog*>();
        QVERIFY(dialog && dialog->isModal());
        auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
        name->setText(chosen);
        QTest::keyClick(name, Qt::Key_Return);
        QTRY_VERIFY(!dialog);
    }
    void selectEvent(int row) const
    {
        const QTableView* table = window().eventTableView;
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {},
                          table->visualRect(table->model()->index(row, 1)).center());
    }
    /// Parses and waits for the end.
    void parse() const
    {
        click(window().parseButton);
        QTRY_VERIFY(window().parseButton->isEnabled());
    }

    // What is to be seen

    [[nodiscard]] QLineEdit* line(const char* name) const
    {
        auto* field = window().findChild<QLineEdit*>(QString::fromLatin1(name));
        if (!field)
            qFatal("no field %s", name);
        return field;
    }
    [[nodiscard]] QString status() const { return window().statusLabel->text(); }
    [[nodiscard]] QString summary() const { return window().summaryLabel->text(); }
    [[nodiscard]] QString preview() const { return window().namingPreviewLabel->text(); }
    [[nodiscard]] int eventCount() const { return window().eventTableView->model()->rowCount(); }
    [[nodiscard]] int segmentCount() const { return window().segmentTableView->model()->rowCount(); }
    [[nodiscard]] QModelIndex segmentCell(int row, int column) const
    {
        return window().segmentTableView->model()->index(row, column);
    }
    [[nodiscard]] QList<int> selectedSegments() const
    {
        QList<int> rows;
        for (const QModelIndex& index : window().segmentTableView->selectionModel()->selectedRows())
            rows.append(index.row());
        std::sort(rows.begin(), rows.end());
        return rows;
    }
    [[nodiscard]] QList<QMessageBox*> alerts() const
    {
        QList<QMessageBox*> open;
        for (auto* alert : window().findChildren<QMessageBox*>()) {
            if (alert->isVisible())
                open.append(alert);
        }
        return open;
    }
    /// The one alert's detail, after closing it; empty when there is none.
    [[nodiscard]] QString takeAlert() const
    {
        if (alerts().size() != 1)
            return alerts().isEmpty() ? QString() : QStringLiteral("several alerts");
        QMessageBox* alert = alerts().first();
        QString detail = alert->informativeText();
        QTest::keyClick(alert, Qt::Key_Escape);
        return detail;
    }

    const QTemporaryDir folder;
    const bool hasOwnCache = qputenv("XDG_CACHE_HOME", QFile::encodeName(path(QStringLiteral("cache"))));
    MainWindowController controller;

private:
    static constexpr auto detectorScript = R"(
import json, os, sys, time
def progress(text): print(text, file=sys.stderr, flush=True)
def wait(name):
    while not os.path.exists(os.path.join(os.path.dirname(sys.argv[1]), name)): time.sleep(0.005)
def touch(name): open(os.path.join(os.path.dirname(sys.argv[1]), name), "w").close()
def fail(text): sys.exit(text)
def answer(events, segments, duration=60):
    print(json.dumps({"video": sys.argv[1], "fps": 25, "duration": duration, "aggressive": True,
        "events": [{"index": n, "type": "cut", "start": s, "end": e, "duration": e - s, "score": 1, "source": "t"}
                   for n, (s, e) in enumerate(events)],
        "keep_segments": [{"index": n, "start": s, "end": e, "duration": 0} for n, (s, e) in enumerate(segments)]}))
with open(sys.argv[1] + ".arguments", "a") as log: print(*sys.argv[2:], file=log)
exec(open(sys.argv[1] + ".plan").read())
)";
};
