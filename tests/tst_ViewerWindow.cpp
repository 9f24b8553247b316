#include "FakeTool.h"
#include "Models/FFmpegJob.h"
#include "NumberedVideo.h"
#include "Viewer/ViewerWindow.h"

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

bool isComplete(const ViewerWindow& viewer)
{
    const QList<PlannedFrame>& frames = viewer.plan().frames;
    return !frames.isEmpty() && std::all_of(frames.begin(), frames.end(), [&](const PlannedFrame& planned) {
        return planned.frame.state == FrameAnswer::State::none ||
               (planned.frame.isKnown() && viewer.source().picture(planned.frame.ticks));
    });
}

/// The words in the places of pictures, one after another.
QString shownWords(const ViewerWindow& viewer)
{
    return viewer.accessibleDescription();
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
    void initTestCase();
    void edgesAreThoseOfTheClip_data();
    void edgesAreThoseOfTheClip();
    void arrowsMoveTheChosenEdgeByFrames();
    void cropAndTurnAreThoseOfThePlayer();
    void whatCannotBeHadIsSaid_data();
    void whatCannotBeHadIsSaid();
    void aRemovedVideoIsSaid();
    void rushingThroughRowsLeavesNoProcesses();

private:
    [[nodiscard]] FileURL file(const QString& name) const { return FileURL(m_folder.filePath(name)); }

    QTemporaryDir m_folder;
};

void tst_ViewerWindow::initTestCase()
{
    const QStringList encoder = {u"-c:v"_s, u"libx264"_s, u"-preset"_s,  u"ultrafast"_s,
                                 u"-bf"_s,  u"2"_s,       u"-pix_fmt"_s, u"yuv420p"_s};
    QVERIFY(NumberedVideo::make(file(u"25.mp4"_s).path(), u"25"_s, 250, encoder));
    QVERIFY(NumberedVideo::make(file(u"ntsc.mkv"_s).path(), u"30000/1001"_s, 300, encoder));
    QVERIFY(NumberedVideo::make(
        file(u"variable.mp4"_s).path(), u"50"_s, 500,
        encoder + QStringList{u"-vf"_s, u"select='if(lt(mod(n,80),40),1,not(mod(n,3)))'"_s, u"-vsync"_s, u"vfr"_s}));
    QCOMPARE(QProcess::execute(u"ffmpeg"_s, {u"-v"_s, u"error"_s, u"-i"_s, file(u"25.mp4"_s).path(), u"-c"_s, u"copy"_s,
                                             u"-metadata:s:v"_s, u"rotate=90"_s, file(u"turned.mp4"_s).path()}),
             0);
}

void tst_ViewerWindow::edgesAreThoseOfTheClip_data()
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

void tst_ViewerWindow::edgesAreThoseOfTheClip()
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
}

void tst_ViewerWindow::arrowsMoveTheChosenEdgeByFrames()
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
    const auto shows = [&](Role role, int number) { return isComplete(viewer) && shownNumber(viewer, role) == number; };
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

void tst_ViewerWindow::cropAndTurnAreThoseOfThePlayer()
{
    ViewerWindow viewer(nullptr);
    viewer.setRuntime(toolsWith(realFFmpeg()));
    viewer.open();
    ViewerContent content = contentOf(file(u"turned.mp4"_s), {});
    content.events = {{1, u"fade"_s, 4, 5, 1, 1, {}}};
    viewer.setContent(content);
    viewer.setSubject({ViewerSubject::Kind::transition, 0});
    QTRY_VERIFY_WITH_TIMEOUT(isComplete(viewer), patience);
    const FramePicture* picture = viewer.source().picture(viewer.plan().frames[1].frame.ticks);
    QCOMPARE(picture->sourceSize, QSize(NumberedVideo::height, NumberedVideo::width));
    QVERIFY(picture->image.height() > picture->image.width());
    QVERIFY(picture->image.width() <= picture->box.width() && picture->image.height() <= picture->box.height());
}

void tst_ViewerWindow::whatCannotBeHadIsSaid_data()
{
    QTest::addColumn<QByteArray>("tool");
    QTest::addColumn<QString>("words");
    QTest::newRow("ffmpeg is killed") << QByteArray("kill -9 $$") << u"ffmpeg 意外结束"_s;
    QTest::newRow("ffmpeg cannot be started") << QByteArray() << u"无法启动 ffmpeg"_s;
    QTest::newRow("a damaged video") << QByteArray("echo 'moov atom not found' >&2; exit 1")
                                     << u"moov atom not found"_s;
    QTest::newRow("success without a picture") << QByteArray("exit 0") << u"视频中没有可以显示的画面"_s;
}

void tst_ViewerWindow::whatCannotBeHadIsSaid()
{
    QFETCH(QByteArray, tool);
    QFETCH(QString, words);
    ViewerWindow viewer(nullptr);
    viewer.setRuntime(
        toolsWith(tool.isEmpty() ? file(u"nothing"_s) : writeFakeTool(m_folder.path(), u"faulty-ffmpeg"_s, tool)));
    viewer.open();
    viewer.setContent(contentOf(file(u"25.mp4"_s), {{1, true, 3, 4, false}}));
    viewer.setSubject({ViewerSubject::Kind::segment, 0});
    QTRY_VERIFY_WITH_TIMEOUT(shownWords(viewer).contains(words), patience);
    QTRY_COMPARE(viewer.source().processCount(), 0);
}

void tst_ViewerWindow::aRemovedVideoIsSaid()
{
    const FileURL copy = file(u"removed.mp4"_s);
    QVERIFY(QFile::copy(file(u"25.mp4"_s).path(), copy.path()));
    ViewerWindow viewer(nullptr);
    viewer.setRuntime(toolsWith(realFFmpeg()));
    viewer.open();
    viewer.setContent(contentOf(copy, {{1, true, 3, 4, false}, {2, true, 8, 9, false}}));
    viewer.setSubject({ViewerSubject::Kind::segment, 0});
    QTRY_VERIFY_WITH_TIMEOUT(isComplete(viewer), patience);
    QTRY_COMPARE_WITH_TIMEOUT(viewer.source().processCount(), 0, patience);
    QVERIFY(QFile::remove(copy.path()));
    viewer.setContent(contentOf(copy, {{1, true, 3, 4, false}, {2, true, 6, 7, false}}));
    viewer.setSubject({ViewerSubject::Kind::segment, 1});
    QTRY_VERIFY_WITH_TIMEOUT(shownWords(viewer).contains(u"找不到视频文件。"_s), patience);
}

/// A tool that never ends shows every process that the viewer starts and forgets.
void tst_ViewerWindow::rushingThroughRowsLeavesNoProcesses()
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

QTEST_MAIN(tst_ViewerWindow)
#include "tst_ViewerWindow.moc"
