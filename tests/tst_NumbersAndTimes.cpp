#include "Models/NumberText.h"
#include "Models/TimeText.h"

#include <QGuiApplication>
#include <QtTest>

#include <clocale>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

} // namespace

class NumbersAndTimes final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decimalCommaIsInForce()
    {
        QCOMPARE(QString::fromLatin1(std::localeconv()->decimal_point), u","_s);
        QCOMPARE(QLocale().decimalPoint(), u","_s);
    }

    void secondsArgument_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << 0.0 << u"0"_s;
        QTest::newRow("trailing zeros are dropped") << 1.10 << u"1.1"_s;
        QTest::newRow("zeros before the point stay") << 10.0 << u"10"_s;
        QTest::newRow("hundreds") << 3600.0 << u"3600"_s;
        QTest::newRow("rounded up") << 12.3456 << u"12.346"_s;
        QTest::newRow("rounded to nothing") << 0.0004 << u"0"_s;
        QTest::newRow("a tie rounds to even") << 0.0625 << u"0.062"_s;
        QTest::newRow("an inner zero stays") << 1.005 + 0.1 << u"1.105"_s;
        QTest::newRow("rounding carries into the seconds") << 9.9996 << u"10"_s;
        QTest::newRow("negative") << -3.0 << u"0"_s;
        QTest::newRow("negative zero keeps its sign") << -0.0 << u"-0"_s;
        QTest::newRow("not a number") << notANumber << u"0"_s;
        QTest::newRow("beyond 64 bits") << 1e20 << u"100000000000000000000"_s;
    }
    void secondsArgument()
    {
        QFETCH(double, seconds);
        QTEST(formatSecondsArgument(seconds), "text");
    }

    void hms_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << 0.0 << u"00:00:00.000"_s;
        QTest::newRow("all pieces") << 3661.5 << u"01:01:01.500"_s;
        QTest::newRow("milliseconds carry") << 59.9996 << u"00:01:00.000"_s;
        QTest::newRow("hours grow") << 360000.0 << u"100:00:00.000"_s;
        QTest::newRow("halves round away from zero") << 0.0625 << u"00:00:00.063"_s;
        QTest::newRow("negative") << -7.0 << u"00:00:00.000"_s;
        QTest::newRow("not a number") << notANumber << u"00:00:00.000"_s;
        QTest::newRow("any size is capped") << 1e300 << u"2562047788015215:13:04.000"_s;
        QTest::newRow("infinite") << infinity << u"2562047788015215:13:04.000"_s;
    }
    void hms()
    {
        QFETCH(double, seconds);
        QTEST(formatShownTime(seconds), "text");
    }

    void parsedTime_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("seconds"); // negative: refused
        QTest::newRow("plain") << u"00:01:02.500"_s << 62.5;
        QTest::newRow("blanks around, ideographic too") << u" \u3000 1:2:3\n"_s << 3723.0;
        QTest::newRow("many hours") << u"100:00:00"_s << 360000.0;
        QTest::newRow("repeated and outer colons") << u":1::2:3:"_s << 3723.0;
        QTest::newRow("sign") << u"+1:00:00"_s << 3600.0;
        QTest::newRow("seconds without a leading digit") << u"0:0:.5"_s << 0.5;
        QTest::newRow("seconds with an exponent") << u"0:0:5e-1"_s << 0.5;
        QTest::newRow("fifteen digits of hours") << u"999999999999999:0:0"_s << 999999999999999.0 * 3600;
        QTest::newRow("sixteen digits of hours") << u"1000000000000000:0:0"_s << -1.0;
        QTest::newRow("minutes beyond 59") << u"00:60:00"_s << -1.0;
        QTest::newRow("seconds from 60") << u"00:00:60"_s << -1.0;
        QTest::newRow("two pieces") << u"12:34"_s << -1.0;
        QTest::newRow("four pieces") << u"1:2:3:4"_s << -1.0;
        QTest::newRow("one number") << u"62.5"_s << -1.0;
        QTest::newRow("negative hours") << u"-1:00:00"_s << -1.0;
        QTest::newRow("negative seconds") << u"0:0:-1"_s << -1.0;
        QTest::newRow("text behind") << u"12:34:56.789x"_s << -1.0;
        QTest::newRow("letters") << u"a:b:c"_s << -1.0;
        QTest::newRow("not a number") << u"0:0:nan"_s << -1.0;
        QTest::newRow("hexadecimal") << u"0:0:0x1p3"_s << -1.0;
        QTest::newRow("inner blank") << u"0: 1:2"_s << -1.0;
        QTest::newRow("decimal comma") << u"0:0:1,5"_s << -1.0;
        QTest::newRow("full-width digits") << u"０:０:１"_s << -1.0;
        QTest::newRow("blank") << u"  "_s << -1.0;
    }
    void parsedTime()
    {
        QFETCH(QString, text);
        QTEST(parseHMS(text).value_or(-1), "seconds");
    }

    void parsedTimeInvertsShownTime()
    {
        for (double seconds = 0; seconds < 200000; seconds = seconds * 1.37 + 0.0371) {
            const double expected = std::round(seconds * 1000) / 1000;
            QVERIFY(std::abs(parseHMS(formatHMS(seconds)).value_or(-1) - expected) < 1e-9);
        }
    }

    void shortSeconds()
    {
        QCOMPARE(formatShortSeconds(1.5), u"1.500s"_s);
        QCOMPARE(formatShortSeconds(-2), u"0.000s"_s);
        QCOMPARE(formatShortSeconds(-0.0), u"-0.000s"_s);
        QCOMPARE(formatShortSeconds(notANumber), u"0.000s"_s);
    }

    void roundTrip_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << 0.0 << u"0.0"_s;
        QTest::newRow("whole") << 86400.0 << u"86400.0"_s;
        QTest::newRow("whole with zeros") << 100000.0 << u"100000.0"_s;
        QTest::newRow("shortest digits") << 0.1 + 0.2 << u"0.30000000000000004"_s;
        QTest::newRow("smallest without exponent") << 1e-4 << u"0.0001"_s;
        QTest::newRow("below that") << 1e-5 << u"1e-05"_s;
        QTest::newRow("largest without exponent") << 9999999999999998.0 << u"9999999999999998.0"_s;
        QTest::newRow("from there on") << 1e16 << u"1e+16"_s;
        QTest::newRow("negative") << -1.5 << u"0.0"_s;
        QTest::newRow("negative zero") << -0.0 << u"0.0"_s;
        QTest::newRow("not a number") << notANumber << u"0.0"_s;
    }
    void roundTrip()
    {
        QFETCH(double, value);
        QTEST(formatRoundTrip(value), "text");
    }

    void typedDecimal_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("accepted");
        QTest::addColumn<double>("value");
        QTest::newRow("point last") << u"5."_s << true << 5.0;
        QTest::newRow("point first") << u".5"_s << true << 0.5;
        QTest::newRow("sign and exponent") << u"-1.5E+2"_s << true << -150.0;
        QTest::newRow("too large") << u"1e999"_s << true << infinity;
        QTest::newRow("too large with leading zeros") << u"-000001e400"_s << true << -infinity;
        QTest::newRow("too small") << u"1e-999"_s << true << 0.0;
        QTest::newRow("zero with a huge exponent") << u"0e99999999999"_s << true << 0.0;
        QTest::newRow("only a point") << u"."_s << false << 0.0;
        QTest::newRow("empty exponent") << u"1e"_s << false << 0.0;
        QTest::newRow("two signs") << u"+-1"_s << false << 0.0;
        QTest::newRow("infinity") << u"inf"_s << false << 0.0;
        QTest::newRow("group separator") << u"1,000"_s << false << 0.0;
        QTest::newRow("inner blank") << u"1 0"_s << false << 0.0;
        QTest::newRow("null character") << u"1\0"_s << false << 0.0;
    }
    void typedDecimal()
    {
        QFETCH(QString, text);
        QFETCH(bool, accepted);
        const auto value = parseDecimal(text);
        QCOMPARE(value.has_value(), accepted);
        QTEST(value.value_or(0), "value");
    }

    void typedInteger()
    {
        QCOMPARE(parseInteger(u"+12").value_or(0), 12);
        QCOMPARE(parseInteger(u"-9223372036854775808").value_or(0), std::numeric_limits<qint64>::min());
        for (const QString& refused : {u"9223372036854775808"_s, u""_s, u"+"_s, u" 1"_s, u"1.0"_s, u"0x1"_s, u"１"_s})
            QVERIFY2(!parseInteger(refused), qPrintable(refused));
    }
};

int main(int argc, char* argv[])
{
    qputenv("LC_ALL", "de_DE.UTF-8");              // has a decimal comma
    const QGuiApplication application(argc, argv); // switches the C library to the user's locale
    NumbersAndTimes test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_NumbersAndTimes.moc"
