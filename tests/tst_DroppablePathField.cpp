#include "Controls/DroppablePathField.h"
#include "TestFiles.h"

#include <QDir>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <tuple>

using namespace Qt::StringLiterals;
using Kind = DroppablePathField::AcceptKind;

class TestDroppablePathField final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_file = m_folder.filePath(u"片段 100%.txt"_s);
        writeFile(m_file, {});
    }

    void takesTheFirstAcceptableItem()
    {
        const QString folder = m_folder.path();
        const QUrl file = QUrl::fromLocalFile(m_file);
        const QUrl directory = QUrl::fromLocalFile(folder + u'/');
        const QUrl gone = QUrl::fromLocalFile(m_file + u".gone"_s);
        QUrl fileOfThisMachine = file;
        fileOfThisMachine.setHost(u"localhost"_s);
        QUrl fileOfAnotherMachine = file;
        fileOfAnotherMachine.setHost(u"elsewhere"_s);
        using Rows = QList<std::tuple<Kind, QList<QUrl>, QString>>; // taken is nothing: refused
        const Rows rows = {{Kind::file, {file}, m_file},
                           {Kind::file, {directory}, {}},
                           {Kind::file, {directory, file}, m_file},
                           {Kind::file, {fileOfThisMachine}, m_file},
                           {Kind::file, {fileOfAnotherMachine}, {}},
                           {Kind::directory, {directory}, folder},
                           {Kind::any, {directory, file}, folder},
                           {Kind::any, {gone}, {}},
                           {Kind::any, {QUrl(u"https://localhost/etc/hostname"_s)}, {}}};
        for (const auto& [kind, urls, taken] : rows) {
            DroppablePathField field(kind);
            field.setText(u"before"_s);
            QStringList reported;
            field.onURLDropped = [&](const QString& path) { reported += {path, field.text()}; };
            QMimeData data;
            data.setUrls(urls);
            QCOMPARE(dragAndDrop(field, data), std::pair(!taken.isEmpty(), !taken.isEmpty()));
            QCOMPARE(field.text(), taken.isEmpty() ? u"before"_s : taken);
            QCOMPARE(reported,
                     taken.isEmpty() ? QStringList() : QStringList({taken, taken})); // the field shows it by then
        }
    }

    void understandsPastedPaths()
    {
        const QString literal = m_folder.filePath(u"'a'"_s);
        writeFile(literal, {});
        QVERIFY(QDir::setCurrent(m_folder.path()));
        const QString address = QString::fromLatin1(QUrl::fromLocalFile(m_file).toEncoded());
        for (const auto& [pasted, text] : {std::pair(address, m_file),
                                           {u' ' + address + u'\n', m_file},
                                           {u"file://localhost/x"_s, u"/x"_s},
                                           {u"file://elsewhere/x"_s, u"file://elsewhere/x"_s},
                                           {u"\"/tmp/a b\""_s, u"/tmp/a b"_s},
                                           {u"'b'"_s, u"b"_s},
                                           {u"'a'"_s, u"'a'"_s}, // there is a file of that name
                                           {u"~/%20"_s, u"~/%20"_s}}) {
            DroppablePathField field;
            field.insert(pasted);
            QCOMPARE(field.text(), text);
        }
    }

    void refusesTextAndForgetsTheHighlight()
    {
        DroppablePathField field;
        field.resize(300, 28);
        const QImage before = field.grab().toImage();
        QMimeData data;
        data.setText(QUrl::fromLocalFile(m_file).toString());
        QVERIFY(!dragAndDrop(field, data).second);
        QVERIFY(field.text().isEmpty());

        data.setUrls({QUrl::fromLocalFile(m_file)});
        QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, {});
        QCoreApplication::sendEvent(&field, &enter);
        QCOMPARE(field.grab().toImage().pixelColor(150, 1), field.palette().color(QPalette::Highlight));
        QDragLeaveEvent leave;
        QCoreApplication::sendEvent(&field, &leave);
        QCOMPARE(field.grab().toImage(), before);
    }

    void shortensTheMiddleUnlessItIsEdited()
    {
        DroppablePathField field;
        field.resize(200, 28);
        const QString begin = u"/home/someone"_s;
        const QString end = u"the-clip.mp4"_s;
        const auto picture = [&](const QString& middle) {
            field.setText(begin + middle + end);
            return field.grab().toImage();
        };
        QCOMPARE(picture(QString(40, u'a')), picture(QString(40, u'b')));
        QCOMPARE(field.text().size(), begin.size() + 40 + end.size());

        field.show();
        QVERIFY(QTest::qWaitForWindowActive(&field));
        field.setFocus();
        QVERIFY(picture(QString(40, u'a')) != picture(QString(40, u'b')));
    }

private:
    /// Whether the field wanted what was dragged in, and whether it took it.
    static std::pair<bool, bool> dragAndDrop(DroppablePathField& field, const QMimeData& data)
    {
        QDragEnterEvent enter(field.rect().center(), Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, {});
        QCoreApplication::sendEvent(&field, &enter);
        QDropEvent drop(field.rect().center(), Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, {});
        drop.ignore();
        QCoreApplication::sendEvent(&field, &drop);
        return {enter.isAccepted() && enter.dropAction() == Qt::CopyAction,
                drop.isAccepted() && drop.dropAction() == Qt::CopyAction};
    }

    QTemporaryDir m_folder;
    QString m_file;
};

QTEST_MAIN(TestDroppablePathField)
#include "tst_DroppablePathField.moc"
