#include "Models/InputReading.h"
#include "Models/SegmentEditing.h"

#include <QtTest>

#include <limits>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

DetectorPayload payloadOf(double duration)
{
    DetectorPayload payload;
    payload.duration = duration;
    return payload;
}

} // namespace

class SegmentEditingTest final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void skip()
    {
        for (const auto& [text, seconds] :
             {std::pair(u" "_s, 0.0), {u" 1.5\u3000"_s, 1.5}, {u"86400"_s, 86400.0}, {u"-1"_s, 0.0}, {u"nan"_s, 0.0}})
            QCOMPARE(readSkipStartSeconds(text), seconds);
        QVERIFY(!validateSkipStart(u" "_s) && !validateSkipStart(u"86400"_s));
        for (const QString& text : {u"86400.5"_s, u"1e999"_s})
            QCOMPARE(validateSkipStart(text).value_or(QString()), u"跳过检测秒数过大。"_s);
        for (const QString& text : {u"-1"_s, u"nan"_s})
            QCOMPARE(validateSkipStart(text).value_or(QString()), u"跳过检测秒数必须是大于等于 0 的数字。"_s);
    }

    void crop()
    {
        QCOMPARE(readCropParameters(u" 1728:910:0:85 "_s).value_or(CropParameters{}),
                 (CropParameters{1728, 910, 0, 85}));
        QVERIFY(!validateCropParameters(u"1728:910:0:85"_s));
        QVERIFY(!validateCropParameters(u" "_s));
        for (const QString& text : {u"0:1:0:0"_s, u"1:0:0:0"_s, u"1:1:-1:0"_s, u"1:1:0:-1"_s, u"1:1:0"_s, u"1:1:0:0:"_s,
                                    u"1:1:0:0.0"_s, u"1: 1:0:0"_s, u"1:1:0:9223372036854775808"_s, u"a:b:c:d"_s}) {
            QCOMPARE(validateCropParameters(text).value_or(QString()),
                     u"裁剪参数格式应为 宽:高:X:Y，例如 1728:910:0:85。"_s);
            QVERIFY(!readCropParameters(text));
        }
    }

    void padding()
    {
        QVERIFY(!validateFadePadding({u"5.0"_s, u" 0 "_s}));
        QCOMPARE(validateFadePadding({u"0"_s, u"5.01"_s}).value_or(QString()), u"Fade 左右扩秒数过大。"_s);
        for (const QString& text : {u""_s, u"-0.1"_s})
            QCOMPARE(validateFadePadding({u"9"_s, text}).value_or(QString()),
                     u"Fade 左右扩秒数必须是大于等于 0 的数字。"_s);
        QCOMPARE(readFadePadding(u"0.5"_s, u"x"_s, FadeRemovalStrategy::extreme), (FadePaddingSettings{0.5, 0.32}));
    }

    void concurrency()
    {
        for (const auto& [text, workers] :
             {std::pair(u"7"_s, 7), {u"3000000000"_s, 12}, {u"-5"_s, 1}, {u" 7"_s, 3}, {u"99999999999999999999"_s, 3}})
            QCOMPARE(readConcurrency(text), workers);
    }

    /// Behind the last row, within the video, and never without a length.
    void manualRow()
    {
        using Rows = QList<std::tuple<std::optional<double>, std::optional<double>, double, double>>;
        for (const auto& [lastEnd, duration, start, end] : Rows{{{}, 0.5, 0, 0.5},
                                                                {3, 10, 3, 4},
                                                                {9.5, 10, 9.5, 10},
                                                                {12, 10, 10, 10.001},
                                                                {-4, {}, 0, 1},
                                                                {3, -1, -1, -0.999}}) {
            QList<EditableSegment> segments;
            if (lastEnd)
                segments = {{8, true, 0, 1, false}, {3, true, -9, *lastEnd, false}};
            const auto payload = duration ? std::optional(payloadOf(*duration)) : std::nullopt;
            const EditableSegment expected = {segments.isEmpty() ? 0 : 9, true, start, end, true};
            const EditableSegment added = makeManualSegment(segments, payload);
            QVERIFY2(added == expected, qPrintable(u"%1 to %2"_s.arg(added.start).arg(added.end)));
        }
        constexpr qint64 largest = std::numeric_limits<qint64>::max();
        QCOMPARE(makeManualSegment({{largest, true, 0, 1, false}}, std::nullopt).index, largest);
    }

    void relatedSegments()
    {
        const QList<KeepSegment> segments = {{1, 0, 10, 10}, {2, 12, 20, 8}, {3, 21, 30, 9}, {4, 22, 30, 8}};
        const auto related = [&](double start, double end) {
            return relatedKeepSegmentIndices({0, u"fade"_s, start, end, end - start, 1, {}}, segments);
        };
        QCOMPARE(related(10, 12), (QList<qint64>{1, 2}));
        QCOMPARE(related(10.0004, 11), QList<qint64>{1});      // within half a millisecond, one side only
        QCOMPARE(related(10.0006, 11), (QList<qint64>{1, 2})); // just outside: the nearest of each side
        QCOMPARE(related(-3, -2), QList<qint64>{1});
        QCOMPARE(related(40, 41), QList<qint64>{3}); // the earlier of two equally near
    }

    void masterBox()
    {
        QList<EditableSegment> segments;
        QCOMPARE(masterState(segments), MasterState::unavailable);
        segments = {{0, true, 0, 1, false}, {1, false, 0, 1, false}};
        QCOMPARE(masterState(segments), MasterState::mixed);
        segments[1].isEnabled = true;
        QCOMPARE(masterState(segments), MasterState::on);
        segments[0].isEnabled = segments[1].isEnabled = false;
        QCOMPARE(masterState(segments), MasterState::off);
    }
};

QTEST_GUILESS_MAIN(SegmentEditingTest)
#include "tst_SegmentEditing.moc"
