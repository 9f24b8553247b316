#include "Jobs/RemainingTime.h"

#include <QTest>

#include <cmath>
#include <vector>

namespace {

struct Update
{
    double now;
    std::optional<double> left;
};

/// A run as the coordinator carries it out, on a clock of its own: `jobs` clips of `duration` seconds, each written in
/// `wall` seconds while all lanes are in use, of which the encoder spends the first `delay` without a report. Jobs that
/// share the processors go faster when lanes are empty, and keep them all busy.
struct SimulatedRun
{
    int jobs;
    int lanes;
    double duration;
    double wall;
    double delay;
    bool sharesProcessors;

    /// What was told all the while, the last one at the end of the run.
    [[nodiscard]] std::vector<Update> play() const
    {
        constexpr int processors = 2;
        constexpr double step = 0.01;
        constexpr int stepsBetweenReports = 50;
        RemainingTime remaining(QList<double>(jobs, duration), lanes, processors);
        std::vector<Update> updates;
        std::vector<double> done(std::size_t(jobs), 0); // seconds of `wall`
        int launched = 0;
        int ended = 0;
        for (int steps = 0; ended < jobs; ++steps) {
            const double now = steps * step;
            for (; launched < std::min(jobs, ended + lanes); ++launched)
                remaining.launch(launched, now);
            const bool isReporting = steps % stepsBetweenReports == 0;
            const int running = launched - ended;
            for (int job = ended; job < launched; ++job) { // equal jobs end in their order
                double& time = done[std::size_t(job)];
                time += sharesProcessors ? step * lanes / running : step;
                if (time >= wall) {
                    remaining.end(job, true, sharesProcessors ? wall * processors / lanes : 0, now);
                    ++ended;
                } else if (isReporting) {
                    remaining.progress(job, std::max(0.0, time - delay) / wall * duration, now);
                }
            }
            if (isReporting || ended == jobs)
                updates.push_back({now, remaining.update(now)});
        }
        return updates;
    }
};

} // namespace

class RemainingTimeTest final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void equalClips()
    {
        for (const SimulatedRun& run : {SimulatedRun{30, 3, 6, 5, 1, false},
                                        {30, 1, 20, 4, 0.5, true},
                                        {30, 4, 10, 20, 2, false},
                                        {30, 12, 30, 40, 2, true}})
            verify(run.play());
    }

    void oneJobTellsItsOwnSpeed()
    {
        RemainingTime remaining({10}, 3, 2);
        remaining.launch(0, 0);
        for (int second = 1; second <= 4; ++second)
            remaining.progress(0, second, second);
        QCOMPARE(remaining.update(4.4).value_or(0), 5.6); // what has passed since the report is no slowness
    }

    void stoppedJobsTellNothingAboutOthers()
    {
        RemainingTime remaining({10, 10, 10, 10}, 1, 2);
        QVERIFY(!remaining.update(0));
        remaining.launch(0, 0);
        remaining.end(0, true, 0, 5);
        remaining.launch(1, 5);
        remaining.end(1, false, 0, 5.1);
        remaining.end(3, false, 0, 5.1); // before its launch
        remaining.launch(2, 5.1);
        QCOMPARE(remaining.update(5.1), std::optional(5.0));
    }

    void aMachineThatGotSlowerIsBelieved()
    {
        constexpr int jobs = 60;
        RemainingTime remaining(QList<double>(jobs, 10), 1, 2);
        double now = 0;
        double left = 0;
        for (int job = 0; job < jobs / 2; ++job) {
            remaining.launch(job, now);
            now += job < jobs / 3 ? 2 : 4;
            remaining.end(job, true, 0, now);
            left = remaining.update(now).value_or(0);
        }
        const double truth = 4.0 * jobs / 2;
        QVERIFY(left > 0.85 * truth); // 0.67, if all jobs counted alike
    }

    void oneOutlierMovesTheAnswerByHalfAtMost()
    {
        RemainingTime remaining(QList<double>(20, 10), 1, 2);
        remaining.launch(0, 0);
        remaining.end(0, true, 0, 1);
        const double before = *remaining.update(1);
        remaining.launch(1, 1);
        remaining.end(1, true, 0, 1001);
        QCOMPARE(*remaining.update(1001), before * 1.5);
    }

private:
    static void verify(const std::vector<Update>& updates)
    {
        const double end = updates.back().now;
        std::optional<double> before;
        int checked = 0;
        for (const auto& [now, left] : updates) {
            const double truth = end - now;
            if (now < end / 10 || truth < 2)
                continue;
            QVERIFY(left);
            QVERIFY2(std::abs(*left - truth) <= 0.15 * truth,
                     qPrintable(QString::asprintf("at %.1f: %.2f instead of %.2f", now, *left, truth)));
            if (before)
                QVERIFY(std::abs(*left - *before) <= *before / 2);
            before = left;
            ++checked;
        }
        QVERIFY(checked > 20);
    }
};

QTEST_APPLESS_MAIN(RemainingTimeTest)
#include "tst_RemainingTime.moc"
