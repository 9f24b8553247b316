#include "FakeTool.h"
#include "MainWindowController/SegmentListEditor.h"
#include "Models/EditReapplying.h"
#include "NumberedVideo.h"
#include "Review/ReviewLayout.h"
#include "Review/ReviewTable.h"
#include "Review/ReviewWindow.h"
#include "WindowUnderTest.h"

#include <QAbstractItemModelTester>

#include <csignal>
#include <random>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int patience = 60'000;

/// A transition at each whole second, the clips between them; those that are listed are the least certain ones.
QByteArray planWithFalseOnes(int events, const QByteArray& falseOnes)
{
    return "n = " + QByteArray::number(events) + "; false = " + falseOnes + R"(
print(json.dumps({"video": sys.argv[1], "fps": 25, "duration": n + 1, "aggressive": True,
    "events": [{"index": i, "type": "cut", "start": i + 1, "end": i + 1, "duration": 0,
                "score": i / 1000 + (0 if i in false else 1), "source": "t"} for i in range(n)],
    "keep_segments": [{"index": i, "start": i, "end": i + 1, "duration": 1} for i in range(n + 1)]}))
)";
}

SegmentList listOf(const QList<std::pair<double, double>>& events, double duration)
{
    SegmentList list;
    list.payload = DetectorPayload{u"v"_s, 25, duration, false, {}, {}, {}};
    double start = 0;
    for (const auto& [from, to] : events) {
        const auto row = list.payload->events.size();
        list.payload->events.append(
            {row, from < to ? u"fade"_s : u"cut"_s, from, to, to - from, 1.0 + double(row), u"t"_s});
        list.payload->keepSegments.append({row, start, from, from - start});
        start = to;
    }
    list.payload->keepSegments.append({events.size(), start, duration, duration - start});
    list.segments = buildEditableSegments(*list.payload);
    return list;
}

/// The main window with a parsed video, and the window for checking opened by its key.
class ReviewUnderTest final
{
public:
    explicit ReviewUnderTest(const QByteArray& plan, const QByteArray& video = "no real video")
    {
        const QString path = test.addVideo(u"a.mp4"_s, plan);
        test.write(u"a.mp4"_s, video);
        test.chooseVideo(path);
        test.parse();
        test.selectEvent(0);
        QTest::keyClick(test.window().eventTableView, Qt::Key_E, Qt::ControlModifier);
        review = test.window().findChild<ReviewWindow*>(u"reviewWindow"_s);
        if (!review || !review->isVisible())
            qFatal("the window for checking does not open");
        table = review->findChild<QTableView*>(u"reviewTableView"_s);
        if (!QTest::qWaitFor([this] { return table->hasFocus(); }))
            qFatal("the list does not get the keys, %d", int(review->isActiveWindow()));
    }

    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) const { QTest::keyClick(table, key, modifiers); }
    [[nodiscard]] SegmentListEditor& list() const { return *test.window().segmentList; }
    [[nodiscard]] QString progress() const { return review->findChild<QLabel*>(u"progressLabel"_s)->text(); }
    template<typename Widget>
    [[nodiscard]] Widget* find(const char* name) const
    {
        return review->findChild<Widget*>(QString::fromLatin1(name));
    }

    WindowUnderTest test;
    ReviewWindow* review = nullptr;
    QTableView* table = nullptr;
};

} // namespace

class ReviewTest final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;

private Q_SLOTS:
    void ordersAndFilters_data()
    {
        QTest::addColumn<int>("order");
        QTest::addColumn<ReviewFilter>("filter");
        QTest::addColumn<QList<int>>("shown");
        // Clips of 10, 2, 5 and 3 s; 0 is confirmed, 2 is rejected.
        QTest::newRow("time") << 0 << ReviewFilter() << QList{0, 1, 2};
        QTest::newRow("least certain first") << 1 << ReviewFilter() << QList{0, 1, 2};
        QTest::newRow("shortest, then beside the shortest clip") << 2 << ReviewFilter() << QList{0, 2, 1};
        QTest::newRow("kind") << 3 << ReviewFilter() << QList{0, 2, 1};
        QTest::newRow("unchecked") << 0 << ReviewFilter{true, {}} << QList{1};
        QTest::newRow("beside a short clip") << 0 << ReviewFilter{false, 2.5} << QList{0, 1};
    }
    void ordersAndFilters()
    {
        QFETCH(int, order);
        QFETCH(ReviewFilter, filter);
        SegmentList list = listOf({{10, 10}, {12, 13}, {18, 18}}, 21);
        QCOMPARE(confirmEvents(list, {0}), std::nullopt);
        QCOMPARE(rejectEvents(list, {2}), std::nullopt);
        QTEST(reviewedEvents(ReviewFacts(list), static_cast<ReviewOrder>(order), filter), "shown");
    }

    void typedTimes()
    {
        for (const auto& [text, seconds] : {std::pair(u"1:"_s, 60.0), {u"1:2"_s, 62.0}, {u"1:02:03.5"_s, 3723.5}})
            QCOMPARE(typedSeconds(text), seconds);
        QVERIFY(!typedSeconds(u"12"_s) && !typedSeconds(u"1:2:3:4"_s));
    }

    /// A review by keys alone, the least certain first: what is false is rejected, the clips are those of the true
    /// list, and all of it can be taken back.
    void reviewByKeys()
    {
        const ReviewUnderTest under(planWithFalseOnes(300, "range(5, 300, 10)"));
        const SegmentList detected = under.list().list();
        under.find<QComboBox>("orderBox")->setCurrentIndex(1);
        QCOMPARE(under.review->currentEvent(), 5);
        QCOMPARE(under.table->model()->index(0, 0).data(Qt::AccessibleTextRole).toString(),
                 u"换场 5，硬切，把握 第 300 位，未检查"_s);
        for (int i = 0; i < 300; ++i)
            under.press(under.review->currentEvent() % 10 == 5 ? Qt::Key_Delete : Qt::Key_Return);
        QCOMPARE(under.progress(), u"已检查 300 / 300，已否决 30"_s);
        QList<std::pair<double, double>> clips;
        for (const EditableSegment& segment : under.list().segments()) {
            if (segment.isEnabled)
                clips.append({segment.start, segment.end});
        }
        QList<std::pair<double, double>> expected = {{0, 1}};
        for (int i = 0; i < 300; ++i) {
            if (i % 10 == 5)
                expected.last().second = i + 2;
            else
                expected.append({i + 1, i + 2});
        }
        QCOMPARE(clips, expected);
        while (under.list().list() != detected && under.list().history().canUndo())
            under.list().undo();
        QCOMPARE(under.list().list(), detected);
        QCOMPARE(under.progress(), u"已检查 0 / 300，已否决 0"_s);
    }

    /// Stepping, the way back, jumping to a time, pruning and several rows; the event table follows.
    void keysAndPruning()
    {
        const ReviewUnderTest under(planWithFalseOnes(20, "(3, 4, 11)"));
        const QTableView* events = under.test.window().eventTableView;
        under.press(Qt::Key_End);
        QCOMPARE(events->currentIndex().row(), 19);
        under.press(Qt::Key_Home);
        under.press(Qt::Key_Return);
        under.press(Qt::Key_Delete);
        QCOMPARE(under.review->currentEvent(), 2);
        under.press(Qt::Key_Backspace);
        QCOMPARE(under.review->currentEvent(), 1);
        under.press(Qt::Key_Return); // it is one after all
        QCOMPARE(under.progress(), u"已检查 2 / 20，已否决 0"_s);
        under.list().undo();
        QCOMPARE(under.progress(), u"已检查 2 / 20，已否决 1"_s);
        QCOMPARE(under.review->currentEvent(), 1); // what has changed is looked at
        under.press(Qt::Key_0);
        under.press(Qt::Key_Shift); // as the colon needs it
        QTest::keyClicks(under.table, u":14"_s);
        QCOMPARE(events->currentIndex().row(), 13);
        QCOMPARE(under.progress(), u"已检查 2 / 20，已否决 1"_s);
        QInputMethodQueryEvent composing(Qt::ImEnabled);
        QCoreApplication::sendEvent(under.table, &composing);
        QVERIFY(!composing.value(Qt::ImEnabled).toBool());

        under.find<QSlider>("pruneSlider")->setValue(5); // one of them is confirmed, one rejected
        QCOMPARE(under.find<QLabel>("pruneLabel")->text(), u"将否决 3 个换场"_s);
        click(under.find<QPushButton>("pruneButton"));
        QCOMPARE(under.progress(), u"已检查 5 / 20，已否决 4"_s);
        QCOMPARE(under.list().history().undoText(), u"否决 3 个换场"_s);
        under.press(Qt::Key_End);
        under.press(Qt::Key_Up, Qt::ShiftModifier);
        under.press(Qt::Key_Return);
        QCOMPARE(under.progress(), u"已检查 7 / 20，已否决 4"_s);
        under.list().undo();
        under.list().undo();
        QCOMPARE(under.progress(), u"已检查 2 / 20，已否决 1"_s);
        under.press(Qt::Key_End);
        under.press(Qt::Key_Space);
        const QRect large = under.table->visualRect(under.table->currentIndex());
        QCOMPARE(large.top(), 0);
        QCOMPARE(large.height(), under.table->viewport()->height());
        under.press(Qt::Key_Escape);
        QVERIFY(under.table->visualRect(under.table->currentIndex()).height() < large.height());
        under.press(Qt::Key_Escape);
        QTRY_VERIFY(!under.test.window().findChild<ReviewWindow*>());
    }

    /// After another parse the edits are made again where their transitions are there again, the others are named.
    void editsAreMadeAgain()
    {
        SegmentList edited = listOf({{10, 10}, {20, 20}, {30, 30}, {40, 40}}, 50);
        QCOMPARE(confirmEvents(edited, {0, 3}), std::nullopt);
        QCOMPARE(rejectEvents(edited, {1}), std::nullopt);
        edited.segments[3].start = 31.5;
        SegmentList parsed = listOf({{10.02, 10.02}, {19.98, 19.98}, {30, 30}, {41, 41}}, 50);
        const ReappliedEdits again = reapplyEdits(parsed, edited);
        QCOMPARE(again.count, 3);
        QCOMPARE(again.withoutPartner, QStringList{u"换场 3（00:00:40.000）"_s});
        QCOMPARE(again.list.segments[3].start, 31.5);
        QCOMPARE(eventStates(again.list),
                 (QList{EventState::confirmed, EventState::rejected, EventState::unchecked, EventState::unchecked}));
    }

    void picturesFillTheWidth()
    {
        const QSize shape(16, 9);
        for (const int width : {500, 1180, 2400}) {
            const ReviewLayout layout = {20, shape, false};
            const QRect row(0, 0, width, layout.rowHeight(QSize(width, 5000)));
            for (const int count : {4, 5}) {
                QVERIFY(layout.picture(row, 0, count).left() <= ReviewLayout::margin + 1);
                QVERIFY(layout.picture(row, count - 1, count).right() >= width - ReviewLayout::margin - count - 1);
            }
        }
    }

    void initTestCase()
    {
        const QStringList encoder = {u"-c:v"_s, u"libx264"_s, u"-preset"_s, u"ultrafast"_s, u"-bf"_s, u"3"_s};
        QVERIFY(NumberedVideo::make(m_folder.filePath(u"b.mp4"_s), u"25"_s, 250, encoder));
        QVERIFY(NumberedVideo::make(m_folder.filePath(u"short.mp4"_s), u"25"_s, 50, encoder));
    }

    /// A second look at the same video needs no ffmpeg; what is damaged on disk counts as absent.
    void picturesStayOnDisk()
    {
        qputenv("XDG_CACHE_HOME", QFile::encodeName(m_folder.filePath(u"kept"_s)));
        const FileURL broken = writeFakeTool(m_folder.path(), u"broken"_s, "exit 1");
        for (const FileURL& ffmpeg : {FileURL(QStandardPaths::findExecutable(u"ffmpeg"_s)), broken}) {
            ReviewWindow review(nullptr);
            const auto pictures = show(review, u"b.mp4"_s, ffmpeg);
            QTRY_VERIFY_WITH_TIMEOUT(pictures->isComplete(1), patience);
            QCOMPARE(NumberedVideo::number(pictures->picturesOf(1).last().image), 175);
        }
        const QFileInfo kept = QDir(m_folder.filePath(u"kept/kestrel/pictures"_s)).entryInfoList(QDir::Files).value(0);
        const QByteArray whole = readFile(kept.filePath());
        const PictureStore store(kept.path());
        QVERIFY(!store.load(kept.completeBaseName()).isEmpty());
        for (qsizetype at = 0; at < whole.size(); at += 1001) {
            QByteArray damaged = whole;
            damaged[at] = char(~damaged[at]);
            writeFile(kept.filePath(), at % 2 == 0 ? damaged : whole.first(at));
            for (const StoredReply& reply : store.load(kept.completeBaseName()))
                QVERIFY(std::is_sorted(reply.times.frames.begin(), reply.times.frames.end()));
        }
        writeFile(kept.filePath(), "Kestrel1\xff\xff\xff\x7f");
        QVERIFY(store.load(kept.completeBaseName()).isEmpty());
        writeFile(kept.filePath(), QByteArray(3000, ' '));
        PictureStore(kept.path(), 2000).append(u"other"_s, {}); // there is no room for both
        QCOMPARE(QDir(kept.path()).entryList(QDir::Files), QStringList{u"other.pictures"_s});
    }

    /// What the disk has no room for is not left there in part.
    void theDiskIsFull()
    {
        const PictureStore store(m_folder.filePath(u"full"_s));
        store.append(u"v"_s, {});
        const QString path = m_folder.filePath(u"full/v.pictures"_s);
        const QByteArray before = readFile(path);
        rlimit usual{};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &usual), 0);
        const rlimit full{rlim_t(before.size() + 20), usual.rlim_max};
        const auto handler = std::signal(SIGXFSZ, SIG_IGN);
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &full), 0);
        store.append(u"v"_s, {});
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &usual), 0);
        std::signal(SIGXFSZ, handler);
        QCOMPARE(readFile(path), before);
        QCOMPARE(store.load(u"v"_s).size(), 1);
    }

    /// Without a cache folder there are pictures all the same.
    void theCacheCannotBeWritten()
    {
        writeFile(m_folder.filePath(u"no folder"_s), {});
        qputenv("XDG_CACHE_HOME", QFile::encodeName(m_folder.filePath(u"no folder"_s)));
        ReviewWindow review(nullptr);
        const auto pictures = show(review, u"b.mp4"_s, FileURL(QStandardPaths::findExecutable(u"ffmpeg"_s)));
        QTRY_VERIFY_WITH_TIMEOUT(pictures->isComplete(0) && pictures->isComplete(1), patience);
    }

    void faultsAreToldInThePictures_data()
    {
        QTest::addColumn<QString>("video");
        QTest::addColumn<QByteArray>("ffmpeg");
        QTest::addColumn<QString>("words");
        QTest::newRow("no video") << u"none.mp4"_s << QByteArray() << u"找不到视频文件。"_s;
        QTest::newRow("ffmpeg is killed")
            << u"b.mp4"_s << QByteArray("kill -9 $$") << u"ffmpeg 意外结束，没有取到画面。"_s;
        QTest::newRow("ffmpeg is missing") << u"b.mp4"_s << QByteArray("missing") << u"无法启动 ffmpeg："_s;
        QTest::newRow("beyond the end") << u"short.mp4"_s << QByteArray() << u"超出视频末尾"_s;
        QTest::newRow("ffmpeg fails") << u"b.mp4"_s << QByteArray("echo 坏了 >&2; exit 1") << u"无法读取画面：坏了"_s;
    }
    void faultsAreToldInThePictures()
    {
        const QTemporaryDir cache;
        qputenv("XDG_CACHE_HOME", QFile::encodeName(cache.path()));
        QFETCH(QString, video);
        QFETCH(QByteArray, ffmpeg);
        QFETCH(QString, words);
        const FileURL tool = ffmpeg.isEmpty()      ? FileURL(QStandardPaths::findExecutable(u"ffmpeg"_s))
                             : ffmpeg == "missing" ? FileURL(m_folder.filePath(u"none"_s))
                                                   : writeFakeTool(m_folder.path(), u"ffmpeg"_s, ffmpeg);
        ReviewWindow review(nullptr);
        const auto pictures = show(review, video, tool);
        QTRY_VERIFY_WITH_TIMEOUT(pictures->picturesOf(0).value(1).message.startsWith(words), patience);
    }

    void nothingRunsAfterClosing()
    {
        const QTemporaryDir cache;
        qputenv("XDG_CACHE_HOME", QFile::encodeName(cache.path()));
        ReviewWindow review(nullptr);
        const auto pictures = show(review, u"b.mp4"_s, writeFakeTool(m_folder.path(), u"ffmpeg"_s, "exec sleep 600"));
        QTRY_VERIFY_WITH_TIMEOUT(pictures->source().processCount() == 2, patience);
        review.setSplitRunning(true);
        QTRY_VERIFY_WITH_TIMEOUT(pictures->source().processCount() == 1, patience);
        review.close();
        QTRY_VERIFY_WITH_TIMEOUT(pictures->source().processCount() == 0, patience);
    }

    /// Keys, orders, filters, parses and edits in any order: rows, states and both tables agree, no picture is another
    /// frame's, and all can be undone.
    void randomUse()
    {
        const int sequences = std::max(8, qEnvironmentVariableIntValue("KESTREL_SEQUENCES"));
        const ReviewUnderTest under(planWithFalseOnes(9, "(3, 4)"), readFile(m_folder.filePath(u"b.mp4"_s)));
        const ReviewPictures& pictures = under.review->pictures();
        const auto* model = static_cast<ReviewTableModel*>(under.table->model());
        const QAbstractItemModelTester tester(under.table->model(),
                                              QAbstractItemModelTester::FailureReportingMode::Fatal);
        constexpr Qt::Key keys[] = {Qt::Key_Return, Qt::Key_Delete, Qt::Key_Backspace, Qt::Key_Up,    Qt::Key_Down,
                                    Qt::Key_Home,   Qt::Key_End,    Qt::Key_PageDown,  Qt::Key_Space, Qt::Key_PageUp};
        QList<SegmentList> parses = {listOf({{5, 5}, {8, 9}}, 10), listOf({{2, 3}, {4, 4}, {6, 7}}, 10)};
        for (SegmentList& list : parses)
            list.videoURL = FileURL(under.test.path(u"a.mp4"_s));
        std::mt19937 random(1);
        const auto pick = [&random](qsizetype count) {
            return static_cast<int>(random() % static_cast<unsigned>(count));
        };
        for (int step = 0; step < sequences * 30; ++step) {
            const int what = pick(20);
            const int before = under.review->currentEvent();
            const SegmentList& list = under.list().list();
            if (what < 10)
                under.press(keys[what], pick(4) == 0 ? Qt::ShiftModifier : Qt::NoModifier);
            else if (what == 10)
                under.find<QComboBox>("orderBox")->setCurrentIndex(pick(4));
            else if (what == 11)
                under.find<QComboBox>("filterBox")->setCurrentIndex(pick(3));
            else if (what == 12)
                under.find<QSlider>("pruneSlider")->setValue(pick(6));
            else if (what == 13)
                click(under.find<QPushButton>("pruneButton"));
            else if (what == 14)
                under.test.window().eventTableView->selectRow(pick(std::max<qsizetype>(1, list.events().size())));
            else if (what == 15 && !list.segments.isEmpty())
                under.list().setEnabled({pick(list.segments.size())}, pick(2) == 0);
            else if (what == 16)
                under.list().replace(parses[pick(2)]);
            else
                pick(2) == 0 ? under.list().undo() : under.list().redo();

            const QList<EventState> states = eventStates(under.list().list());
            QCOMPARE(model->facts().states, states);
            QCOMPARE(under.progress(),
                     u"已检查 %1 / %2，已否决 %3"_s.arg(states.size() - states.count(EventState::unchecked))
                         .arg(states.size())
                         .arg(states.count(EventState::rejected)));
            const int current = under.review->currentEvent();
            if (what < 10 && current >= 0 && current != before)
                QCOMPARE(under.test.window().eventTableView->currentIndex().row(), current);
            if (current >= 0) {
                for (const ReviewPicture& picture : pictures.picturesOf(current))
                    verifyNumber(pictures, picture);
            }
        }
        while (under.list().history().canUndo())
            under.list().undo();
        QCOMPARE(under.list().list(), SegmentList());
        under.list().replace(parses.first());
        QTRY_VERIFY_WITH_TIMEOUT(pictures.isComplete(0), patience);
        for (const ReviewPicture& picture : pictures.picturesOf(0)) {
            QVERIFY(!picture.image.isNull());
            verifyNumber(pictures, picture);
        }
    }

private:
    static void verifyNumber(const ReviewPictures& pictures, const ReviewPicture& picture)
    {
        if (!picture.image.isNull())
            QCOMPARE(NumberedVideo::number(picture.image),
                     qRound(pictures.source().clock().secondsAt(picture.planned.frame.ticks) * 25));
    }

    /// The window with a cut at frame 100 and a fade over the frames 150 to 174.
    const ReviewPictures* show(ReviewWindow& review, const QString& video, const FileURL& ffmpeg) const
    {
        SegmentList list = listOf({{4, 4}, {6, 7}}, 10);
        list.videoURL = FileURL(m_folder.filePath(video));
        review.setRuntime(RuntimeConfiguration{{}, {}, ffmpeg});
        review.show();
        review.setContent(list, ViewerContent::of(list));
        return &review.pictures();
    }
};

QTEST_MAIN(ReviewTest)
#include "tst_Review.moc"
