#include "AppMain/MainMenu.h"
#include "CutLists/CutListError.h"
#include "CutLists/KestrelList.h"
#include "MainWindowController/ListFiles.h"
#include "MainWindowController/SegmentListEditor.h"
#include "MainWindowController/SegmentTableModel.h"
#include "Models/EventReview.h"
#include "Models/JobBuilder.h"
#include "Models/SegmentJoining.h"
#include "Models/SegmentTimes.h"
#include "Models/TimeText.h"
#include "NumberedVideo.h"
#include "WindowUnderTest.h"

#include <QAbstractItemModelTester>

#include <csignal>
#include <random>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

DetectorPayload randomPayload(std::mt19937& random)
{
    DetectorPayload payload;
    payload.video = u"/films/a.mp4"_s;
    payload.fps = 25;
    const int count = 1 + static_cast<int>(random() % 12);
    payload.duration = count * 10;
    for (int i = 0; i < count; ++i) {
        payload.keepSegments.append({i + 1, i * 10.0, i * 10.0 + 9.5, 9.5});
        if (i > 0)
            payload.events.append({i, u"cut"_s, i * 10 - 0.5, i * 10.0, 0.5, 0.25, u"测"_s});
    }
    return payload;
}

/// One edit such as a user makes, or a parse, or another video.
void editAtRandom(SegmentListEditor& editor, std::mt19937& random)
{
    const auto pick = [&](qsizetype count) { return static_cast<int>(random() % static_cast<unsigned>(count)); };
    const SegmentList& list = editor.list();
    const int rows = static_cast<int>(list.segments.size());
    const int what = rows == 0 ? 8 + pick(3) : pick(11);
    if (what == 0)
        editor.setEnabled({pick(rows)}, pick(2) == 0);
    else if (what == 1)
        editor.setAllEnabled(pick(2) == 0);
    else if (what <= 3)
        std::ignore = editor.retime(
            pick(rows), pick(2) == 0 ? SegmentEdge::start : SegmentEdge::end, formatHMS(pick(1200) / 10.0),
            pick(2) == 0 ? SegmentListEditor::Series::none : SegmentListEditor::Series::movedEnd);
    else if (what == 4)
        editor.remove(pick(rows));
    else if (what == 5)
        std::ignore = editor.edit(u"x"_s, [&](SegmentList& edited) {
            QList<int> some;
            for (int row = pick(rows); row < rows; row += 1 + pick(3))
                some.append(row);
            return joinSegments(edited, some);
        });
    else if (what == 6)
        std::ignore = editor.edit(
            u"x"_s, [&](SegmentList& edited) { return splitSegment(edited, pick(rows), pick(1200) / 10.0); });
    else if (what == 7 && list.payload && !list.payload->events.isEmpty())
        std::ignore = editor.edit(u"x"_s, [&](SegmentList& edited) {
            const int row = pick(edited.payload->events.size());
            const TransitionEvent& event = edited.payload->events.at(row);
            if (const int how = pick(4); how > 1)
                return how == 2 ? confirmEvents(edited, {row}) : rejectEvents(edited, {row, 0});
            return pick(2) == 0
                       ? rejectEvent(event, edited.segments, edited.endsBeforeJoin)
                       : restoreEvent(event, edited.segments, edited.endsBeforeJoin, edited.payload->keepSegments);
        });
    else if (what == 8)
        editor.append();
    else if (what == 9) {
        const DetectorPayload payload = randomPayload(random);
        editor.replace({FileURL(u"/films/a.mp4"_s), payload, buildEditableSegments(payload)});
    } else
        editor.changeVideo(FileURL(u"/films/%1.mp4"_s.arg(pick(3))));
}

QAction* action(const WindowUnderTest& test, const QString& name)
{
    auto* found = test.window().findChild<QAction*>(name);
    if (!found)
        qFatal("no action %s", qPrintable(name));
    return found;
}

void choose(const WindowUnderTest& test, const QString& command, const QString& name)
{
    action(test, command)->trigger();
    test.chooseInDialog(test.path(name));
}

} // namespace

class ListHistoryTest final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    /// Whatever was done, all of it can be taken back and made again, and a stored list is the list.
    void randomEditing()
    {
        const int sequences = qEnvironmentVariableIntValue("KESTREL_SEQUENCES");
        for (unsigned seed = 0; seed < static_cast<unsigned>(std::max(sequences, 300)); ++seed) {
            std::mt19937 random(seed);
            SegmentListEditor editor;
            SegmentTableModel model(&editor, nullptr);
            const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
            for (auto edits = 1 + random() % 40; edits > 0; --edits)
                editAtRandom(editor, random);
            const SegmentList last = editor.list();
            QList<SegmentList> undone;
            for (; editor.history().canUndo(); editor.undo())
                undone.append(editor.list());
            QVERIFY2(editor.list() == SegmentList(), qPrintable(QString::number(seed)));
            while (editor.history().canRedo()) {
                editor.redo();
                QVERIFY2(editor.list() == undone.takeLast(), qPrintable(QString::number(seed)));
            }
            QCOMPARE(model.rowCount(), last.segments.size());
            const QList<EventState> states = eventStates(last);
            for (qsizetype i = 0; i < states.size(); ++i)
                QCOMPARE(states[i] == EventState::rejected,
                         isRejected(last.payload->events.at(i), last.segments, last.payload->keepSegments));

            KestrelList document;
            document.list = last;
            document.video.path = last.videoURL.value_or(FileURL()).path();
            document.otherKestrelKeys = {{u"later"_s, 1}};
            const KestrelList read = decodeKestrelList(encodeKestrelList(document));
            QCOMPARE(read.list.segments, last.segments);
            QCOMPARE(read.list.payload, last.payload);
            QCOMPARE(read.list.confirmedEvents, last.confirmedEvents);
            QCOMPARE(encodeKestrelList(read), encodeKestrelList(document));
        }
    }

    /// An edge that is moved picture by picture is one step; back where it was, it is none.
    void movedEdgeIsOneStep()
    {
        using Series = SegmentListEditor::Series;
        SegmentListEditor editor;
        editor.append();
        editor.append();
        const auto move = [&](int row, const QString& text) {
            QCOMPARE(editor.retime(row, SegmentEdge::end, text, Series::movedEnd), std::nullopt);
        };
        for (const QString& text : {u"00:00:01.040"_s, u"00:00:01.080"_s, u"00:00:01.120"_s})
            move(0, text);
        QCOMPARE(editor.history().count(), 3);
        move(1, u"00:00:02.040"_s);
        QCOMPARE(editor.history().count(), 4);
        move(1, u"00:00:02.000"_s);
        QCOMPARE(editor.history().count(), 3);
        editor.undo();
        QCOMPARE(editor.segments().first().end, 1.0);
    }

    /// Rejecting, another video and a failed parse are taken back with the keys, and the fields follow the list.
    void undoReachesEverything()
    {
        const WindowUnderTest test;
        installMainMenu(&test.window());
        const QString first = test.addVideo(u"a.mp4"_s, "answer([(10, 10), (20, 20)], [(0, 10), (10, 20), (20, 60)])");
        const QString second = test.addVideo(u"b.mp4"_s, "fail('nein')");
        test.chooseVideo(first);
        test.parse();
        test.selectEvent(0);
        QTableView* events = test.window().eventTableView;
        QTest::keyClick(events, Qt::Key_Delete);
        QCOMPARE(test.segmentCell(0, 2).data().toString(), u"00:00:20.000"_s);
        QCOMPARE(test.segmentCell(1, 0).data(Qt::CheckStateRole).toInt(), int(Qt::Unchecked));
        QVERIFY(events->model()->index(0, 1).data(Qt::FontRole).value<QFont>().strikeOut());
        QCOMPARE(action(test, u"rejectEventAction"_s)->text(), u"恢复为换场"_s);

        test.chooseVideo(second);
        QCOMPARE(test.eventCount(), 0);
        test.parse();
        QCOMPARE(test.takeAlert(), u"解析失败：nein"_s);
        action(test, u"undoListAction"_s)->trigger();
        QCOMPARE(test.status(), u"已撤销：选择视频。"_s);
        QCOMPARE(test.line("videoPathField")->text(), first);
        QCOMPARE(test.eventCount(), 2);
        QCOMPARE(test.summary(), u"换场 2 个，保留片段 3 个"_s);
        QVERIFY(test.window().splitButton->isEnabled());
        action(test, u"undoListAction"_s)->trigger();
        QCOMPARE(test.status(), u"已撤销：不是换场。"_s);
        QCOMPARE(test.segmentCell(0, 2).data().toString(), u"00:00:10.000"_s);
        action(test, u"redoListAction"_s)->trigger();
        QCOMPARE(test.status(), u"已重做：不是换场。"_s);
        test.window().activateWindow(); // the alert has had the focus
        test.selectEvent(0);
        QTRY_VERIFY(events->hasFocus());
        QTest::keyClick(events, Qt::Key_Delete); // again: takes it back
        QCOMPARE(test.segmentCell(0, 2).data().toString(), u"00:00:10.000"_s);
    }

    /// The keys belong to a text field with something to undo, and to the list otherwise.
    void keysServeTheFieldFirst()
    {
        const WindowUnderTest test;
        installMainMenu(&test.window());
        click(test.window().addSegmentButton);
        QLineEdit* prefix = test.line("prefixField");
        prefix->setFocus();
        test.window().activateWindow();
        QTRY_VERIFY(prefix->hasFocus());
        QTest::keyClicks(prefix, u"ab"_s);
        QTest::keyClick(prefix, Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(prefix->text(), QString());
        QCOMPARE(test.segmentCount(), 1);
        QTest::keyClick(prefix, Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(test.segmentCount(), 0);
        QTest::keyClick(prefix, Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(prefix->text(), u"ab"_s);
        QTest::keyClick(prefix, Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(test.segmentCount(), 1);

        // An input method composes in a cell's editor, but takes no letter that is a key of the table or the viewer.
        QTableView* table = test.window().segmentTableView;
        table->setCurrentIndex(test.segmentCell(0, SegmentTableModel::startColumn));
        QInputMethodQueryEvent query(Qt::ImEnabled);
        QCoreApplication::sendEvent(table, &query);
        QVERIFY(!query.value(Qt::ImEnabled).toBool());
    }

    void severalRowsAtOnce()
    {
        const WindowUnderTest test;
        const QString video = test.addVideo(u"a.mp4"_s, "answer([], [(0, 10), (10, 20), (20, 30), (30, 60)])");
        test.chooseVideo(video);
        test.parse();
        const auto enabled = [&] {
            QString boxes;
            for (int row = 0; row < test.segmentCount(); ++row)
                boxes += test.segmentCell(row, 0).data(Qt::CheckStateRole).toInt() == Qt::Checked ? u'1' : u'0';
            return boxes;
        };
        QItemSelectionModel* selection = test.window().segmentTableView->selectionModel();
        const auto select = [&](const QList<int>& rows) {
            selection->clearSelection();
            for (const int row : rows)
                selection->select(test.segmentCell(row, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
        };
        select({1, 2});
        action(test, u"keepOnlySelectedAction"_s)->trigger();
        QCOMPARE(enabled(), u"0110"_s);
        action(test, u"invertSegmentsAction"_s)->trigger();
        QCOMPARE(enabled(), u"1001"_s);
        select({0, 3});
        action(test, u"joinSegmentsAction"_s)->trigger();
        QCOMPARE(enabled(), u"1000"_s);
        QCOMPARE(test.segmentCell(0, 2).data().toString(), u"00:01:00.000"_s);
        action(test, u"undoListAction"_s)->trigger();
        action(test, u"undoListAction"_s)->trigger();
        select({0, 1, 3});
        action(test, u"keepOnlySelectedAction"_s)->trigger();
        select({0, 3});
        action(test, u"joinSegmentsAction"_s)->trigger();
        QCOMPARE(test.status(), u"选中的片段之间还有别的片段，没有合并。"_s);
        action(test, u"copyTimesAction"_s)->trigger();
        QCOMPARE(QGuiApplication::clipboard()->text(), u"00:00:00.000\t00:00:10.000\n00:00:30.000\t00:01:00.000\n"_s);
        QVERIFY(!action(test, u"deleteSegmentAction"_s)->isEnabled()); // a detected row is the current one
        action(test, u"pasteTimesAction"_s)->trigger();
        QCOMPARE(test.segmentCount(), 6);
        test.window().segmentTableView->setCurrentIndex(test.segmentCell(4, 0));
        action(test, u"toggleSegmentsAction"_s)->trigger();
        QCOMPARE(enabled(), u"110101"_s);
        action(test, u"deleteSegmentAction"_s)->trigger();
        QCOMPARE(test.segmentCount(), 5);
        action(test, u"undoListAction"_s)->trigger();
        QGuiApplication::clipboard()->setText(u"0:0:1\t0:0:2\r\n\n0:0:3\tx"_s);
        action(test, u"pasteTimesAction"_s)->trigger();
        QCOMPARE(test.status(), u"第 3 行不是“开始时间、制表符、结束时间”，没有粘贴。"_s);
        QCOMPARE(test.segmentCount(), 6);
    }

    /// What was changed by hand is there again after the window went, however it went.
    void editsSurviveTheWindow()
    {
        const WindowUnderTest test;
        const QString video = test.addVideo(u"a.mp4"_s, "answer([(10, 10)], [(0, 10), (10, 60)])");
        {
            MainWindowController earlier;
            earlier.window()->segmentList->replace({FileURL(video),
                                                    DetectorPayload{video, 25, 60, true, {}, {}, {}},
                                                    {{0, true, 0, 10, false}, {1, true, 10, 60, false}}});
            earlier.window()->segmentList->setEnabled({1}, false);
            earlier.window()->segmentList->append();
        }
        test.chooseVideo(video);
        test.parse();
        QAction* restore = action(test, u"restoreEditsAction"_s);
        QTRY_VERIFY2(restore->text().startsWith(u"恢复上次的修改（1 处，今天 "_s), qPrintable(restore->text()));
        test.window().segmentList->append(); // instead of restoring; must not be written over the copy
        test.window().segmentList->append();
        test.parse();
        QTRY_VERIFY2(restore->text().startsWith(u"恢复上次的修改（2 处，今天 "_s), qPrintable(restore->text()));
        restore->trigger();
        QCOMPARE(test.segmentCount(), 4);
        QCOMPARE(test.status(), u"已恢复上次的修改，按 Ctrl+Z 可撤销。"_s);
        QTRY_VERIFY2(restore->text().startsWith(u"恢复上次的修改（1 处，今天 "_s), qPrintable(restore->text()));
        QVERIFY(restore->isVisible());
        restore->trigger();
        QCOMPARE(test.segmentCount(), 3);
        action(test, u"undoListAction"_s)->trigger();
        action(test, u"undoListAction"_s)->trigger();
        QVERIFY(!restore->isVisible());
        QCOMPARE(test.segmentCount(), 2);
        QCOMPARE(test.eventCount(), 1);
    }

    /// A review that was stored comes back with its fields, in one step; foreign lists become manual rows; what is no
    /// list changes nothing.
    void storesAndOpensLists()
    {
        const WindowUnderTest test;
        const QString video = test.addVideo(u"a.mp4"_s, "answer([(10, 10), (20, 20)], [(0, 10), (10, 20), (20, 60)])");
        test.chooseVideo(video);
        type(test.line("prefixField"), u"p"_s);
        type(test.line("cropField"), u"8:8:0:0"_s);
        test.parse();
        test.selectEvent(0);
        action(test, u"rejectEventAction"_s)->trigger();
        choose(test, u"saveListAction"_s, u"a.kestrel.json"_s);
        QTRY_COMPARE(test.status(), u"列表已存储："_s + test.path(u"a.kestrel.json"_s));
        QVERIFY(test.read(u"a.kestrel.json"_s).contains("\n{\"enabled\":false,\"end\":20,"));
        choose(test, u"exportListAction"_s, u"a.llc"_s);
        QTRY_COMPARE(test.status(), u"已导出："_s + test.path(u"a.llc"_s));

        type(test.line("prefixField"), u"other"_s);
        type(test.line("cropField"), QString());
        action(test, u"undoListAction"_s)->trigger();
        choose(test, u"openListAction"_s, u"a.kestrel.json"_s);
        QTRY_COMPARE(test.status(), u"列表已打开：3 个片段。"_s);
        QCOMPARE(test.line("prefixField")->text(), u"p"_s);
        QCOMPARE(test.line("cropField")->text(), u"8:8:0:0"_s);
        action(test, u"undoListAction"_s)->trigger();
        QCOMPARE(test.segmentCell(0, 2).data().toString(), u"00:00:10.000"_s);

        drop(&test.window(), {test.path(u"a.llc"_s)});
        QTRY_VERIFY(test.segmentCell(2, 0).data(SegmentTableModel::isManualRole).toBool());
        QCOMPARE(test.segmentCount(), 3);
        QFile huge(test.path(u"huge.csv"_s));
        QVERIFY(huge.open(QIODevice::WriteOnly) && huge.resize(100'000'000));
        drop(&test.window(), {huge.fileName()});
        QTRY_COMPARE(test.alerts().size(), 1);
        QCOMPARE(test.takeAlert(), u"无法打开列表 huge.csv：文件太大，不是列表。"_s);
        test.write(u"bad.json"_s, "{\"video\": 1}");
        choose(test, u"openListAction"_s, u"bad.json"_s);
        QTRY_VERIFY(!test.alerts().isEmpty());
        QCOMPARE(test.takeAlert(), u"无法打开列表 bad.json：video：应为文本，实际是数字。"_s);
        QCOMPARE(test.segmentCount(), 3);
    }

    /// Pictures are counted by the film's own times, and what counts them is refused where they come unevenly.
    void exportsPictures()
    {
        const WindowUnderTest test;
        const QStringList dropFrames = {u"-timecode"_s, u"00:59:59;28"_s, u"-pix_fmt"_s, u"yuv420p"_s};
        const QStringList unevenly = {u"-vf"_s, u"setpts=if(gt(N\\,9)\\,PTS+0.1/TB\\,PTS)"_s, u"-vsync"_s, u"vfr"_s};
        const QByteArray plan = "answer([(1, 1)], [(0, 1), (1, 2)], 3)";
        for (const QString& name : {u"even.mp4"_s, u"uneven.mkv"_s}) {
            const QString film = test.addVideo(name, plan);
            QVERIFY(NumberedVideo::make(film, u"30000/1001"_s, 90, name.startsWith(u'e') ? dropFrames : unevenly));
            test.chooseVideo(film);
            test.parse();
            choose(test, u"exportListAction"_s, name + u".edl"_s);
            if (name.startsWith(u'e')) {
                QTRY_COMPARE(test.status(), u"已导出："_s + test.path(u"even.mp4.edl"_s));
                QVERIFY(
                    test.read(u"even.mp4.edl"_s)
                        .startsWith("TITLE: even\nFCM: DROP FRAME\n\n"
                                    "001  EVEN     V     C        00:59:59;28 01:00:00;28 01:00:00;00 01:00:01;00\n"));
                choose(test, u"openListAction"_s, u"even.mp4.edl"_s);
                QTRY_COMPARE(test.status(), u"列表已打开：2 个片段。"_s);
                QCOMPARE(test.segmentCell(1, 1).data().toString(), u"00:00:01.001"_s);
            } else {
                QTRY_VERIFY(!test.alerts().isEmpty());
                QVERIFY(test.takeAlert().startsWith(u"EDL 按画面编号，而这个视频的帧率是变化的。"_s));
                QVERIFY(!QFile::exists(test.path(u"uneven.mkv.edl"_s)));
            }
        }
    }

    /// A folder that takes no copies disturbs nobody, and is told of once.
    void editingGoesOnWithoutCopies()
    {
        const WindowUnderTest test;
        test.write(u"file"_s, "in the folder's place");
        test.write(u"video"_s, "x");
        int complaints = 0;
        SegmentListEditor editor;
        {
            EditRecovery recovery(editor, RecoveryStore(test.path(u"file/edits"_s)));
            connect(&recovery, &EditRecovery::copiesFail, this, [&] { ++complaints; });
            for (int edits = 0; edits < 3; ++edits) {
                editor.append();
                editor.changeVideo(FileURL(test.path(u"video"_s)));
                editor.replace(SegmentList()); // what there was is saved
            }
            QTRY_COMPARE(complaints, 1);
        }
        QCoreApplication::processEvents();
        QCOMPARE(complaints, 1);
        editor.undo();
        QCOMPARE(editor.segments().size(), 1);
    }

    void hostileCopiesCountAsAbsent()
    {
        const QTemporaryDir folder;
        const QString copies = folder.filePath(u"edits"_s);
        const RecoveryStore store(copies);
        const auto path = [&](const QString& name) {
            return QFile::encodeName(copies + u'/' + name + u".kestrel.json"_s);
        };
        QVERIFY(store.save(u"good"_s, "text"));
        QCOMPARE(store.load(u"good"_s)->document, "text");
        {
            struct rlimit limit = {};
            ::getrlimit(RLIMIT_FSIZE, &limit);
            const struct rlimit full = {4, limit.rlim_max};
            const auto handler = std::signal(SIGXFSZ, SIG_IGN);
            ::setrlimit(RLIMIT_FSIZE, &full); // as on a full disk
            QVERIFY(!store.save(u"good"_s, "longer text"));
            QVERIFY_THROWS_EXCEPTION(CutListError, writeListFile(FileURL(folder.filePath(u"list"_s)), "longer text"));
            ::setrlimit(RLIMIT_FSIZE, &limit);
            std::ignore = std::signal(SIGXFSZ, handler);
        }
        QCOMPARE(store.load(u"good"_s)->document, "text");
        QVERIFY(!store.save(u"large"_s, QByteArray(RecoveryStore::largestCopy + 1, 'x')));
        QVERIFY(QFile::link(QString::fromUtf8(path(u"good"_s)), QString::fromUtf8(path(u"link"_s))));
        QCOMPARE(::mkfifo(path(u"fifo"_s).constData(), 0600), 0);
        QVERIFY(QDir(copies).mkdir(u"folder.kestrel.json"_s));
        for (const QString& name : {u"absent"_s, u"link"_s, u"fifo"_s, u"folder"_s})
            QVERIFY2(!store.load(name), qPrintable(name));
        for (int i = 0; i < RecoveryStore::mostCopies + 5; ++i)
            QVERIFY(store.save(u"many%1"_s.arg(i), "x"));
        QVERIFY(QDir(copies).entryList({u"*.kestrel.json"_s}, QDir::Files | QDir::NoSymLinks).size() <=
                RecoveryStore::mostCopies);

        const QString linked = folder.filePath(u"linked"_s);
        QVERIFY(QFile::link(copies, linked));
        QVERIFY(!RecoveryStore(linked).save(u"x"_s, "x"));
        QVERIFY(!RecoveryStore(linked).load(u"good"_s));
    }
};

QTEST_MAIN(ListHistoryTest)
#include "tst_ListHistory.moc"
