#include "FakeTool.h"
#include "Models/FFmpegJob.h"
#include "NumberedVideo.h"
#include "Viewer/ViewerWindow.h"

#include <QAccessible>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

using Role = PlannedFrame::Role;

constexpr int patience = 30'000;

RuntimeConfiguration toolsWith(const FileURL& ffmpeg)
{
    return {FileURL(u"/usr/bin/python3"_s), {}, ffmpeg};
}

FileURL realFFmpeg()
{
    return FileURL(QStandardPaths::findExecutable(u"ffmpeg"_s));
}

/// The number in one of the pictures, -1 where there is none.
int shownNumber(const ViewerWindow& viewer, Role role)
{
    for (const PlannedFrame& planned : viewer.plan().frames) {
        const FramePicture* picture = planned.frame.isKnown() ? viewer.source().picture(planned.frame.ticks) : nullptr;
        if (planned.role == role && picture)
            return NumberedVideo::number(picture->image);
    }
    return -1;
}

/// Nothing more will come.
bool isSettled(const ViewerWindow& viewer)
{
    return viewer.source().processCount() == 0 && !viewer.accessibleDescription().contains(u"读取中"_s);
}

bool isComplete(const ViewerWindow& viewer)
{
    const QList<PlannedFrame>& frames = viewer.plan().frames;
    return !frames.isEmpty() && std::all_of(frames.begin(), frames.end(), [&](const PlannedFrame& planned) {
        return planned.frame.state == FrameAnswer::State::none ||
               (planned.frame.isKnown() && viewer.source().picture(planned.frame.ticks));
    });
}

/// Name and description of every picture that a screen reader finds.
QStringList spokenPictures(QAccessibleInterface* part)
{
    QStringList found;
    if (part->role() == QAccessible::Graphic)
        found << part->text(QAccessible::Name) + u'：' + part->text(QAccessible::Description);
    for (int i = 0; i < part->childCount(); ++i) {
        if (!part->child(i)->state().invisible)
            found += spokenPictures(part->child(i));
    }
    return found;
}

/// A copy of a file, cut off after a part of it, or with noise in the place of its middle.
void damage(const FileURL& from, const FileURL& to, double keptPart, bool hasNoise = false)
{
    QFile source(from.path());
    QFile damaged(to.path());
    if (!source.open(QIODevice::ReadOnly) || !damaged.open(QIODevice::WriteOnly))
        qFatal("no damaged copy of %s", qPrintable(from.path()));
    QByteArray bytes = source.readAll();
    const auto kept = qsizetype(keptPart * double(bytes.size()));
    if (hasNoise) {
        for (qsizetype at = kept / 2; at < kept; ++at)
            bytes[at] = char(at * at >> 3);
    } else {
        bytes.truncate(kept);
    }
    damaged.write(bytes);
}

ViewerContent contentOf(const FileURL& video, const QList<EditableSegment>& segments)
{
    ViewerContent content;
    content.videoURL = video;
    content.duration = 10;
    content.framesPerSecond = 25;
    content.segments = segments;
    return content;
}

} // namespace

class tst_ViewerWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        const QStringList encoder = {u"-c:v"_s, u"libx264"_s, u"-preset"_s,  u"ultrafast"_s,
                                     u"-bf"_s,  u"2"_s,       u"-pix_fmt"_s, u"yuv420p"_s};
        QVERIFY(NumberedVideo::make(file(u"25.mp4"_s).path(), u"25"_s, 250, encoder));
        QVERIFY(NumberedVideo::make(file(u"ntsc.mkv"_s).path(), u"30000/1001"_s, 300, encoder));
        QVERIFY(NumberedVideo::make(file(u"variable.mp4"_s).path(), u"50"_s, 500,
                                    encoder + QStringList{u"-vf"_s, u"select='if(lt(mod(n,80),40),1,not(mod(n,3)))'"_s,
                                                          u"-vsync"_s, u"vfr"_s}));
        QCOMPARE(
            QProcess::execute(u"ffmpeg"_s, {u"-v"_s, u"error"_s, u"-i"_s, file(u"25.mp4"_s).path(), u"-c"_s, u"copy"_s,
                                            u"-metadata:s:v"_s, u"rotate=90"_s, file(u"turned.mp4"_s).path()}),
            0);
        QCOMPARE(QProcess::execute(u"ffmpeg"_s, {u"-v"_s, u"error"_s, u"-i"_s, file(u"25.mp4"_s).path(), u"-c"_s,
                                                 u"copy"_s, file(u"25.ts"_s).path()}),
                 0);
        damage(file(u"25.mp4"_s), file(u"headless.mp4"_s), 0.5);
        damage(file(u"25.mp4"_s), file(u"noise.mp4"_s), 0.6, true);
        damage(file(u"ntsc.mkv"_s), file(u"short.mkv"_s), 0.5);
        damage(file(u"25.ts"_s), file(u"short.ts"_s), 0.5);
    }

    void edgesAreThoseOfTheClip_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<double>("start");
        QTest::addColumn<double>("end");
        QTest::newRow("on frames") << u"25.mp4"_s << 3.0 << 4.0;
        QTest::newRow("between frames") << u"25.mp4"_s << 3.0131 << 4.0472;
        QTest::newRow("past the end") << u"25.mp4"_s << 9.2 << 12.0;
        QTest::newRow("29.97, rounded up") << u"ntsc.mkv"_s << 4.171 << 6.006;
        QTest::newRow("29.97, rounded down") << u"ntsc.mkv"_s << 4.170 << 6.007;
        QTest::newRow("variable, dense to sparse") << u"variable.mp4"_s << 0.5 << 1.3;
        QTest::newRow("variable, sparse to dense") << u"variable.mp4"_s << 1.05 << 2.01;
        QTest::newRow("turned") << u"turned.mp4"_s << 2.0 << 2.5;
    }

    void edgesAreThoseOfTheClip()
    {
        QFETCH(QString, name);
        QFETCH(double, start);
        QFETCH(double, end);
        ViewerWindow viewer(nullptr);
        viewer.setRuntime(toolsWith(realFFmpeg()));
        viewer.open();
        viewer.setContent(contentOf(file(name), {{1, true, start, end, false}}));
        viewer.setSubject({ViewerSubject::Kind::segment, 0});
        QTRY_VERIFY_WITH_TIMEOUT(isComplete(viewer), patience);

        const FFmpegJob job{1, file(name), file(u"clip."_s + file(name).pathExtension()), start, end - start, {}};
        QProcess ffmpeg;
        ffmpeg.start(u"ffmpeg"_s, job.executionArguments());
        QVERIFY(ffmpeg.waitForFinished(-1));
        const QList<int> clip = NumberedVideo::numbers(job.outputURL.path());
        const QList<int> all = NumberedVideo::numbers(file(name).path());
        QVERIFY(clip.size() > 2);
        QCOMPARE(shownNumber(viewer, Role::firstInside), clip.first());
        QCOMPARE(shownNumber(viewer, Role::lastInside), clip.last());
        QCOMPARE(shownNumber(viewer, Role::beforeStart), all.value(all.indexOf(clip.first()) - 1, -1));
        QCOMPARE(shownNumber(viewer, Role::afterEnd), all.value(all.indexOf(clip.last()) + 1, -1));
        const FramePicture* picture = viewer.source().picture(viewer.plan().frames[1].frame.ticks);
        const QSize upright(NumberedVideo::width, NumberedVideo::height);
        QCOMPARE(picture->sourceSize, name == u"turned.mp4" ? upright.transposed() : upright); // where a crop counts
    }

    void arrowsMoveTheChosenEdgeByFrames()
    {
        ViewerWindow viewer(nullptr);
        viewer.setRuntime(toolsWith(realFFmpeg()));
        QList<EditableSegment> rows = {{1, true, 3, 4, false}};
        const auto content = [&] { return contentOf(file(u"25.mp4"_s), rows); };
        connect(&viewer, &ViewerWindow::retimeRequested, this, [&](int row, SegmentEdge edge, const QString& text) {
            QCOMPARE(retimeSegment(rows[row], edge, text), std::nullopt);
            viewer.setContent(content());
        });
        viewer.open();
        viewer.setContent(content());
        viewer.setSubject({ViewerSubject::Kind::segment, 0});
        const auto shows = [&](Role role, int number) {
            return isComplete(viewer) && shownNumber(viewer, role) == number;
        };
        QTRY_VERIFY_WITH_TIMEOUT(shows(Role::firstInside, 75), patience);

        QTest::keyClick(&viewer, Qt::Key_Right);
        QTRY_VERIFY_WITH_TIMEOUT(shows(Role::firstInside, 76), patience);
        QTest::keyClick(&viewer, Qt::Key_Left, Qt::ShiftModifier);
        QTRY_VERIFY_WITH_TIMEOUT(shows(Role::firstInside, 51), patience);
        QCOMPARE(shownNumber(viewer, Role::lastInside), 99);
        QTest::keyClick(&viewer, Qt::Key_Tab);
        QCOMPARE(viewer.chosenEdge(), SegmentEdge::end);
        QTest::keyClick(&viewer, Qt::Key_Left);
        QTRY_VERIFY_WITH_TIMEOUT(shows(Role::lastInside, 98), patience);
        QCOMPARE(shownNumber(viewer, Role::firstInside), 51);
        QTest::keyClick(&viewer, Qt::Key_Escape);
        QVERIFY(!viewer.isVisible());
    }

    void screenReadersHearWhatIsShown()
    {
        ViewerWindow viewer(nullptr);
        viewer.setRuntime(toolsWith(realFFmpeg()));
        viewer.open();
        viewer.setContent(contentOf(file(u"25.mp4"_s), {{1, true, 0, 4, false}}));
        viewer.setSubject({ViewerSubject::Kind::segment, 0});
        QTRY_VERIFY_WITH_TIMEOUT(isComplete(viewer), patience);
        const QStringList edges = {u"片段外：视频开头"_s,
                                   u"第一帧：00:00:00.000，保留"_s,
                                   u"第二帧：00:00:00.040，保留"_s,
                                   u"倒数第二帧：00:00:03.920，保留"_s,
                                   u"最后一帧：00:00:03.960，保留"_s,
                                   u"片段外：00:00:04.000，删除"_s,
                                   u"视频时间线：00:00:00.000"_s};
        QTRY_COMPARE(spokenPictures(QAccessible::queryAccessibleInterface(&viewer)), edges);
        QTest::keyClick(&viewer, Qt::Key_Tab);
        const QString whole = QAccessible::queryAccessibleInterface(&viewer)->text(QAccessible::Description);
        QVERIFY2(whole.startsWith(u"正在调整终点；片段外 视频开头；第一帧 00:00:00.000，保留"_s), qPrintable(whole));
        QCOMPARE(spokenPictures(QAccessible::queryAccessibleInterface(&viewer)).last(), u"视频时间线：00:00:04.000"_s);
    }

    void whatCannotBeHadIsSaid_data()
    {
        QTest::addColumn<QString>("video");
        QTest::addColumn<QByteArray>("tool"); // a script, or nothing for the real ffmpeg
        QTest::addColumn<QString>("words");
        QTest::newRow("ffmpeg is killed") << u"25.mp4"_s << QByteArray("kill -9 $$") << u"ffmpeg 意外结束"_s;
        QTest::newRow("ffmpeg cannot be started") << u"25.mp4"_s << QByteArray("#") << u"无法启动 ffmpeg"_s;
        QTest::newRow("success without a picture")
            << u"25.mp4"_s << QByteArray("exit 0") << u"视频中没有可以显示的画面"_s;
        QTest::newRow("without its index") << u"headless.mp4"_s << QByteArray() << u"无法读取画面：Invalid data"_s;
        QTest::newRow("cut off before the row") << u"short.mkv"_s << QByteArray() << u"超出视频末尾"_s;
        QTest::newRow("cut off, without an index") << u"short.ts"_s << QByteArray() << u"超出视频末尾"_s;
        QTest::newRow("noise in the middle") << u"noise.mp4"_s << QByteArray() << u"第一帧 00:00:08.000，保留"_s;
    }

    void whatCannotBeHadIsSaid()
    {
        QFETCH(QString, video);
        QFETCH(QByteArray, tool);
        QFETCH(QString, words);
        FileURL ffmpeg = tool.isEmpty() ? realFFmpeg() : writeFakeTool(m_folder.path(), u"faulty-ffmpeg"_s, tool);
        if (tool == "#")
            ffmpeg = file(u"nothing"_s);
        ViewerWindow viewer(nullptr);
        viewer.setRuntime(toolsWith(ffmpeg));
        viewer.open();
        viewer.setContent(contentOf(file(video), {{1, true, 3.2, 4, false}, {2, true, 8, 9, false}}));
        for (const int row : {0, 1}) {
            viewer.setSubject({ViewerSubject::Kind::segment, row});
            QTRY_VERIFY_WITH_TIMEOUT(isSettled(viewer), patience);
        }
        QVERIFY2(viewer.accessibleDescription().contains(words), qPrintable(viewer.accessibleDescription()));
    }

    void aVideoIsRemovedWhileItIsShown()
    {
        const FileURL copy = file(u"removed.mp4"_s);
        QVERIFY(QFile::copy(file(u"25.mp4"_s).path(), copy.path()));
        ViewerWindow viewer(nullptr);
        viewer.setRuntime(toolsWith(realFFmpeg()));
        viewer.open();
        viewer.setContent(contentOf(copy, {{1, true, 3, 4, false}, {2, true, 8, 9, false}}));
        viewer.setSubject({ViewerSubject::Kind::segment, 0});
        QTRY_VERIFY_WITH_TIMEOUT(isComplete(viewer) && isSettled(viewer), patience);
        QVERIFY(QFile::remove(copy.path()));
        viewer.setContent(contentOf(copy, {{1, true, 3, 4, false}, {2, true, 6, 7, false}}));
        viewer.setSubject({ViewerSubject::Kind::segment, 1});
        QTRY_VERIFY_WITH_TIMEOUT(viewer.accessibleDescription().contains(u"找不到视频文件。"_s), patience);
    }

    void aFarClipStartIsReadFromPackets_data()
    {
        QTest::addColumn<QByteArray>("fault");
        QTest::addColumn<QByteArray>("calls"); // listing packets, decoding
        QTest::newRow("they tell it") << QByteArray() << QByteArray("list\n");
        QTest::newRow("none come") << QByteArray("exit 0") << QByteArray("list\ndecode\n");
        QTest::newRow("one is damaged") << QByteArray("ffmpeg \"$@\" 2>&1 | sed 's/F=0x0/F=0x2/' >&2; exit 0")
                                        << QByteArray("list\ndecode\n");
        QTest::newRow("ffmpeg fails") << QByteArray("exit 1") << QByteArray("list\ndecode\n");
    }

    /// The clip before the transition begins between two frames, six seconds earlier, and so ends a frame later. When
    /// the packets do not tell that, they are given up, and the frames are decoded.
    void aFarClipStartIsReadFromPackets()
    {
        QFETCH(QByteArray, fault);
        QFile log(m_folder.filePath(QString::fromUtf8(QTest::currentDataTag())));
        const QByteArray toLog = " >>'" + log.fileName().toUtf8() + "'\n";
        const FileURL tool =
            writeFakeTool(m_folder.path(), u"logging-ffmpeg"_s,
                          "case \"$*\" in\n*framecrc*) echo list" + toLog + fault + "\n;;\n*'-ss 1.8'*) echo decode" +
                              toLog + ";;\nesac\nexec ffmpeg \"$@\"\n");
        ViewerContent content =
            contentOf(file(u"25.mp4"_s), {{1, true, 0.4, 0.6, false}, {2, true, 2.227, 8.6, false}});
        content.events = {{1, u"cut"_s, 0.2, 0.4, 0.2, 1, {}}, {2, u"cut"_s, 8.6, 8.8, 0.2, 1, {}}};
        ViewerWindow viewer(nullptr);
        viewer.setRuntime(toolsWith(tool));
        viewer.open();
        viewer.setContent(content);
        for (const int row : {0, 1}) {
            viewer.setSubject({ViewerSubject::Kind::transition, row});
            QTRY_VERIFY_WITH_TIMEOUT(isComplete(viewer) && isSettled(viewer), patience);
        }
        QCOMPARE(shownNumber(viewer, Role::lastKeptBefore), 215);
        QVERIFY(log.open(QIODevice::ReadOnly));
        QTEST(log.readAll(), "calls");
    }

    /// A tool that never ends shows every process that the viewer starts and forgets.
    void rushingThroughRowsLeavesNoProcesses()
    {
        const QString pids = m_folder.filePath(u"pids"_s);
        const FileURL tool =
            writeFakeTool(m_folder.path(), u"endless-ffmpeg"_s, "echo $$ >>" + pids.toUtf8() + "\nexec sleep 1000\n");
        QList<EditableSegment> rows;
        for (int i = 0; i < 10'000; ++i)
            rows.append({i, true, i * 10.0, i * 10.0 + 9, false});
        {
            ViewerWindow viewer(nullptr);
            viewer.setRuntime(toolsWith(tool));
            viewer.open();
            viewer.setContent(contentOf(file(u"25.mp4"_s), rows));
            for (int row = 0; row < 300; ++row) {
                viewer.setSubject({ViewerSubject::Kind::segment, row});
                QCoreApplication::processEvents();
                QVERIFY(viewer.source().processCount() <= 2);
            }
            QTRY_COMPARE(viewer.source().processCount(), 2); // the row that stays is fetched
            viewer.setSplitRunning(true);
            QTRY_COMPARE(viewer.source().processCount(), 1);
            viewer.hide();
            QTRY_COMPARE(viewer.source().processCount(), 0);
            viewer.open();
            QTRY_COMPARE(viewer.source().processCount(), 1);
        }
        QFile file(pids);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QList<QByteArray> started = file.readAll().split('\n');
        QVERIFY(started.size() < 20);
        for (const QByteArray& pid : started)
            QVERIFY(pid.isEmpty() || ::kill(pid.toInt(), 0) != 0);
    }

private:
    [[nodiscard]] FileURL file(const QString& name) const { return FileURL(m_folder.filePath(name)); }

    QTemporaryDir m_folder;
};

QTEST_MAIN(tst_ViewerWindow)
#include "tst_ViewerWindow.moc"
