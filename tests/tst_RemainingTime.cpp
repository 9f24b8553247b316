#include "Models/RemainingTime.h"

#include <QTest>

#include <cmath>
#include <vector>

namespace {

/// A run as the coordinator carries it out, on a clock of its own: `jobs` clips of `duration` seconds, each written in
/// `wall` seconds, of which the encoder spends the first `delay` without a report.
struct SimulatedRun
{
    int jobs;
    int lanes;
    double duration;
    double wall;
    double delay;

    [[nodiscard]] double totalTime() const { return std::ceil(double(jobs) / lanes) * wall; }

    template<typename Check>
    void play(Check check) const
    {
        constexpr double step = 0.5;
        RemainingTime remaining(QList<double>(jobs, duration), lanes);
        std::vector<bool> launched(std::size_t(jobs), false);
        std::vector<bool> ended(std::size_t(jobs), false);
        for (double now = 0; now < totalTime(); now += step) {
            for (int job = 0; job < jobs; ++job) {
                const double since = now - job / lanes * wall;
                const auto place = std::size_t(job);
                if (since >= 0 && !launched[place]) {
                    remaining.launch(job, now - since);
                    launched[place] = true;
                }
                if (since >= wall && !ended[place]) {
                    remaining.end(job, true, now - since + wall);
                    ended[place] = true;
                } else if (launched[place] && !ended[place]) {
                    remaining.progress(job, std::max(0.0, since - delay) / wall * duration, now);
                }
            }
            check(now, remaining.update(now));
        }
    }
};

} // namespace

class RemainingTimeTest final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void equalClips_data()
    {
        QTest::addColumn<SimulatedRun>("run");
        QTest::newRow("three at a time") << SimulatedRun{30, 3, 6, 5, 0};
        QTest::newRow("with the encoder's delay") << SimulatedRun{30, 3, 6, 5, 1};
        QTest::newRow("one by one") << SimulatedRun{30, 1, 20, 4, 0.5};
        QTest::newRow("five at a time, slow") << SimulatedRun{30, 5, 10, 40, 2};
    }

    void equalClips()
    {
        QFETCH(SimulatedRun, run);
        std::optional<double> before;
        int checked = 0;
        run.play([&](double now, const std::optional<double>& left) {
            const double truth = run.totalTime() - now;
            if (now < run.totalTime() / 10 || truth < 2)
                return;
            QVERIFY(left);
            QVERIFY2(std::abs(*left - truth) <= 0.15 * truth,
                     qPrintable(QString::asprintf("at %.1f: %.2f instead of %.2f", now, *left, truth)));
            if (before)
                QVERIFY(std::abs(*left - *before) <= *before / 2);
            before = left;
            ++checked;
        });
        QVERIFY(checked > 20);
    }

    void oneJobTellsItsOwnSpeed()
    {
        RemainingTime remaining({10}, 3);
        remaining.launch(0, 0);
        for (int second = 1; second <= 4; ++second)
            remaining.progress(0, second, second);
        QCOMPARE(remaining.update(4.4).value_or(0), 5.6); // what has passed since the report is no slowness
    }

    void stoppedJobsTellNothingAboutOthers()
    {
        RemainingTime remaining({10, 10, 10, 10}, 1);
        QVERIFY(!remaining.update(0));
        remaining.launch(0, 0);
        remaining.end(0, true, 5);
        remaining.launch(1, 5);
        remaining.end(1, false, 5.1);
        remaining.end(3, false, 5.1); // before its launch
        remaining.launch(2, 5.1);
        QCOMPARE(remaining.update(5.1), std::optional(5.0));
    }

    void oneOutlierMovesTheAnswerByHalfAtMost()
    {
        RemainingTime remaining(QList<double>(20, 10), 1);
        remaining.launch(0, 0);
        remaining.end(0, true, 1);
        const double before = *remaining.update(1);
        remaining.launch(1, 1);
        remaining.end(1, true, 1001);
        QCOMPARE(*remaining.update(1001), before * 1.5);
    }
};

QTEST_APPLESS_MAIN(RemainingTimeTest)
#include "tst_RemainingTime.moc"
