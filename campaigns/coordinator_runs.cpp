// Random splits whose jobs only pretend to run: coordinator_runs COUNT [FIRST-SEED]
// Each is stopped, released or left alone at some moment; whatever happens, every job is counted once.

#include "Services/ProcessLaunching.h"
#include "SplitCoordinator/SplitCoordinator.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QSet>

#include <cstdio>

namespace {

/// What the workers of the current run do, and what they have done.
struct Simulation
{
    explicit Simulation(quint32 number)
        : seed(number)
        , random(number)
    {}

    void require(bool condition, const char* promise) const
    {
        if (!condition)
            qFatal("seed %u: %s", seed, promise);
    }
    [[nodiscard]] bool chance(int percent) { return random.bounded(100) < percent; }

    const quint32 seed;
    QRandomGenerator random;
    QSet<const WorkerRunner*> running;
    QSet<const WorkerRunner*> stopped;
    int launches = 0; ///< also those that failed
    int successes = 0;
    bool mayLaunch = true;
};

Simulation* simulation = nullptr;

/// Lets some turns of the event loop go by, so that the workers end in any order.
void afterTurns(int turns, QObject* context, const std::function<void()>& act)
{
    const auto next = [=] {
        if (turns > 0)
            afterTurns(turns - 1, context, act);
        else
            act();
    };
    QMetaObject::invokeMethod(context, next, Qt::QueuedConnection);
}

} // namespace

// The linker takes these in place of the workers that start ffmpeg.

WorkerRunner::WorkerRunner(int workerIndex, int totalWorkers, const RuntimeConfiguration& runtime)
    : m_windowController(workerIndex, totalWorkers)
    , m_runtime(runtime)
{}

void WorkerRunner::run(const FFmpegJob&, int position, int)
{
    simulation->require(simulation->mayLaunch, "no job starts after a stop or without its coordinator");
    simulation->require(!simulation->running.contains(this), "a worker runs one job at a time");
    simulation->require(position == ++simulation->launches, "jobs start in their order, each once");
    if (simulation->chance(15))
        throw ProcessLaunchError(QStringLiteral("simulated"));
    simulation->running.insert(this);
    afterTurns(simulation->random.bounded(6), this, [this] {
        simulation->running.remove(this);
        const bool success = simulation->chance(simulation->stopped.contains(this) ? 10 : 70);
        simulation->successes += success ? 1 : 0;
        finish(JobEnd{success ? JobOutcome::completed : JobOutcome::failed, {}, {}});
    });
}

void WorkerRunner::finish(const JobEnd& end)
{
    m_end = end;
    if (const auto notify = onCompletion)
        notify(end.succeeded());
}

void WorkerRunner::stop()
{
    simulation->stopped.insert(this);
}

namespace {

/// One split from its start to its finish or its release.
class Run final : public SplitCoordinatorDelegate
{
public:
    Run()
        : m_jobs(simulation->chance(5) ? 0 : simulation->random.bounded(1, 25))
        , m_concurrency(simulation->random.bounded(-3, 13))
    {
        m_coordinator =
            std::make_shared<SplitCoordinator>(QList<FFmpegJob>(m_jobs), m_concurrency, RuntimeConfiguration());
        m_coordinator->delegate = this;
    }

    void toItsEnd()
    {
        m_coordinator->start();
        while (m_coordinator && m_finishes == 0) {
            QCoreApplication::processEvents();
            act(4);
            if (m_coordinator && simulation->chance(1))
                release();
        }
        QCoreApplication::processEvents(); // nothing may come after the end
        simulation->require(m_finishes == 1 || m_wasReleased, "a split finishes once");
    }

    void splitCoordinatorDidStart(int totalJobs, int workerCount) override
    {
        simulation->require(m_starts++ == 0 && m_updates == 0, "a split starts once");
        simulation->require(totalJobs == m_jobs && workerCount == std::max(1, std::min(m_concurrency, m_jobs)),
                            "the start tells the numbers");
        act(2);
    }

    void splitCoordinatorDidUpdate(int completed, int failed, int total) override
    {
        ++m_updates;
        simulation->require(m_starts == 1 && m_finishes == 0 && !m_wasReleased, "updates lie between start and finish");
        simulation->require(completed + failed == m_updates && total == m_jobs, "each update counts one more job");
        simulation->require(completed == simulation->successes, "a job counts as what it was");
        simulation->require(m_coordinator->unfinishedJobs() == m_jobs - m_updates, "the rest is unfinished");
        act(5);
    }

    void splitCoordinatorDidFinish(int completed, int failed, int total) override
    {
        simulation->require(++m_finishes == 1 && !m_wasReleased, "a split finishes once");
        simulation->require(completed + failed == total && total == m_jobs && m_updates == m_jobs,
                            "completed and failed are the total");
        simulation->require(completed == simulation->successes, "a job counts as what it was");
        simulation->require(simulation->running.isEmpty(), "nothing runs at the finish");
        if (simulation->chance(70))
            m_coordinator.reset();
    }

private:
    void act(int percent)
    {
        if (!m_coordinator || !simulation->chance(percent))
            return;
        simulation->mayLaunch = false;
        m_coordinator->stopAll();
    }

    void release()
    {
        simulation->mayLaunch = false;
        m_wasReleased = true;
        m_coordinator.reset();
    }

    const int m_jobs;
    const int m_concurrency;
    std::shared_ptr<SplitCoordinator> m_coordinator;
    int m_starts = 0;
    int m_updates = 0;
    int m_finishes = 0;
    bool m_wasReleased = false;
};

void closeWorkerWindows()
{
    for (QWidget* window : QApplication::topLevelWidgets())
        window->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace

int main(int argc, char* argv[])
{
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    if (argc < 2)
        qFatal("usage: %s COUNT [FIRST-SEED]", argv[0]);
    const quint32 count = QByteArray(argv[1]).toUInt();
    const quint32 firstSeed = argc > 2 ? QByteArray(argv[2]).toUInt() : 1;
    QElapsedTimer time;
    time.start();
    int jobs = 0;
    int successes = 0;
    for (quint32 number = 0; number < count; ++number) {
        Simulation current(firstSeed + number);
        simulation = &current;
        Run().toItsEnd();
        closeWorkerWindows();
        jobs += current.launches;
        successes += current.successes;
    }
    std::printf("%u runs, %d jobs started, %d of them succeeded, %.1f s\n", count, jobs, successes,
                static_cast<double>(time.elapsed()) / 1000);
}
