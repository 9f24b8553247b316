#include "Controls/DroppablePathField.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/MainWindowController.h"
#include "Models/JobBuilder.h"
#include "SplitCoordinator/SplitCoordinator.h"

#include <QApplication>
#include <QDir>
#include <QDropEvent>
#include <QLabel>
#include <QMimeData>
#include <QProcess>
#include <QPushButton>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// Two hundred names that a file may have and that somebody, somewhere, takes for something else.
QStringList hostileNames()
{
    QStringList names = {u"长 片"_s,
                         u"第一集「开头」"_s,
                         u"𠮷野家"_s,
                         u"😀"_s,
                         u"👨‍👩‍👧‍👦 家"_s,
                         u"🇨🇳🏳️‍🌈"_s,
                         u"e\u0301 \u00e9"_s,
                         u"한국어 ก็ नमस्ते"_s,
                         u"שלום"_s,
                         u"مرحبا - 01"_s,
                         u"\u202Egnp.evil"_s,
                         u"a\u200Bb\uFEFFc"_s,
                         u"it's"_s,
                         u"\"quoted\""_s,
                         u"`reboot`"_s,
                         u"$HOME"_s,
                         u"${PATH}"_s,
                         u"$(touch x)"_s,
                         u"%1"_s,
                         u"%1 %2 %n %%"_s,
                         u"%d"_s,
                         u"%03d"_s,
                         u"100%20#"_s,
                         u"?a=b&c#d"_s,
                         u"file:"_s,
                         u"http:example"_s,
                         u"concat:a|b"_s,
                         u"pipe:1"_s,
                         u"two\nlines"_s,
                         u"\nfirst"_s,
                         u"last\n"_s,
                         u"tab\tcr\r"_s,
                         u"\u001b[31mred\u0007"_s,
                         u"-"_s,
                         u"--"_s,
                         u"-y"_s,
                         u"-vf null"_s,
                         u"--help"_s,
                         u" both ends "_s,
                         u"   "_s,
                         u"\u3000全角\u3000"_s,
                         u"\u00a0nbsp\u00a0"_s,
                         u".hidden"_s,
                         u"..."_s,
                         u"a.b.c"_s,
                         u"name."_s,
                         u"~"_s,
                         u"~root"_s,
                         u"*"_s,
                         u"[a-z]?{b,c}"_s,
                         u"back\\slash"_s,
                         u"a;b&c|d>e<f"_s,
                         u"!history"_s,
                         u"a=b,c:d"_s,
                         u"'[out]'"_s,
                         u"<b>bold<br>"_s,
                         u"&amp;"_s,
                         u"NUL"_s,
                         u"con.txt"_s,
                         QString(246, u'x'),
                         QString(82, u'长'),
                         QString(61, u' ').replace(u" "_s, u"😀"_s)};
    const QStringList pieces = {u"片"_s, u"😀"_s, u"'"_s,  u"\""_s, u"$x"_s,     u"%1"_s,     u"\n"_s, u"-"_s,
                                u" "_s,  u"א"_s, u"\\"_s, u":"_s,  u"#"_s,      u"\u202E"_s, u"."_s,  u"`"_s,
                                u"\t"_s, u"é"_s, u"%s"_s, u"&"_s,  u"\u0301"_s, u"|"_s,      u"*"_s,  u"~"_s,
                                u"𠮷"_s, u"a"_s, u"0"_s,  u";"_s,  u"("_s};
    QRandomGenerator random(7);
    while (names.size() < 200) {
        QString name;
        for (int count = random.bounded(1, 12); count > 0; --count)
            name += pieces.at(random.bounded(static_cast<int>(pieces.size())));
        if (name != u"." && name != u".." && !names.contains(name))
            names << name;
    }
    return names;
}

/// What the output's name begins with, by another road than the program's.
QString expectedPrefix(QString name)
{
    static const QRegularExpression separators(u"[/:\\\\\n\r\t]+"_s);
    static const QRegularExpression dashesAtEnds(u"^\x01+|\x01+$"_s);
    name = name.trimmed().replace(separators, u"\x01"_s).remove(dashesAtEnds);
    return name.trimmed().isEmpty() ? QString() : name.replace(u'\x01', u'-');
}

class Totals final : public SplitCoordinatorDelegate
{
public:
    QString finish;

    void splitCoordinatorDidStart(int, int) override {}
    void splitCoordinatorDidUpdate(int, int, int) override {}
    void splitCoordinatorDidFinish(int completed, int failed, int total) override
    {
        finish = u"%1 + %2 = %3"_s.arg(completed).arg(failed).arg(total);
    }
};

void dropOnto(QWidget* field, const QString& path)
{
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(path)});
    const QPoint center = field->rect().center();
    QDragEnterEvent enter(center, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(field, &enter);
    QDropEvent drop(center, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(field, &drop);
}

/// The files of a folder with those that begin with a point; nothing else lies there.
QStringList filesIn(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void closeWorkerWindows()
{
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->windowTitle().startsWith(u"分解任务"_s))
            window->close();
    }
}

} // namespace

/// Videos, folders and prefixes of any name, cut by the real ffmpeg: each clip lies where it belongs, and nothing else
/// was touched.
class HostileNamesTest final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    QString m_video;
    QByteArray m_videoBytes;

    /// A folder of the name that holds a video of the name; its path.
    [[nodiscard]] QString makeVideo(const QString& parent, const QString& name) const
    {
        const QString folder = m_folder.filePath(parent) + u'/' + name;
        const QString video = folder + u'/' + name + u".mp4"_s;
        if (!QDir().mkpath(folder) || !QFile::copy(m_video, video))
            qFatal("cannot make %s", qUtf8Printable(video));
        return video;
    }

    void expectClip(const QString& video, const QString& clipFolder, const QString& clipName) const
    {
        QCOMPARE(contentOf(video), m_videoBytes);
        QCOMPARE(filesIn(clipFolder), QStringList{clipName});
        QVERIFY(contentOf(clipFolder + u'/' + clipName).contains("moov")); // which ffmpeg writes last
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_video = m_folder.filePath(u"tiny.mp4"_s);
        QCOMPARE(QProcess::execute(u"ffmpeg"_s, {u"-v"_s, u"error"_s, u"-f"_s, u"lavfi"_s, u"-i"_s,
                                                 u"testsrc=d=1:s=32x32:r=10"_s, m_video}),
                 0);
        m_videoBytes = contentOf(m_video);
    }

    void cleanup() { closeWorkerWindows(); }

    /// The name is the folder's, the video's and the prefix at once.
    void eachIsCutIntoTheRightFile()
    {
        const QStringList names = hostileNames();
        QCOMPARE(names.size(), 200);
        const QString clips = m_folder.filePath(u"clips"_s);
        QList<FFmpegJob> jobs;
        for (const QString& name : names) {
            const QString clipFolder = clips + u'/' + name;
            QVERIFY(QDir().mkpath(clipFolder));
            jobs << buildJobs({{0, true, 0.2, 0.7}}, FileURL(makeVideo(u"videos"_s, name)), FileURL(clipFolder), name,
                              std::nullopt);
        }
        const FileURL ffmpeg(QStandardPaths::findExecutable(u"ffmpeg"_s));
        Totals totals;
        const auto coordinator =
            std::make_shared<SplitCoordinator>(jobs, 4, RuntimeConfiguration{ffmpeg, ffmpeg, ffmpeg});
        coordinator->delegate = &totals;
        coordinator->start();
        QTRY_VERIFY_WITH_TIMEOUT(!totals.finish.isEmpty(), 300'000);
        QCOMPARE(totals.finish, u"200 + 0 = 200"_s);
        for (qsizetype number = 0; number < names.size(); ++number) {
            const QString& name = names.at(number);
            const QString prefix = expectedPrefix(name);
            const QString clipName = (prefix.isEmpty() ? u"clip"_s : prefix) + u"-01.mp4"_s;
            expectClip(jobs.at(number).inputURL.path(), clips + u'/' + name, clipName);
            if (QTest::currentTestFailed())
                QFAIL(qUtf8Printable(u"the name is "_s + QString::fromUtf8(name.toUtf8().toPercentEncoding())));
        }
        QCOMPARE(filesIn(clips).size(), names.size());
    }

    /// The video is dropped, the folder dropped or pasted, the prefix pasted or left to the video's name.
    void throughTheWindow_data()
    {
        QTest::addColumn<QString>("name");
        const QStringList names = hostileNames();
        for (qsizetype number = 0; number < 62; number += 3)
            QTest::addRow("%s", names.at(number).toUtf8().toPercentEncoding().constData()) << names.at(number);
    }

    void throughTheWindow()
    {
        QFETCH(const QString, name);
        static int row = 0;
        const QString video = makeVideo(u"window-videos"_s, name);
        const QString clipFolder = m_folder.filePath(u"window-clips"_s) + u'/' + name;
        QVERIFY(QDir().mkpath(clipFolder));
        MainWindowController controller;
        const MainWindow& window = *controller.window();
        controller.window()->show();
        dropOnto(window.videoPathField, video);
        dropOnto(window.outputDirectoryField, clipFolder);
        QVERIFY(!window.prefixField->text().isEmpty());
        QString prefix = expectedPrefix(window.prefixField->text());
        if (++row % 2 == 0) {
            window.prefixField->selectAll();
            window.prefixField->insert(name);
            prefix = expectedPrefix(window.prefixField->text());
        }
        const QString clipName = (prefix.isEmpty() ? u"clip"_s : prefix) + u"-01.mp4"_s;
        QCOMPARE(window.namingPreviewLabel->text(), clipFolder + u'/' + clipName);
        QTest::mouseClick(window.addSegmentButton, Qt::LeftButton);
        QTest::mouseClick(window.splitButton, Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(window.statusLabel->text(), u"分解完成：成功 1 / 1，失败 0。"_s, 60'000);
        expectClip(video, clipFolder, clipName);
    }
};

QTEST_MAIN(HostileNamesTest)
#include "tst_HostileNames.moc"
