#include "Models/JobBuilder.h"
#include "SplitCoordinator/SplitCoordinator.h"

#include <QApplication>
#include <QDir>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// Two hundred names that a file may have and that somebody, somewhere, takes for something else.
QStringList hostileNames()
{
    // Between them is the one character that no name holds.
    const QString chosen =
        u"长 片/第一集「开头」/𠮷野家/😀/👨‍👩‍👧‍👦 家/🇨🇳🏳️‍🌈/"
        "e\u0301 \u00e9/한국어 ก็ नमस्ते/שלום/مرحبا - 01/\u202Egnp.evil/a\u200Bb\uFEFFc/"
        "it's/\"quoted\"/`reboot`/$HOME/${PATH}/$(touch x)/%1/%1 %2 %n %%/%d/%03d/100%20#/?a=b&c#d/file:/http:example/"
        "concat:a|b/pipe:1/two\nlines/\nfirst/last\n/tab\tcr\r/\u001b[31mred\u0007/-/--/-y/-vf null/--help/ both ends /"
        "   /\u3000全角\u3000/\u00a0nbsp\u00a0/.hidden/.../a.b.c/name./~/~root/*/[a-z]?{b,c}/back\\slash/a;b&c|d>e<f/"
        "!history/a=b,c:d/'[out]'/<b>bold<br>/&amp;/NUL/con.txt"_s;
    QStringList names = chosen.split(u'/');
    names << QString(246, u'x') << QString(82, u'长') << u"😀"_s.repeated(61);
    const QString pieces = u"片/😀/'/\"/$x/%1/\n/-/ /א/\\/:/#/\u202E/./`/\t/é/%s/&/\u0301/|/*/~/𠮷/a/0/;/("_s;
    const QStringList alphabet = pieces.split(u'/');
    QRandomGenerator random(7);
    while (names.size() < 200) {
        QString name;
        for (int count = random.bounded(1, 12); count > 0; --count)
            name += alphabet.at(random.bounded(static_cast<int>(alphabet.size())));
        if (name != u"." && name != u".." && !names.contains(name))
            names << name;
    }
    return names;
}

/// The clip's name, by another road than the program's.
QString clipNameFor(QString name)
{
    static const QRegularExpression separators(u"[/:\\\\\n\r\t]+"_s);
    static const QRegularExpression dashesAtEnds(u"^\x01+|\x01+$"_s);
    name = name.trimmed().replace(separators, u"\x01"_s).remove(dashesAtEnds);
    return (name.trimmed().isEmpty() ? u"clip"_s : name.replace(u'\x01', u'-')) + u"-01.mp4"_s;
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

} // namespace

class HostileNamesTest final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    /// The name is the folder's, the video's and the prefix at once. The real ffmpeg puts each clip where it belongs,
    /// and nothing else is touched.
    void eachIsCutIntoTheRightFile()
    {
        const QTemporaryDir folder;
        const QString tiny = folder.filePath(u"tiny.mp4"_s);
        QCOMPARE(QProcess::execute(u"ffmpeg"_s, {u"-v"_s, u"error"_s, u"-f"_s, u"lavfi"_s, u"-i"_s,
                                                 u"testsrc=d=1:s=32x32:r=10"_s, tiny}),
                 0);
        const QStringList names = hostileNames();
        QCOMPARE(names.size(), 200);
        QList<FFmpegJob> jobs;
        for (const QString& name : names) {
            const QString videos = folder.filePath(u"videos/"_s + name);
            const QString clips = folder.filePath(u"clips/"_s + name);
            const QString video = videos + u'/' + name + u".mp4"_s;
            QVERIFY(QDir().mkpath(videos) && QDir().mkpath(clips) && QFile::copy(tiny, video));
            jobs << buildJobs({{0, true, 0.2, 0.7}}, FileURL(video), FileURL(clips), name, std::nullopt);
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
            const QString clips = folder.filePath(u"clips/"_s + names.at(number));
            const QString clipName = clipNameFor(names.at(number));
            QCOMPARE(filesIn(clips), QStringList{clipName});
            QVERIFY2(contentOf(clips + u'/' + clipName).contains("moov"), qPrintable(clipName)); // ffmpeg's last word
            QCOMPARE(contentOf(jobs.at(number).inputURL.path()), contentOf(tiny));
        }
        QCOMPARE(filesIn(folder.filePath(u"clips"_s)).size(), names.size());
        QCOMPARE(filesIn(folder.path()), QStringList({u"clips"_s, u"tiny.mp4"_s, u"videos"_s}));
        for (QWidget* window : QApplication::topLevelWidgets())
            window->close();
    }
};

QTEST_MAIN(HostileNamesTest)
#include "hostile_names.moc"
