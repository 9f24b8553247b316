#include "Models/PayloadDecoder.h"

#include <QtTest>

#include <limits>

using namespace Qt::StringLiterals;

namespace {

const QByteArray wholeDocument = R"({
  "video": "片.mp4", "fps": 29.97, "duration": 12, "aggressive": true, "fade_removal_profile": "extreme",
  "extra": {"deep": [1, 2]},
  "events": [{"index": 9223372036854775807, "type": "cut", "start": 1.5, "end": 2, "duration": 0.5, "score": -1e-3,
              "source": "a\nb", "more": null}],
  "keep_segments": [{"index": -1, "start": 0, "end": 1.5, "duration": 1.5},
                    {"index": 2, "start": 2, "end": 12, "duration": 10}]
})";

QByteArray replaced(const char* before, const QByteArray& after)
{
    Q_ASSERT(wholeDocument.contains(before));
    return QByteArray(wholeDocument).replace(before, after);
}

/// The decoder's description, or an empty text when it accepts the document.
QString refusal(const QByteArray& json)
{
    try {
        [[maybe_unused]] const DetectorPayload payload = decodePayload(json);
        return QString();
    } catch (const PayloadDecodingError& error) {
        return error.description();
    }
}

} // namespace

class PayloadDecoderTest final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wholePayload()
    {
        const DetectorPayload expected = {
            u"片.mp4"_s,
            29.97,
            12,
            true,
            u"extreme"_s,
            {{std::numeric_limits<qint64>::max(), u"cut"_s, 1.5, 2, 0.5, -1e-3, u"a\nb"_s}},
            {{-1, 0, 1.5, 1.5}, {2, 2, 12, 10}}};
        QCOMPARE(decodePayload(wholeDocument), expected);
        QCOMPARE(decodePayload(replaced("keep_segments", "keepSegments")), expected);
        QCOMPARE(decodePayload(replaced("fade_removal_profile", "fadeRemovalProfile")), expected);
        QCOMPARE(decodePayload(replaced("keep_segments", "keep__segments")), expected);
        QCOMPARE(decodePayload(replaced("\"start\": 0,", "\"start\": 1e-400,")), expected);
        QCOMPARE(decodePayload(replaced("-1,", "-9223372036854775808,")).keepSegments[0].index,
                 std::numeric_limits<qint64>::min());
    }

    void absentProfileAndEmptyLists()
    {
        QVERIFY(!decodePayload(replaced("\"extreme\"", "null")).fadeRemovalProfile);
        QVERIFY(!decodePayload(replaced("fade_removal_profile", "_fade_removal_profile")).fadeRemovalProfile);
        const DetectorPayload payload =
            decodePayload(R"({"video":"","fps":0,"duration":0,"aggressive":false,"events":[],"keep_segments":[]})");
        QVERIFY(payload.events.isEmpty() && payload.keepSegments.isEmpty());
    }

    /// A document, and what the description must name.
    void refused()
    {
        using Rows = QList<std::pair<QByteArray, QString>>;
        for (const auto& [json, place] :
             Rows{{{}, u"空"_s},
                  {" \n", u"空"_s},
                  {replaced("keep_segments", "segments"), u"keep_segments"_s},
                  {replaced("\"end\": 12", "\"End\": 12"), u"keep_segments[1].end"_s},
                  {replaced("1.5, \"end\"", "\"1.5\", \"end\""), u"events[0].start"_s},
                  {replaced("29.97", "null"), u"fps"_s},
                  {replaced("29.97", "false"), u"fps"_s},
                  {replaced("true", "1"), u"aggressive"_s},
                  {replaced("\"extreme\"", "3"), u"fade_removal_profile"_s},
                  {replaced("-1,", "3.5,"), u"keep_segments[0].index"_s},
                  {replaced("9223372036854775807", "9223372036854775808"), u"events[0].index"_s},
                  {replaced("-1,", "-9223372036854775809,"), u"keep_segments[0].index"_s},
                  {replaced("\"events\": [", "\"events\": {}, \"x\": ["), u"events"_s},
                  {replaced("{\"index\": -1, \"start\": 0, \"end\": 1.5, \"duration\": 1.5}", "17"),
                   u"keep_segments[0]"_s},
                  {"[1]", u"顶层"_s},
                  {"ok\n" + wholeDocument, u"第 1 行"_s}}) {
            const QString description = refusal(json);
            QVERIFY2(description.contains(place), qPrintable(description));
        }
    }

    /// What only a lenient reader takes for JSON.
    void refusedAsJson()
    {
        QList<QByteArray> documents = {"1", wholeDocument + "ok", wholeDocument.chopped(1)};
        for (const char* number :
             {"29.", ".5", "029.97", "+29.97", "2e", "NaN", "Infinity", "1e999", "29.97 /* fps */"})
            documents += replaced("29.97", number);
        for (const auto& [before, after] : {std::pair("a\\nb", QByteArray("a\nb")), // a raw control character
                                            {"a\\nb", "a\\qb"},
                                            {"a\\nb", "a\\u12g4"},
                                            {"\"duration\": 10}", "\"duration\": 10,}"},
                                            {"[1, 2]", "[1, 2,]"},
                                            {"[1, 2]", QByteArray(100000, '[')},
                                            {"\"cut\"", "'cut'"},
                                            {"cut", "\xff\xfe"}})
            documents += replaced(before, after);
        for (const QByteArray& json : std::as_const(documents))
            QVERIFY2(refusal(json).contains(u"JSON"_s), json.left(400).constData());
    }
};

QTEST_GUILESS_MAIN(PayloadDecoderTest)
#include "tst_PayloadDecoder.moc"
