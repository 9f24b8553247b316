#pragma once

#include <QObject>

/// Hears how a split goes. All reports come on the main thread; none may run an event loop of its own.
class SplitCoordinatorDelegate : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// The windows are shown, no job is launched yet. Not sent for a run without jobs.
    virtual void splitCoordinatorDidStart(int totalJobs, int workerCount) = 0;
    /// One more job has ended or could not be launched.
    virtual void splitCoordinatorDidUpdate(int completed, int failed, int total) = 0;
    /// Every job has ended. Sent once; the coordinator may be released here.
    virtual void splitCoordinatorDidFinish(int completed, int failed, int total) = 0;
};
