#pragma once

#include "Jobs/JobEnd.h"

#include <QObject>

class QWidget;

/// Hears how each job of a split goes, where SplitCoordinatorDelegate hears the counts. `job` is the job's place in the
/// run, from 0. All reports come on the main thread and before the delegate's; none may run an event loop of its own or
/// release the coordinator.
class SplitJobObserver : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// `log` is the window of its worker.
    virtual void jobDidLaunch(int job, QWidget* log) = 0;
    /// About twice a second for each running job.
    virtual void jobDidProgress(int job, const FFmpegReport& report) = 0;
    /// Once for every job. A stopped job that was not launched yet ends at once; it is counted when its turn comes.
    virtual void jobDidEnd(int job, const JobEnd& end) = 0;
};
