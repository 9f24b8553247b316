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

using Shown = QList<std::pair<double, QString>>;
using Typed = QList<std::pair<QString, std::optional<double>>>;

} // namespace

class NumbersAndTimes final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decimalCommaIsInForce() { QCOMPARE(QString::fromLatin1(std::localeconv()->decimal_point), u","_s); }

    /// Trailing zeros go, ties round to even, what cannot be an argument becomes 0.
    void secondsArgument()
    {
        for (const auto& [seconds, text] : Shown{{0.0, u"0"_s},
                                                 {1.10, u"1.1"_s},
                                                 {12.3456, u"12.346"_s},
                                                 {0.0004, u"0"_s},
                                                 {0.0625, u"0.062"_s},
                                                 {9.9996, u"10"_s},
                                                 {-3.0, u"0"_s},
                                                 {-0.0, u"-0"_s},
                                                 {1e20, u"100000000000000000000"_s}})
            QCOMPARE(formatSecondsArgument(seconds), text);
    }

    /// Halves round away from zero, hours grow up to a bound.
    void shownTimes()
    {
        for (const auto& [seconds, text] : Shown{{0.0, u"00:00:00.000"_s},
                                                 {3661.5, u"01:01:01.500"_s},
                                                 {59.9996, u"00:01:00.000"_s},
                                                 {360000.0, u"100:00:00.000"_s},
                                                 {0.0625, u"00:00:00.063"_s},
                                                 {-7.0, u"00:00:00.000"_s},
                                                 {infinity, u"2562047788015215:13:04.000"_s}})
            QCOMPARE(formatShownTime(seconds), text);
        for (const auto& [seconds, text] :
             Shown{{1.5, u"1.500s"_s}, {-2, u"0.000s"_s}, {-0.0, u"-0.000s"_s}, {notANumber, u"0.000s"_s}})
            QCOMPARE(formatShortSeconds(seconds), text);
    }

    void typedTimes()
    {
        for (const auto& [text, seconds] : Typed{{u"00:01:02.500"_s, 62.5},
                                                 {u" \u3000 1:2:3\n"_s, 3723.0},
                                                 {u":1::2:3:"_s, 3723.0},
                                                 {u"+1:00:00"_s, 3600.0},
                                                 {u"0:0:5e-1"_s, 0.5},
                                                 {u"999999999999999:0:0"_s, 999999999999999.0 * 3600}})
            QCOMPARE(parseHMS(text), seconds);
        const QString refused =
            u"1000000000000000:0:0|00:60:00|00:00:60|12:34|1:2:3:4|62.5|-1:00:00|0:0:-1|12:34:56.789x|"
            "a:b:c|0:0:nan|0:0:0x1p3|0: 1:2|0:0:1,5|０:０:１|  "_s;
        for (const QString& text : refused.split(u'|'))
            QVERIFY2(!parseHMS(text), qPrintable(text));
    }

    /// As the detector's language writes numbers.
    void roundTrip()
    {
        for (const auto& [value, text] : Shown{{0.0, u"0.0"_s},
                                               {0.1 + 0.2, u"0.30000000000000004"_s},
                                               {1e-4, u"0.0001"_s},
                                               {1e-5, u"1e-05"_s},
                                               {9999999999999998.0, u"9999999999999998.0"_s},
                                               {1e16, u"1e+16"_s},
                                               {-1.5, u"0.0"_s},
                                               {notANumber, u"0.0"_s}})
            QCOMPARE(formatRoundTrip(value), text);
    }

    void typedNumbers()
    {
        for (const auto& [text, value] : Typed{{u"5."_s, 5.0},
                                               {u".5"_s, 0.5},
                                               {u"-1.5E+2"_s, -150.0},
                                               {u"1e999"_s, infinity},
                                               {u"0e99999999999"_s, 0.0}})
            QCOMPARE(parseDecimal(text), value);
        for (const QString& refused : {u"."_s, u"1e"_s, u"+-1"_s, u"inf"_s, u"1,000"_s, u"1 0"_s, u"1\0"_s})
            QVERIFY2(!parseDecimal(refused), qPrintable(refused));
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
