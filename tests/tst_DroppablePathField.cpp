#include "Controls/DroppablePathField.h"

#include <QDragEnterEvent>
#include <QFile>
#include <QMimeData>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

using namespace Qt::StringLiterals;
using Kind = DroppablePathField::AcceptKind;

class TestDroppablePathField final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_file = m_folder.filePath(u"片段 100%.txt"_s);
        QVERIFY(QFile(m_file).open(QIODevice::WriteOnly));
    }

    void takesTheFirstAcceptableItem_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<QList<QUrl>>("urls");
        QTest::addColumn<QString>("taken"); // empty: refused

        const QString folder = m_folder.path();
        const QUrl file = QUrl::fromLocalFile(m_file);
        const QUrl directory = QUrl::fromLocalFile(folder + u'/');
        QUrl fileOfThisMachine = file;
        fileOfThisMachine.setHost(u"localhost"_s);
        QUrl fileOfAnotherMachine = file;
        fileOfAnotherMachine.setHost(u"elsewhere"_s);

        QTest::newRow("a file of any type on a file field") << Kind::file << QList{file} << m_file;
        QTest::newRow("a folder on a file field") << Kind::file << QList{directory} << QString();
        QTest::newRow("a folder on a folder field") << Kind::directory << QList{directory} << folder;
        QTest::newRow("a file on a folder field") << Kind::directory << QList{file} << QString();
        QTest::newRow("the second of two is the file") << Kind::file << QList{directory, file} << m_file;
        QTest::newRow("the first of two, both taken") << Kind::any << QList{directory, file} << folder;
        QTest::newRow("a file that is gone")
            << Kind::any << QList{QUrl::fromLocalFile(m_file + u".missing"_s)} << QString();
        QTest::newRow("a file named with this machine") << Kind::file << QList{fileOfThisMachine} << m_file;
        QTest::newRow("a file of another machine") << Kind::file << QList{fileOfAnotherMachine} << QString();
        QTest::newRow("a page of the web")
            << Kind::any << QList{QUrl(u"https://localhost/etc/hostname"_s)} << QString();
    }

    void takesTheFirstAcceptableItem()
    {
        QFETCH(const Kind, kind);
        QFETCH(const QList<QUrl>, urls);
        QFETCH(const QString, taken);

        DroppablePathField field(kind);
        field.setText(u"before"_s);
        QStringList reported;
        field.onURLDropped = [&](const QString& path) { reported += {path, field.text()}; };
        QMimeData data;
        data.setUrls(urls);
        const Answer answer = dragAndDrop(field, data);

        QCOMPARE(answer.entered, !taken.isEmpty());
        QCOMPARE(answer.dropped, !taken.isEmpty());
        QCOMPARE(field.text(), taken.isEmpty() ? u"before"_s : taken);
        QCOMPARE(reported, taken.isEmpty() ? QStringList() : QStringList({taken, taken})); // the field shows it by then
    }

    void refusesTextAndForgetsTheHighlight()
    {
        DroppablePathField field;
        field.resize(300, 28);
        const QImage before = field.grab().toImage();
        QMimeData data;
        data.setText(QUrl::fromLocalFile(m_file).toString());
        QVERIFY(!dragAndDrop(field, data).dropped);
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
    struct Answer
    {
        bool entered;
        bool dropped;
    };
    TestDroppablePathField::Answer dragAndDrop(DroppablePathField& field, const QMimeData& data)
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
