#include "FakeFFmpeg.h"
#include "Jobs/OlderFiles.h"
#include "Jobs/OutputFormats.h"
#include "Jobs/OutputSafety.h"
#include "Jobs/SideNames.h"
#include "Jobs/SplitJob.h"
#include "RealFFmpeg.h"
#include "Services/MessageError.h"

#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>

#include <fcntl.h>
#include <sys/file.h>
#include <tuple>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// A folder's files and links with what is in them, "out.mp4=old link>target".
QString listing(const QString& folder, const QStringList& unnamed = {})
{
    QStringList entries;
    for (const QFileInfo& file :
         QDir(folder).entryInfoList(QDir::Files | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name)) {
        if (file.isSymbolicLink())
            entries << file.fileName() + u'>' + QFileInfo(file.symLinkTarget()).fileName();
        else if (!unnamed.contains(file.fileName()))
            entries << file.fileName() + u'=' + QString::fromUtf8(readFile(file.filePath())).trimmed();
    }
    return entries.join(u' ');
}

/// One job over whatever lies in its folder.
struct Split
{
    explicit Split(const QString& script)
        : tool(script.toUtf8())
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
    /// A shell script in the folder.
    void change(const QString& script) const
    {
        QCOMPARE(QProcess::execute(u"sh"_s, {u"-c"_s, u"cd '%1' || exit; "_s.arg(path({})) + script}), 0);
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
const QString writing = u"echo part > \"$output\"; "_s;
const QString waiting = u"echo ready; read line < gate"_s;
const QString waitingForTrap = u"read line < gate & echo ready; wait"_s;
const QString succeeding = u"echo new > \"$output\"; printf 'out_time_us=1000000\\nprogress=end\\n'"_s;
/// In the folder, before a job.
const QString older = u"echo old > out.mp4; "_s;
const QString olderLink = u"echo mine > own; ln -s own out.mp4"_s;

} // namespace

class SplitJobTest final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;

private Q_SLOTS:
    void initTestCase()
    {
        const QString good = m_folder.filePath(u"good.mp4"_s);
        runFFmpeg(u"-f lavfi -i testsrc2=size=320x180:rate=25:duration=12 -f lavfi -i sine=duration=12 -g 100 "
                  "-movflags +faststart"_s,
                  good);
        QByteArray content = readFile(good);
        writeFile(m_folder.filePath(u"truncated.mp4"_s), content.first(content.size() * 6 / 10));
        for (qsizetype i = content.size() / 2; i < content.size() / 2 + 20'000; ++i)
            content[i] = static_cast<char>(i * 7919 >> 3);
        writeFile(m_folder.filePath(u"damaged.mp4"_s), content);
        runFFmpeg(u"-f lavfi -i testsrc2=size=160x90:rate=25:duration=12 -vf select=lt(t\\,6)+not(mod(n\\,12)) "
                  "-vsync vfr"_s,
                  m_folder.filePath(u"varying.mp4"_s));
        for (const auto& [options, name] :
             {std::pair(u"-c:v mpeg2video -c:a mp2"_s, u"good.mpg"_s),
              {u"-g 100 -c:v libx264"_s, u"good.avi"_s},
              {u"-vf setpts=PTS-1/TB -af asetpts=PTS-1/TB -avoid_negative_ts disabled"_s, u"before zero.mkv"_s},
              {u"-an -c copy"_s, u"silent.ts"_s},
              {u"-c copy"_s, u"cut off.ts"_s}})
            runFFmpeg(u"-i "_s + good + u' ' + options, m_folder.filePath(name));
        content = readFile(m_folder.filePath(u"cut off.ts"_s));
        writeFile(m_folder.filePath(u"cut off.ts"_s), content.first(content.size() * 6 / 10));
    }

    void realClipsAreVerified()
    {
        using enum JobOutcome;
        using Rows = QList<std::tuple<QString, double, double, QString, JobOutcome, QString>>;
        for (const auto& [source, start, duration, output, outcome, remark] :
             Rows{{u"good.mp4"_s, 1.33, 2.5, u"o.mp4"_s, completed, {}},
                  {u"good.mp4"_s, 11, 5, u"o.mp4"_s, completed, {}}, // up to the end
                  {u"varying.mp4"_s, 6.5, 4, u"o.mp4"_s, completed, {}},
                  {u"good.mpg"_s, 4.9, 1.1, u"o.mpg"_s, completed, u" decod"_s},         // sound cut by the seek
                  {u"silent.ts"_s, 5, 5, u"o.mp4"_s, doubtful, u"，应为 5.000s"_s},      // pictures lost by the seek
                  {u"good.mpg"_s, 4, 2, u"o.mpg"_s, doubtful, u" 个画面，应为 50 个"_s}, // repeated for lost ones
                  {u"before zero.mkv"_s, 3, 2, u"o.mkv"_s, doubtful, u"只写出 49 个画面，应为 50 个"_s},
                  {u"good.avi"_s, 0.04, 5, u"o.avi"_s, doubtful, u"应为"_s},
                  {u"good.mp4"_s, 20, 2, u"o.mp4"_s, doubtful, u"没有写出任何画面"_s},
                  {u"truncated.mp4"_s, 5, 9, u"o.mp4"_s, doubtful, u"，应为 7.0"_s},
                  {u"cut off.ts"_s, 7, 4, u"o.ts"_s, doubtful, u"没有写出任何画面"_s}, // but some sound
                  {u"damaged.mp4"_s, 4, 5, u"o.mp4"_s, doubtful, u"ffmpeg 报告了错误："_s},
                  {u"good.mp4"_s, 0, 1, u"o.xyz"_s, failed, u"ffmpeg 不能写出 .xyz 格式"_s}}) {
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
    }

    /// What stopping, and killing at the application's end, leave in the folder.
    void nothingIsLostByStopping()
    {
        // ffmpeg, the folder before it and meanwhile, and what is in it in the end
        const QList<QStringList> rows = {
            {writing, {}, {}, u"in.mp4=source"_s},
            {writing, older, {}, u"in.mp4=source out.mp4=old"_s},
            {u"trap 'exit 255' TERM; "_s + writing + waitingForTrap, older, {}, u"in.mp4=source out.mp4=old"_s},
            {u"trap '' TERM; "_s + writing + waitingForTrap, older, {}, u"in.mp4=source out.mp4=old"_s},
            {writing, olderLink, {}, u"in.mp4=source out.mp4>own own=mine"_s},
            {writing, older, u"ln -sf in.mp4 out.mp4"_s, u"in.mp4=source out (原文件).mp4=old out.mp4>in.mp4"_s},
            {writing, {}, u"mv in.mp4 out.mp4"_s, u"out.mp4=source"_s},
            {writing, older, u"mv out.mp4 x"_s, u"in.mp4=source out.mp4=old x=part"_s}};
        for (const QStringList& row : rows) {
            for (const bool atApplicationEnd : {false, true}) {
                Split split(row[0] + waiting);
                split.change(row[1]);
                split.launch();
                QTRY_VERIFY_WITH_TIMEOUT(split.isReady, patience);
                split.change(row[2]);
                if (atApplicationEnd) {
                    delete split.job.release();
                } else {
                    split.job->stop();
                    split.job->stop();
                    split.waitForEnd();
                    QCOMPARE(split.end.outcome, JobOutcome::stopped);
                }
                QCOMPARE(split.files(), row[3]);
                QCOMPARE(split.trash(), QString());
            }
        }
    }

    void aJobThatHadSucceededIsNotStopped()
    {
        Split split(u"finish() { "_s + succeeding + u"; exit 0; }; trap finish TERM; "_s + waitingForTrap);
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
        split.change(u"mkdir clips; echo old > clips/out.mp4; mkfifo clips/gate"_s);
        split.launch(u"clips/out.mp4"_s);
        QTRY_VERIFY_WITH_TIMEOUT(split.isReady, patience);
        split.change(u"mv clips elsewhere"_s);
        split.job->stop();
        split.waitForEnd();
        QCOMPARE(listing(split.path(u"elsewhere"_s), {u"gate"_s}), u"out.mp4=old"_s);
    }

    void whatBecomesOfOlderFiles()
    {
        const QString ours = u"ours;"_s; // written by a job of ours before
        const QString doubtful = succeeding + u"; echo 'No space left on device'"_s;
        const QString playable = u"printf '\\0\\0\\0\\10ftyp\\0\\0\\0\\10moov' > \"$output\"; echo bad error; exit 1"_s;
        const QString trashed = u"原有文件已移到废纸篓"_s;
        // The folder before, ffmpeg, the folder in the end, the trash and the remark
        const QList<QStringList> rows = {
            {{}, writing + u"echo bad error; exit 1"_s, {}, {}, u"bad error"_s},
            {older, writing + u"exit 1"_s, u"out.mp4=old"_s, {}, u"ffmpeg 意外结束，没有说明原因；原有文件保持不变"_s},
            {{}, playable, u"out.mp4=*"_s, {}, u"bad error；已写出的部分保留在输出文件中"_s},
            {older,
             playable,
             u"out (未完成).mp4=* out.mp4=old"_s,
             {},
             u"bad error；已写出的部分保留为 “out (未完成).mp4”，原有文件保持不变"_s},
            {older, u"exit 0"_s, u"out.mp4=old"_s, {}, u"输出文件是空的；原有文件保持不变"_s},
            {older,
             writing + u"printf 'frame=0\\nprogress=end\\n'"_s,
             u"out.mp4=old"_s,
             {},
             u"没有写出任何画面；原有文件保持不变"_s},
            {older, succeeding, u"out.mp4=new"_s, u"out (原文件).mp4=old"_s, trashed},
            {older,
             doubtful,
             u"out (原文件).mp4=old out.mp4=new"_s,
             {},
             u"ffmpeg 报告了错误：No space left on device；原有文件保留为 “out (原文件).mp4”"_s},
            {ours, succeeding, u"out.mp4=new"_s, {}, {}},
            {ours, u"grep -q new .*older && echo No space left on device; "_s + succeeding, u"out.mp4=new"_s,
             u"out (原文件).mp4=new"_s, u"ffmpeg 报告了错误：No space left on device；"_s + trashed},
            {ours + u"echo edited > out.mp4"_s, succeeding, u"out.mp4=new"_s, u"out (原文件).mp4=edited"_s, trashed},
            {ours + u"echo source > in.mp4"_s, succeeding, u"out.mp4=new"_s, u"out (原文件).mp4=new"_s,
             trashed}, // another video of that name
            {older + u"echo > data/Trash; echo older > 'out (原文件).mp4'"_s,
             succeeding,
             u"out (原文件 2).mp4=old out (原文件).mp4=older out.mp4=new"_s,
             {},
             u"原有文件保留为 “out (原文件 2).mp4”"_s},
            {olderLink, succeeding, u"out.mp4=new own=mine"_s, u"out (原文件).mp4>own"_s, trashed}};
        const QString unreadable = QString::fromUtf8(QByteArray("\0\0\0\10ftyp\0\0\0\10moov", 16)).trimmed();
        for (const QStringList& row : rows) {
            Split split(row[1]);
            if (row[0].startsWith(ours))
                split.run();
            split.change(row[0].sliced(row[0].startsWith(ours) ? ours.size() : 0));
            split.run();
            QCOMPARE(split.files().replace(unreadable, u"*"_s).mid(QStringLiteral("in.mp4=source ").size()), row[2]);
            QCOMPARE(split.trash(), row[3]);
            QCOMPARE(split.end.remark, row[4]);
        }
    }

    /// Against the muxers of the ffmpeg that is installed.
    void extensionsOfRealMuxers()
    {
        static const QRegularExpression common(u"Common extensions: (.*)\\."_s);
        const auto extensionsOf = [&](const QString& muxers) {
            QStringList extensions;
            for (const QString& muxer : muxers.split(u' ')) {
                QProcess process;
                process.start(u"ffmpeg"_s, {u"-hide_banner"_s, u"-h"_s, u"muxer="_s + muxer});
                process.waitForFinished(-1);
                const auto match = common.match(QString::fromUtf8(process.readAllStandardOutput()));
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
        Split split(writing);
        split.change(older + u"echo no program > ffmpeg"_s);
        QVERIFY_THROWS_EXCEPTION(ProcessLaunchError, split.launch());
        QFile::link(split.path(u"in.mp4"_s), split.path(u"2.mp4"_s)); // made since the split started
        QVERIFY_THROWS_EXCEPTION(OutputError, split.launch(u"2.mp4"_s));
        QCOMPARE(split.files(), u"2.mp4>in.mp4 in.mp4=source out.mp4=old"_s);
    }

    void whatAKilledKestrelHadSetAside()
    {
        const Split split({});
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
        split.change(u"echo old > 2; ln -s nowhere 3; mkdir 4"_s);
        const QList<FFmpegJob> jobs = split.tool.jobs(5) + QList{split.tool.job(u"out.mp4"_s)};
        QCOMPARE(olderFilesToTrash(jobs, *split.writtenClips), 2);
    }
};

QTEST_GUILESS_MAIN(SplitJobTest)
#include "tst_SplitJob.moc"
