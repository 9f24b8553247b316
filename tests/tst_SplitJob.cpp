#include "FakeFFmpeg.h"
#include "Jobs/OlderFiles.h"
#include "Jobs/OutputFormats.h"
#include "Jobs/OutputSafety.h"
#include "Jobs/SideNames.h"
#include "Jobs/SplitJob.h"
#include "Services/MessageError.h"

#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void runTool(const QStringList& arguments)
{
    QProcess process;
    process.start(u"ffmpeg"_s, QStringList{u"-v"_s, u"error"_s, u"-y"_s} + arguments);
    QVERIFY(process.waitForFinished(-1) && process.exitCode() == 0);
}

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
}

/// A folder's files and links with what is in them, "out.mp4=old link>target".
QString listing(const QString& folder, const QStringList& unnamed = {})
{
    QStringList entries;
    for (const QFileInfo& file :
         QDir(folder).entryInfoList(QDir::Files | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name)) {
        if (file.isSymbolicLink())
            entries << file.fileName() + u'>' + QFileInfo(file.symLinkTarget()).fileName();
        else if (!unnamed.contains(file.fileName()))
            entries << file.fileName() + u'=' + QString::fromUtf8(contentOf(file.filePath())).trimmed();
    }
    return entries.join(u' ');
}

/// One job over whatever lies in its folder.
struct Split
{
    explicit Split(const QByteArray& script)
        : tool(script)
    {
        tool.write(u"in.mp4"_s, "source");
        tool.makeGate(u"gate"_s);
        QDir(tool.file({}).path()).mkdir(u"data"_s);
        qputenv("HOME", QFile::encodeName(tool.file({}).path())); // the trash of its volume
        qputenv("XDG_DATA_HOME", QFile::encodeName(tool.file(u"data"_s).path()));
    }

    void launch(const QString& output = u"out.mp4"_s)
    {
        job = SplitJob::launch(tool.job(output), tool.runtime(), writtenClips);
        ended = false;
        job->onOutput = [this](const QByteArray& chunk) { isReady |= chunk.contains("ready"); };
        job->onEnd = [this](const JobEnd& itsEnd) {
            end = itsEnd;
            ended = true;
        };
    }
    void waitForEnd() const { QTRY_VERIFY_WITH_TIMEOUT(ended, patience); }
    void run()
    {
        launch();
        waitForEnd();
    }
    [[nodiscard]] QString path(const QString& name) const { return tool.file(name).path(); }
    [[nodiscard]] QString files() const { return listing(path({}), {u"ffmpeg"_s, u"gate"_s}); }
    [[nodiscard]] QString trash() const { return listing(path(u"data/Trash/files"_s)); }

    FakeFFmpeg tool;
    std::shared_ptr<WrittenClips> writtenClips = std::make_shared<WrittenClips>();
    SplitJob::Owner job;
    JobEnd end;
    bool isReady = false;
    bool ended = false;
};

/// In a script: the clip, as far as it goes when the job is stopped.
const QByteArray writing = "echo part > \"$output\"; ";
const QByteArray waiting = "echo ready; read line < gate";
const QByteArray waitingForTrap = "read line < gate & echo ready; wait";
const QByteArray succeeding = "echo new > \"$output\"; printf 'out_time_us=1000000\\nprogress=end\\n'";

using Change = std::function<void(const Split&)>;

} // namespace

Q_DECLARE_METATYPE(Change)

class SplitJobTest final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;

private Q_SLOTS:
    void initTestCase()
    {
        const QString good = m_folder.filePath(u"good.mp4"_s);
        runTool({u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc2=size=320x180:rate=25:duration=12"_s, u"-f"_s, u"lavfi"_s,
                 u"-i"_s, u"sine=duration=12"_s, u"-g"_s, u"100"_s, u"-movflags"_s, u"+faststart"_s, good});
        QByteArray content = contentOf(good);
        writeFile(m_folder.filePath(u"truncated.mp4"_s), content.first(content.size() * 6 / 10));
        for (qsizetype i = content.size() / 2; i < content.size() / 2 + 20'000; ++i)
            content[i] = static_cast<char>(i * 7919 >> 3);
        writeFile(m_folder.filePath(u"damaged.mp4"_s), content);
        runTool({u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc2=size=160x90:rate=25:duration=12"_s, u"-vf"_s,
                 u"select=lt(t\\,6)+not(mod(n\\,12))"_s, u"-vsync"_s, u"vfr"_s, m_folder.filePath(u"varying.mp4"_s)});
        runTool({u"-i"_s, good, u"-c:v"_s, u"mpeg2video"_s, u"-c:a"_s, u"mp2"_s, m_folder.filePath(u"good.mpg"_s)});
        runTool({u"-i"_s, good, u"-c"_s, u"copy"_s, m_folder.filePath(u"good.avi"_s)});
        runTool({u"-i"_s, good, u"-vf"_s, u"setpts=PTS-1/TB"_s, u"-af"_s, u"asetpts=PTS-1/TB"_s,
                 u"-avoid_negative_ts"_s, u"disabled"_s, m_folder.filePath(u"before zero.mkv"_s)});
        runTool({u"-i"_s, good, u"-an"_s, u"-c"_s, u"copy"_s, m_folder.filePath(u"silent.ts"_s)});
        runTool({u"-i"_s, good, u"-c"_s, u"copy"_s, m_folder.filePath(u"good.ts"_s)});
        content = contentOf(m_folder.filePath(u"good.ts"_s));
        writeFile(m_folder.filePath(u"cut off.ts"_s), content.first(content.size() * 6 / 10));
    }

    void realClipsAreVerified_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<double>("start");
        QTest::addColumn<double>("duration");
        QTest::addColumn<QString>("output");
        QTest::addColumn<JobOutcome>("outcome");
        QTest::addColumn<QString>("remark");
        QTest::newRow("whole") << u"good.mp4"_s << 1.33 << 2.5 << u"o.mp4"_s << JobOutcome::completed << u""_s;
        QTest::newRow("up to the end") << u"good.mp4"_s << 11.0 << 5.0 << u"o.mp4"_s << JobOutcome::completed << u""_s;
        QTest::newRow("varying frame rate without sound")
            << u"varying.mp4"_s << 6.5 << 4.0 << u"o.mp4"_s << JobOutcome::completed << u""_s;
        QTest::newRow("sound cut by the seek")
            << u"good.mpg"_s << 4.9 << 1.1 << u"o.mpg"_s << JobOutcome::completed << u"Error while decoding stream"_s;
        QTest::newRow("a stream from its beginning")
            << u"silent.ts"_s << 0.0 << 3.0 << u"o.mp4"_s << JobOutcome::completed << u""_s;
        QTest::newRow("pictures lost by the seek")
            << u"silent.ts"_s << 5.0 << 5.0 << u"o.mp4"_s << JobOutcome::doubtful << u"，应为 5.000s"_s;
        QTest::newRow("pictures repeated for lost ones")
            << u"good.mpg"_s << 3.0 << 2.0 << u"o.mpg"_s << JobOutcome::doubtful << u" 个画面，应为 50 个"_s;
        QTest::newRow("the last picture lost by a start before zero")
            << u"before zero.mkv"_s << 3.0 << 2.0 << u"o.mkv"_s << JobOutcome::doubtful
            << u"只写出 49 个画面，应为 50 个"_s;
        QTest::newRow("AVI lost its beginning")
            << u"good.avi"_s << 0.04 << 5.0 << u"o.avi"_s << JobOutcome::doubtful << u"应为"_s;
        QTest::newRow("beyond the end") << u"good.mp4"_s << 20.0 << 2.0 << u"o.mp4"_s << JobOutcome::doubtful
                                        << u"没有写出任何画面"_s;
        QTest::newRow("across the truncation")
            << u"truncated.mp4"_s << 5.0 << 9.0 << u"o.mp4"_s << JobOutcome::doubtful << u"，应为 7.0"_s;
        QTest::newRow("after the truncation")
            << u"truncated.mp4"_s << 10.0 << 1.0 << u"o.mp4"_s << JobOutcome::doubtful << u"没有写出任何画面"_s;
        QTest::newRow("nothing but sound left of a stream that was cut off")
            << u"cut off.ts"_s << 7.0 << 4.0 << u"o.ts"_s << JobOutcome::doubtful << u"没有写出任何画面"_s;
        QTest::newRow("damaged middle") << u"damaged.mp4"_s << 4.0 << 5.0 << u"o.mp4"_s << JobOutcome::doubtful
                                        << u"ffmpeg 报告了错误："_s;
        QTest::newRow("an extension that ffmpeg cannot write")
            << u"good.mp4"_s << 0.0 << 1.0 << u"o.xyz"_s << JobOutcome::failed << u"ffmpeg 不能写出 .xyz 格式"_s;
        QTest::newRow("no such source") << u"none.mp4"_s << 0.0 << 1.0 << u"o.mp4"_s << JobOutcome::failed
                                        << u"No such file or directory"_s;
    }

    void realClipsAreVerified()
    {
        QFETCH(QString, source);
        QFETCH(double, start);
        QFETCH(double, duration);
        QFETCH(QString, output);
        QFETCH(QString, remark);
        QFETCH(JobOutcome, outcome);
        const FileURL ffmpeg(QStandardPaths::findExecutable(u"ffmpeg"_s));
        const FFmpegJob job = {
            1, FileURL(m_folder.filePath(source)), FileURL(m_folder.filePath(output)), start, duration, {}};
        std::optional<JobEnd> end;
        const auto running = SplitJob::launch(job, {ffmpeg, ffmpeg, ffmpeg}, std::make_shared<WrittenClips>());
        running->onEnd = [&end](const JobEnd& itsEnd) { end = itsEnd; };
        QTRY_VERIFY_WITH_TIMEOUT(end, patience);
        QCOMPARE(end->outcome, outcome);
        QVERIFY2(remark.isEmpty() ? end->remark.isEmpty() : end->remark.contains(remark), qPrintable(end->remark));
        QFile::remove(job.outputURL.path());
    }

    /// What stopping, and killing at the application's end, leave in the folder.
    void nothingIsLostByStopping_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<Change>("before");
        QTest::addColumn<Change>("meanwhile");
        QTest::addColumn<QString>("files");

        const Change nothing = [](const Split&) {};
        const Change older = [](const Split& split) { split.tool.write(u"out.mp4"_s, "old"); };
        const auto row = [&](const char* name, const QByteArray& script, const Change& before, const Change& meanwhile,
                             const QString& files) { QTest::newRow(name) << script << before << meanwhile << files; };
        row("a new file goes", writing, nothing, nothing, u"in.mp4=source"_s);
        row("nothing written", "", nothing, nothing, u"in.mp4=source"_s);
        row("an older file is put back", writing, older, nothing, u"in.mp4=source out.mp4=old"_s);
        row("ffmpeg that ends with a status of its own", "trap 'exit 255' TERM; " + writing + waitingForTrap, older,
            nothing, u"in.mp4=source out.mp4=old"_s);
        row("ffmpeg that ignores the request", "trap '' TERM; " + writing + waitingForTrap, older, nothing,
            u"in.mp4=source out.mp4=old"_s);
        row(
            "an older link is put back, its target untouched", writing,
            [](const Split& split) {
                split.tool.write(u"own"_s, "mine");
                QFile::link(split.path(u"own"_s), split.path(u"out.mp4"_s));
            },
            nothing, u"in.mp4=source out.mp4>own own=mine"_s);
        row(
            "the output became a link to the source", writing, older,
            [](const Split& split) {
                QFile::remove(split.path(u"out.mp4"_s));
                QFile::link(split.path(u"in.mp4"_s), split.path(u"out.mp4"_s));
            },
            u"in.mp4=source out (原文件).mp4=old out.mp4>in.mp4"_s);
        row(
            "the source was renamed onto the output", writing, nothing,
            [](const Split& split) {
                ::rename(QFile::encodeName(split.path(u"in.mp4"_s)), QFile::encodeName(split.path(u"out.mp4"_s)));
            },
            u"out.mp4=source"_s);
        row(
            "the output was renamed", writing, older,
            [](const Split& split) { QFile::rename(split.path(u"out.mp4"_s), split.path(u"x"_s)); },
            u"in.mp4=source out.mp4=old x=part"_s);
    }

    void nothingIsLostByStopping()
    {
        QFETCH(QByteArray, script);
        QFETCH(Change, before);
        QFETCH(Change, meanwhile);
        QFETCH(QString, files);
        for (const bool atApplicationEnd : {false, true}) {
            Split split(script + waiting);
            before(split);
            split.launch();
            QTRY_VERIFY_WITH_TIMEOUT(split.isReady, patience);
            meanwhile(split);
            if (atApplicationEnd) {
                delete split.job.release();
            } else {
                split.job->stop();
                split.job->stop();
                split.waitForEnd();
                QCOMPARE(split.end.outcome, JobOutcome::stopped);
            }
            QCOMPARE(split.files(), files);
            QCOMPARE(split.trash(), QString());
        }
    }

    void aJobThatHadSucceededIsNotStopped()
    {
        Split split("finish() { " + succeeding + "; exit 0; }; trap finish TERM; " + waitingForTrap);
        split.launch();
        QTRY_VERIFY_WITH_TIMEOUT(split.isReady, patience);
        split.job->stop();
        split.waitForEnd();
        QCOMPARE(split.end.outcome, JobOutcome::completed);
        QCOMPARE(split.files(), u"in.mp4=source out.mp4=new"_s);
    }

    void aRenamedFolderIsTidiedToo()
    {
        Split split(writing + waiting);
        QDir(split.path({})).mkdir(u"clips"_s);
        split.tool.write(u"clips/out.mp4"_s, "old");
        split.tool.makeGate(u"clips/gate"_s);
        split.launch(u"clips/out.mp4"_s);
        QTRY_VERIFY_WITH_TIMEOUT(split.isReady, patience);
        QDir(split.path({})).rename(u"clips"_s, u"elsewhere"_s);
        split.job->stop();
        split.waitForEnd();
        QCOMPARE(listing(split.path(u"elsewhere"_s), {u"gate"_s}), u"out.mp4=old"_s);
    }

    void whatFailsLeavesOlderFiles_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<bool>("hasOlder");
        QTest::addColumn<QString>("files");
        QTest::addColumn<QString>("remark");
        const QByteArray playable = "printf '\\0\\0\\0\\10ftyp\\0\\0\\0\\10moov' > \"$output\"; echo bad error; exit 1";
        QTest::newRow("nothing that can be played, nothing older")
            << writing + "echo bad error; exit 1" << false << QString() << u"bad error"_s;
        QTest::newRow("nothing that can be played")
            << writing + "exit 1" << true << u"out.mp4=old"_s << u"ffmpeg 意外结束，没有说明原因；原有文件保持不变"_s;
        QTest::newRow("a part that can be played, nothing older")
            << playable << false << u"out.mp4=*"_s << u"bad error；已写出的部分保留在输出文件中"_s;
        QTest::newRow("a part that can be played")
            << playable << true << u"out (未完成).mp4=* out.mp4=old"_s
            << u"bad error；已写出的部分保留为 “out (未完成).mp4”，原有文件保持不变"_s;
        QTest::newRow("success without a clip")
            << QByteArray("exit 0") << true << u"out.mp4=old"_s << u"输出文件是空的；原有文件保持不变"_s;
        QTest::newRow("success without a picture") << writing + "printf 'frame=0\\nprogress=end\\n'" << true
                                                   << u"out.mp4=old"_s << u"没有写出任何画面；原有文件保持不变"_s;
    }

    void whatFailsLeavesOlderFiles()
    {
        QFETCH(QByteArray, script);
        QFETCH(bool, hasOlder);
        Split split(script);
        if (hasOlder)
            split.tool.write(u"out.mp4"_s, "old");
        split.run();
        const QString unreadable = QString::fromUtf8(QByteArray("\0\0\0\10ftyp\0\0\0\10moov", 16)).trimmed();
        const QString files = split.files().replace(unreadable, u"*"_s);
        QTEST(files.mid(QStringLiteral("in.mp4=source ").size()), "files");
        QTEST(split.end.remark, "remark");
        QCOMPARE(split.trash(), QString());
    }

    void whatSuccessDoesWithAnOlderFile_data()
    {
        QTest::addColumn<Change>("before");
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<QString>("files");
        QTest::addColumn<QString>("trash");
        QTest::addColumn<QString>("remark");

        const Change older = [](const Split& split) { split.tool.write(u"out.mp4"_s, "old"); };
        const Change ours = [](const Split& split) { const_cast<Split&>(split).run(); };
        const QByteArray doubtful = succeeding + "; echo 'No space left on device'";
        const auto row = [](const char* name, const Change& before, const QByteArray& script, const QString& files,
                            const QString& trash, const QString& remark) {
            QTest::newRow(name) << before << script << files << trash << remark;
        };
        row("a stranger's", older, succeeding, u"out.mp4=new"_s, u"out (原文件).mp4=old"_s, u"原有文件已移到废纸篓"_s);
        row("a stranger's, and the clip is doubtful", older, doubtful, u"out (原文件).mp4=old out.mp4=new"_s, {},
            u"ffmpeg 报告了错误：No space left on device；原有文件保留为 “out (原文件).mp4”"_s);
        row("written from the same video", ours, succeeding, u"out.mp4=new"_s, {}, {});
        row("written from the same video, and the clip is doubtful", ours,
            "grep -q new .*older && echo No space left on device; " + succeeding, u"out.mp4=new"_s,
            u"out (原文件).mp4=new"_s, u"ffmpeg 报告了错误：No space left on device；原有文件已移到废纸篓"_s);
        row(
            "changed since it was written",
            [ours](const Split& split) {
                ours(split);
                split.tool.write(u"out.mp4"_s, "edited");
            },
            succeeding, u"out.mp4=new"_s, u"out (原文件).mp4=edited"_s, u"原有文件已移到废纸篓"_s);
        row(
            "written from another video of that name",
            [ours](const Split& split) {
                ours(split);
                split.tool.write(u"in.mp4"_s, "source"); // later
            },
            succeeding, u"out.mp4=new"_s, u"out (原文件).mp4=new"_s, u"原有文件已移到废纸篓"_s);
        row(
            "no trash, and the first other name is taken",
            [older](const Split& split) {
                older(split);
                split.tool.write(u"data/Trash"_s, "");
                split.tool.write(u"out (原文件).mp4"_s, "older");
            },
            succeeding, u"out (原文件 2).mp4=old out (原文件).mp4=older out.mp4=new"_s, {},
            u"原有文件保留为 “out (原文件 2).mp4”"_s);
        row(
            "a link",
            [](const Split& split) {
                split.tool.write(u"own"_s, "mine");
                QFile::link(split.path(u"own"_s), split.path(u"out.mp4"_s));
            },
            succeeding, u"out.mp4=new own=mine"_s, u"out (原文件).mp4>own"_s, u"原有文件已移到废纸篓"_s);
    }

    void whatSuccessDoesWithAnOlderFile()
    {
        QFETCH(Change, before);
        QFETCH(QByteArray, script);
        Split split(script);
        before(split);
        split.run();
        QTEST(split.files().mid(QStringLiteral("in.mp4=source ").size()), "files");
        QTEST(split.trash(), "trash");
        QTEST(split.end.remark, "remark");
    }

    /// Against the muxers of the ffmpeg that is installed.
    void extensionsOfRealMuxers()
    {
        const auto saidBy = [](const QStringList& arguments) {
            QProcess process;
            process.start(u"ffmpeg"_s, QStringList(u"-hide_banner"_s) + arguments);
            process.waitForFinished(-1);
            return QString::fromUtf8(process.readAllStandardOutput());
        };
        static const QRegularExpression common(u"Common extensions: (.*)\\."_s);
        const auto extensionsOf = [&](const QString& muxers) {
            QStringList extensions;
            for (const QString& muxer : muxers.split(u' ')) {
                const auto match = common.match(saidBy({u"-h"_s, u"muxer="_s + muxer}));
                extensions += match.captured(1).split(u',', Qt::SkipEmptyParts);
            }
            return extensions;
        };
        const QStringList several =
            extensionsOf(u"dash hls image2 segment stream_segment smoothstreaming webm_chunk hds tee fifo"_s);
        QVERIFY(several.contains(u"m3u8"_s) && several.contains(u"png"_s));
        for (const QString& extension : several)
            QVERIFY2(makesSeveralFiles(extension.trimmed()), qPrintable(extension));
        const QStringList single = extensionsOf(u"mp4 mov ipod f4v ismv matroska webm avi flv mpegts mpeg vob svcd asf "
                                                "ogg ogv mxf gxf nut dv rm swf wtv gif h264 hevc mjpeg ivf"_s);
        QVERIFY(single.contains(u"mp4"_s) && single.contains(u"mts"_s));
        for (const QString& extension : single)
            QVERIFY2(!doubtAboutExtension(extension.trimmed()), qPrintable(extension));
        QVERIFY(doubtAboutExtension(u"xyz"_s)->contains(u".xyz"_s) && doubtAboutExtension({}) &&
                doubtAboutExtension(u"3GP"_s) && !doubtAboutExtension(u"MP4"_s));
        QVERIFY_THROWS_EXCEPTION(OutputError, requireSingleFiles({{1, {}, FileURL(u"/a/b-01.M3U8"_s), 0, 1, {}}}));
    }

    void launchesThatMustFail()
    {
        Split split("echo must not run > \"$output\"");
        split.tool.write(u"out.mp4"_s, "old");
        split.tool.write(u"ffmpeg"_s, "no program");
        QVERIFY_THROWS_EXCEPTION(ProcessLaunchError, split.launch());
        QFile::link(split.path(u"in.mp4"_s), split.path(u"2.mp4"_s)); // made since the split started
        QVERIFY_THROWS_EXCEPTION(OutputError, split.launch(u"2.mp4"_s));
        QCOMPARE(split.files(), u"2.mp4>in.mp4 in.mp4=source out.mp4=old"_s);
    }

    void whatAKilledKestrelHadSetAside()
    {
        const Split split("");
        const QString longName = QString(240, u'x') + u".mp4"_s;
        for (const QString& name : {u"1.mp4"_s, u"2.mp4"_s, u"3.mp4"_s, u"5.mp4"_s, longName})
            split.tool.write(hiddenName(name, 1), "old " + name.first(1).toUtf8());
        split.tool.write(u"5.mp4"_s, "");
        split.tool.write(hiddenName(u"2.mp4"_s, 2), "two");
        split.tool.write(u"2.mp4"_s, "new");
        split.tool.write(u"3.mp4"_s, "being written");
        const int writtenByAnother = ::open(QFile::encodeName(split.path(u"3.mp4"_s)), O_RDWR);
        ::flock(writtenByAnother, LOCK_EX);
        const auto remarks =
            putOlderFilesBack({split.tool.job(u"2.mp4"_s), split.tool.job(longName), split.tool.job(u"4.mp4"_s)});
        ::close(writtenByAnother);
        QCOMPARE(split.files(),
                 u".3.mp4.kestrel-older=old 3 1.mp4=old 1 2 (原文件 2).mp4=two 2 (原文件).mp4=old 2 "
                 "2.mp4=new 3.mp4=being written 5 (未完成).mp4= 5.mp4=old 5 in.mp4=source %1=old x"_s.arg(longName));
        QCOMPARE(remarks.keys(), QStringList(split.path(u"2.mp4"_s)));
        QVERIFY(remarks.value(split.path(u"2.mp4"_s)).contains(u"上次中断时的原有文件保留为 “2 (原文件"_s));
    }

    void namesFitIntoAFolder()
    {
        const QString name = u"片"_s.repeated(84) + u".mp4"_s; // 256 bytes
        for (const QString& other : {hiddenName(name, 1), olderName(name, 12), unfinishedName(name, 1)})
            QVERIFY2(QFile::encodeName(other).size() <= 255, qPrintable(other));
        QVERIFY(hiddenName(name, 1) != hiddenName(name, 2));
        QCOMPARE(olderName(u".hidden"_s, 1), u".hidden (原文件)"_s);
    }

    void olderFilesAreCounted()
    {
        Split split(succeeding);
        split.run();
        split.tool.write(u"2.mp4"_s, "old");
        QFile::link(u"nowhere"_s, split.path(u"3.mp4"_s));
        QDir(split.path({})).mkdir(u"4.mp4"_s);
        const QList<FFmpegJob> jobs = {split.tool.job(u"out.mp4"_s), split.tool.job(u"2.mp4"_s),
                                       split.tool.job(u"3.mp4"_s), split.tool.job(u"4.mp4"_s),
                                       split.tool.job(u"5.mp4"_s)};
        QCOMPARE(olderFilesToTrash(jobs, *split.writtenClips), 2);
    }
};

QTEST_GUILESS_MAIN(SplitJobTest)
#include "tst_SplitJob.moc"
