#include "FakeTool.h"
#include "Models/FFmpegJob.h"
#include "NumberedVideo.h"
#include "RealFFmpeg.h"
#include "Viewer/FrameView.h"
#include "Viewer/ViewerWindow.h"

#include <QAccessible>
#include <QAction>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

using Kind = ViewerSubject::Kind;
using Role = PlannedFrame::Role;

constexpr int patience = 30'000;

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

} // namespace

class ViewerWindowTest final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    std::unique_ptr<ViewerWindow> m_viewer;

    [[nodiscard]] FileURL file(const QString& name) const { return FileURL(m_folder.filePath(name)); }

    [[nodiscard]] ViewerContent contentOf(const QString& video, const QList<EditableSegment>& segments) const
    {
        ViewerContent content;
        content.videoURL = file(video);
        content.duration = 10;
        content.framesPerSecond = 25;
        content.segments = segments;
        return content;
    }

    /// A viewer whose pictures come from that ffmpeg, shown with the first segment.
    void open(const ViewerContent& content,
              const FileURL& ffmpeg = FileURL(QStandardPaths::findExecutable(u"ffmpeg"_s)))
    {
        m_viewer = std::make_unique<ViewerWindow>(nullptr);
        m_viewer->setRuntime(RuntimeConfiguration{{}, {}, ffmpeg});
        m_viewer->open();
        m_viewer->setContent(content);
        m_viewer->setSubject({Kind::segment, 0});
    }

    /// The number in one of the pictures, -1 where there is none.
    [[nodiscard]] int shownNumber(Role role) const
    {
        for (const PlannedFrame& planned : m_viewer->plan().frames) {
            const FramePicture* picture =
                planned.frame.isKnown() ? m_viewer->source().picture(planned.frame.ticks) : nullptr;
            if (planned.role == role && picture)
                return NumberedVideo::number(picture->image);
        }
        return -1;
    }

    /// Nothing more will come.
    [[nodiscard]] bool isSettled() const
    {
        return m_viewer->source().processCount() == 0 && !m_viewer->accessibleDescription().contains(u"读取中"_s);
    }

    [[nodiscard]] bool isComplete() const
    {
        const QList<PlannedFrame>& frames = m_viewer->plan().frames;
        return !frames.isEmpty() && std::all_of(frames.begin(), frames.end(), [&](const PlannedFrame& planned) {
            return planned.frame.state == FrameAnswer::State::none ||
                   (planned.frame.isKnown() && m_viewer->source().picture(planned.frame.ticks));
        });
    }

    /// Tells players to turn an MP4's pictures by a right angle: the matrix in the header of its one track.
    void turn(const QString& name) const
    {
        QByteArray bytes = readFile(file(name).path());
        const qsizetype header = bytes.lastIndexOf("tkhd");
        QVERIFY(header > 0);
        const auto matrix = QByteArray::fromHex("000000000001000000000000ffff00000000000000000000");
        writeFile(file(name).path(), bytes.replace(header + 44, matrix.size(), matrix));
    }

    /// A copy of a file, cut off after a part of it and with noise from a place on.
    void damage(const QString& from, const QString& to, double keptPart, double cleanPart = 1) const
    {
        QByteArray bytes = readFile(file(from).path());
        for (auto at = qsizetype(cleanPart * double(bytes.size())); at < bytes.size() * 6 / 10; ++at)
            bytes[at] = char(at * at >> 3);
        writeFile(file(to).path(), bytes.first(qsizetype(keptPart * double(bytes.size()))));
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QStringList encoder = u"-c:v libx264 -preset ultrafast -bf 2 -pix_fmt yuv420p"_s.split(u' ');
        const QStringList sparse = u"-vf select='if(lt(mod(n,80),40),1,not(mod(n,3)))' -vsync vfr"_s.split(u' ');
        QVERIFY(NumberedVideo::make(file(u"25.mp4"_s).path(), u"25"_s, 250, encoder));
        QVERIFY(NumberedVideo::make(file(u"ntsc.mkv"_s).path(), u"30000/1001"_s, 300, encoder));
        QVERIFY(NumberedVideo::make(file(u"variable.mp4"_s).path(), u"50"_s, 500, encoder + sparse));
        const QString odd = u"-c:v ffv1 -vsync passthrough -vf setpts='%1/25/TB'"_s;
        QVERIFY(NumberedVideo::make(file(u"equal.mkv"_s).path(), u"25"_s, 150,
                                    odd.arg(u"if(between(N,75,90),75,N)"_s).split(u' ')));
        QVERIFY(NumberedVideo::make(file(u"one.mp4"_s).path(), u"25"_s, 1, encoder));
        const QString copy = u"-i %1 -c copy"_s.arg(file(u"25.mp4"_s).path());
        runFFmpeg(copy, file(u"turned.mp4"_s).path());
        turn(u"turned.mp4"_s);
        runFFmpeg(copy, file(u"25.ts"_s).path());
        damage(u"25.mp4"_s, u"headless.mp4"_s, 0.5);
        damage(u"25.mp4"_s, u"noise.mp4"_s, 1, 0.3);
        damage(u"ntsc.mkv"_s, u"short.mkv"_s, 0.5);
    }

    void cleanup() { m_viewer.reset(); }

    void edgesAreThoseOfTheClip()
    {
        for (const auto& [name, start, end] : {std::tuple(u"25.mp4"_s, 3.0131, 4.0472), // between frames
                                               {u"25.mp4"_s, 9.2, 12.0},                // past the end
                                               {u"ntsc.mkv"_s, 4.171, 6.006},           // rounded up
                                               {u"variable.mp4"_s, 0.5, 1.3},           // from dense to sparse
                                               {u"equal.mkv"_s, 2.6, 5.0},              // frames at one time
                                               {u"one.mp4"_s, 0.0, 1.0},
                                               {u"turned.mp4"_s, 2.0, 2.5}}) {
            open(contentOf(name, {{1, true, start, end, false}}));
            QTRY_VERIFY_WITH_TIMEOUT(isComplete(), patience);

            const FFmpegJob job{1, file(name), file(u"clip."_s + file(name).pathExtension()), start, end - start, {}};
            QProcess ffmpeg;
            ffmpeg.start(u"ffmpeg"_s, job.executionArguments());
            QVERIFY(ffmpeg.waitForFinished(-1));
            const QList<int> clip = NumberedVideo::numbers(job.outputURL.path());
            const QList<int> all = NumberedVideo::numbers(file(name).path());
            QVERIFY(clip.size() > 2 || all.size() == 1);
            QCOMPARE(shownNumber(Role::firstInside), clip.first());
            QCOMPARE(shownNumber(Role::lastInside), clip.last());
            QCOMPARE(shownNumber(Role::beforeStart), all.value(all.indexOf(clip.first()) - 1, -1));
            QCOMPARE(shownNumber(Role::afterEnd), all.value(all.indexOf(clip.last()) + 1, -1));
            const FramePicture* picture = m_viewer->source().picture(m_viewer->plan().frames[1].frame.ticks);
            const QSize upright(NumberedVideo::width, NumberedVideo::height);
            QCOMPARE(picture->sourceSize,
                     name == u"turned.mp4" ? upright.transposed() : upright); // where a crop counts
        }
    }

    void arrowsMoveTheChosenEdgeByFrames()
    {
        QList<EditableSegment> rows = {{1, true, 3, 4, false}};
        open(contentOf(u"25.mp4"_s, rows));
        connect(m_viewer.get(), &ViewerWindow::retimeRequested, this,
                [&](int row, SegmentEdge edge, const QString& text) {
                    QCOMPARE(retimeSegment(rows[row], edge, text), std::nullopt);
                    m_viewer->setContent(contentOf(u"25.mp4"_s, rows));
                });
        const auto shows = [&](int first, int last) {
            return isComplete() && shownNumber(Role::firstInside) == first && shownNumber(Role::lastInside) == last;
        };
        QTRY_VERIFY_WITH_TIMEOUT(shows(75, 99), patience);
        QTest::keyClick(m_viewer.get(), Qt::Key_Right);
        QTRY_VERIFY_WITH_TIMEOUT(shows(76, 99), patience);
        QTest::keyClick(m_viewer.get(), Qt::Key_Left, Qt::ShiftModifier);
        QTRY_VERIFY_WITH_TIMEOUT(shows(51, 99), patience);
        QTest::keyClick(m_viewer.get(), Qt::Key_Tab);
        QTest::keyClick(m_viewer.get(), Qt::Key_Left);
        QTRY_VERIFY_WITH_TIMEOUT(shows(51, 98), patience);
    }

    void screenReadersHearWhatIsShown()
    {
        open(contentOf(u"25.mp4"_s, {{1, true, 0, 4, false}}));
        QTRY_VERIFY_WITH_TIMEOUT(isComplete(), patience);
        QAccessibleInterface* spoken = QAccessible::queryAccessibleInterface(m_viewer.get());
        QTRY_COMPARE(spokenPictures(spoken).join(u'；'),
                     u"片段外：视频开头；第一帧：00:00:00.000；第二帧：00:00:00.040；倒数第二帧：00:00:03.920；"
                     "最后一帧：00:00:03.960；片段外：00:00:04.000；视频时间线：00:00:00.000"_s);
        QTest::keyClick(m_viewer.get(), Qt::Key_Tab);
        QVERIFY(spoken->text(QAccessible::Description).startsWith(u"正在调整终点；片段外 视频开头；第一帧 00:00"_s));
        QCOMPARE(spokenPictures(spoken).last(), u"视频时间线：00:00:04.000"_s);

        ViewerContent content = contentOf(u"25.mp4"_s, {{1, true, 0, 2, false}});
        content.events = {{1, u"fade"_s, 2, 2.08, 0.08, 1, {}}};
        m_viewer->setContent(content);
        m_viewer->setSubject({Kind::transition, 0});
        QTRY_COMPARE_WITH_TIMEOUT(spokenPictures(spoken).mid(0, 2).join(u'；'),
                                  u"之前最后保留：00:00:01.960，保留；换场首帧：00:00:02.000，删除"_s, patience);
    }

    void onePictureIsShownLarge()
    {
        open(contentOf(u"25.mp4"_s, {{1, true, 3, 4, false}}));
        QTRY_VERIFY_WITH_TIMEOUT(isComplete(), patience);
        const auto large = [&] {
            return spokenPictures(QAccessible::queryAccessibleInterface(m_viewer.get())).join(u'；');
        };
        const QSize small = m_viewer->source().box();
        QTest::keyClick(m_viewer.get(), Qt::Key_Return);
        QCOMPARE(large(), u"第一帧：00:00:03.000"_s);
        const qint64 ticks = m_viewer->plan().frames[1].frame.ticks;
        QTRY_VERIFY_WITH_TIMEOUT(m_viewer->source().picture(ticks)->image.width() > small.width(), patience);
        QTest::keyClick(m_viewer.get(), Qt::Key_Tab); // the other edge
        QCOMPARE(large(), u"最后一帧：00:00:03.960"_s);
        QTest::keyClick(m_viewer.get(), Qt::Key_Escape);
        QVERIFY(m_viewer->isVisible() && large().count(u'；') == 6);
        const QList<QWidget*> widgets = m_viewer->findChildren<QWidget*>();
        const auto view = std::find_if(widgets.begin(), widgets.end(),
                                       [](const QWidget* widget) { return widget->accessibleName() == u"倒数第二帧"; });
        QVERIFY(view != widgets.end());
        QTest::mouseDClick(*view, Qt::LeftButton);
        QVERIFY(large().startsWith(u"倒数第二帧：") && large().count(u'；') == 0);
    }

    void itStandsInsideASegment()
    {
        open(contentOf(u"25.mp4"_s, {{1, true, 1, 1.5, false}, {2, true, 2, 6, false}}));
        m_viewer->setSubject({Kind::segment, 1});
        connect(m_viewer.get(), &ViewerWindow::subjectActivated, m_viewer.get(), &ViewerWindow::setSubject);
        const QSignalSpy splits(m_viewer.get(), &ViewerWindow::splitRequested);
        const auto stands = [&](int picture) {
            return isComplete() && shownNumber(Role::atPlace) == picture &&
                   shownNumber(Role::oneBeforePlace) == picture - 1 && shownNumber(Role::twoAfterPlace) == picture + 2;
        };
        auto* split = m_viewer->findChild<QAction*>(u"splitSegmentAction"_s);
        QTRY_VERIFY_WITH_TIMEOUT(isComplete(), patience);
        QVERIFY(!split->isEnabled());
        QTest::keyClick(m_viewer.get(), Qt::Key_Backtab, Qt::ShiftModifier);
        QTRY_VERIFY_WITH_TIMEOUT(stands(100), patience); // the middle
        QTest::keyClick(m_viewer.get(), Qt::Key_Right);
        QTRY_VERIFY_WITH_TIMEOUT(stands(101), patience);
        QTest::keyClick(m_viewer.get(), Qt::Key_S);
        QCOMPARE(splits.value(0), (QVariantList{1, 4.04}));
        QTest::keyClick(m_viewer.get(), Qt::Key_Left, Qt::ShiftModifier);
        QTRY_VERIFY_WITH_TIMEOUT(stands(76), patience);
        for (int i = 0; i < 4; ++i)
            QTest::keyClick(m_viewer.get(), Qt::Key_Left, Qt::ShiftModifier); // 2.04 s, and no farther
        QTRY_VERIFY_WITH_TIMEOUT(stands(51), patience);

        auto* line = m_viewer->findChild<QWidget*>(u"timelineView"_s);
        QTest::mouseClick(line, Qt::LeftButton, {}, QPoint(6 + (line->width() - 12) * 125 / 1000, 10));
        QCOMPARE(m_viewer->subject(), (ViewerSubject{Kind::segment, 0}));
        QTRY_VERIFY_WITH_TIMEOUT(isComplete() && shownNumber(Role::atPlace) >= 30 && split->isEnabled(), patience);
        QTest::keyClick(m_viewer.get(), Qt::Key_Tab); // back to the edges
        QTRY_VERIFY_WITH_TIMEOUT(isComplete() && shownNumber(Role::firstInside) == 25, patience);
        QVERIFY(!split->isEnabled());
    }

    /// Whatever is shown, the window keeps the size that the user gave it.
    void onlyTheUserResizesIt()
    {
        ViewerContent content = contentOf(u"25.ts"_s, {{1, true, 3, 4, false}});
        content.events = {{1, QString(300, u'x'), 4, 4, 0, 1, {}}, {2, u"fade"_s, 5, 6, 1, 1, {}}};
        open(content);
        const QSize given = m_viewer->minimumSizeHint();
        m_viewer->resize(given);
        for (const ViewerSubject& subject : QList<ViewerSubject>{
                 {Kind::transition, 0}, {Kind::transition, 1}, {Kind::segment, 0}, {Kind::nothing, -1}}) {
            m_viewer->setSubject(subject);
            QTRY_VERIFY_WITH_TIMEOUT(isSettled(), patience);
            QCOMPARE(m_viewer->size(), given);
        }
    }

    /// A picture that is not kept is shown as it is, and its caption stays at it in a tall view.
    void pixelsAreThoseOfTheVideo()
    {
        FrameView view;
        QImage black(160, 90, QImage::Format_RGB32);
        black.fill(Qt::black);
        view.setFrame({u"换场中间"_s, u"00:00:01.000"_s, {}, black, black.size(), black.size(), {}, false, u"删除"_s});
        view.resize(168, 500);
        const QImage drawn = view.grab().toImage();
        QCOMPARE(drawn.copy(view.pictureArea()).convertToFormat(black.format()), black);
        const QImage below = drawn.copy(0, view.pictureArea().bottom() + 60, view.width(), 300);
        QCOMPARE(below.convertToFormat(QImage::Format_RGB32).scaled(1, 1).pixel(0, 0), below.pixel(0, 0));
    }

    void thousandsOfTransitionsLeaveTheLineToBeSeen()
    {
        ViewerContent content = contentOf(u"25.mp4"_s, {{1, true, 0, 7200, false}});
        content.duration = 7200;
        for (int i = 0; i < 3664; ++i)
            content.events.append({i, u"cut"_s, i * 1.96, i * 1.96 + 0.02, 0.02, 1, {}});
        m_viewer = std::make_unique<ViewerWindow>(nullptr);
        m_viewer->open();
        m_viewer->setContent(content);
        auto* line = m_viewer->findChild<QWidget*>(u"timelineView"_s);
        const QColor middle = line->grab().toImage().pixelColor(line->rect().center());
        QCOMPARE(middle.rgb(), line->palette().color(QPalette::Highlight).rgb());
    }

    /// A video, a tool in place of ffmpeg, and a pattern of what is said.
    void whatCannotBeHadIsSaid()
    {
        using Rows = QList<std::tuple<QString, QByteArray, QString>>;
        for (const auto& [video, tool, words] : Rows{{u"25.mp4"_s, "kill -9 $$", u"ffmpeg 意外结束"_s},
                                                     {u"25.mp4"_s, "no tool", u"无法启动 ffmpeg"_s},
                                                     {u"25.mp4"_s, "exit 0", u"视频中没有可以显示的画面"_s},
                                                     {u"headless.mp4"_s, {}, u"无法读取画面：.*Invalid data"_s},
                                                     {u"short.mkv"_s, {}, u"超出视频末尾"_s},
                                                     {u"noise.mp4"_s, {}, u"第一帧 00:00:08.000"_s},
                                                     {u"removed.mp4"_s, {}, u"找不到视频文件。"_s}}) {
            const ViewerContent content = contentOf(video, {{1, true, 3.2, 4, false}, {2, true, 8, 9, false}});
            if (video == u"removed.mp4")
                QVERIFY(QFile::copy(file(u"25.mp4"_s).path(), file(video).path()));
            if (tool.isEmpty())
                open(content);
            else
                open(content,
                     tool == "no tool" ? file(u"nothing"_s) : writeFakeTool(m_folder.path(), u"faulty"_s, tool));
            QTRY_VERIFY_WITH_TIMEOUT(isSettled(), patience);
            if (QFile::remove(file(u"removed.mp4"_s).path())) // what follows a row is fetched ahead
                m_viewer->setContent(contentOf(video, {{1, true, 3.2, 4, false}, {2, true, 6, 7, false}}));
            m_viewer->setSubject({Kind::segment, 1});
            QTRY_VERIFY_WITH_TIMEOUT(isSettled(), patience);
            const QString said = m_viewer->accessibleDescription();
            QVERIFY2(said.contains(QRegularExpression(words)), qPrintable(said));
        }
    }

    /// The clip before the transition begins between two frames, six seconds earlier, and so ends a frame later. When
    /// the packets do not tell that, they are given up, and the frames are decoded.
    void aFarClipStartIsReadFromPackets()
    {
        const QString log = m_folder.filePath(u"calls"_s);
        const QByteArray toLog = " >>'" + log.toUtf8() + "'\n";
        ViewerContent content = contentOf(u"25.mp4"_s, {{1, true, 0.4, 0.6, false}, {2, true, 2.227, 8.6, false}});
        content.events = {{1, u"cut"_s, 0.2, 0.4, 0.2, 1, {}}, {2, u"cut"_s, 8.6, 8.8, 0.2, 1, {}}};
        for (const QByteArray& fault :
             {QByteArray(), QByteArray("exit 0"), QByteArray("exit 1"),
              QByteArray("ffmpeg \"$@\" 2>&1 | sed 's/F=0x0/F=0x2/' >&2; exit 0")}) { // one is damaged
            QFile::remove(log);
            open(content,
                 writeFakeTool(m_folder.path(), u"logging-ffmpeg"_s,
                               "case \"$*\" in\n*framecrc*) echo list" + toLog + fault +
                                   "\n;;\n*'-ss 1.8'*) echo decode" + toLog + ";;\nesac\nexec ffmpeg \"$@\"\n"));
            for (const int row : {0, 1}) {
                m_viewer->setSubject({Kind::transition, row});
                QTRY_VERIFY_WITH_TIMEOUT(isComplete() && isSettled(), patience);
            }
            QCOMPARE(shownNumber(Role::lastKeptBefore), 215);
            QCOMPARE(readFile(log), fault.isEmpty() ? "list\n" : "list\ndecode\n");
        }
    }

    /// A tool that never ends shows every process that the viewer starts and forgets.
    void rushingThroughRowsLeavesNoProcesses()
    {
        const QString pids = m_folder.filePath(u"pids"_s);
        ViewerContent content = contentOf(u"25.mp4"_s, {});
        for (int i = 0; i < 10'000; ++i) { // three far places for each transition
            content.segments.append({i, true, i * 100.0, i * 100.0 + 40, false});
            content.events.append({i, u"cut"_s, i * 100.0 + 60, i * 100.0 + 62, 2, 1, {}});
        }
        open(content,
             writeFakeTool(m_folder.path(), u"endless-ffmpeg"_s, "echo $$ >>" + pids.toUtf8() + "\nexec sleep 1000\n"));
        for (int row = 0; row < 300; ++row) {
            m_viewer->setSubject({Kind::transition, row});
            QCoreApplication::processEvents();
            QVERIFY(m_viewer->source().processCount() <= 2);
        }
        QTRY_COMPARE(m_viewer->source().processCount(), 2); // the row that stays is fetched
        m_viewer->setSplitRunning(true);
        QTRY_COMPARE(m_viewer->source().processCount(), 1);
        m_viewer->setSplitRunning(false);
        QTRY_COMPARE(m_viewer->source().processCount(), 2);
        m_viewer->hide();
        QTRY_COMPARE(m_viewer->source().processCount(), 0);
        m_viewer->open();
        QTRY_COMPARE(m_viewer->source().processCount(), 2);
        m_viewer.reset();
        const QList<QByteArray> started = readFile(pids).split('\n');
        QVERIFY(started.size() < 20);
        for (const QByteArray& pid : started)
            QVERIFY(pid.isEmpty() || ::kill(pid.toInt(), 0) != 0);
    }
};

QTEST_MAIN(ViewerWindowTest)
#include "tst_ViewerWindow.moc"
