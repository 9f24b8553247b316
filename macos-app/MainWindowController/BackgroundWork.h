#pragma once

#include <QObject>
#include <QThreadPool>

#include <functional>

/// Work on values in another thread, one piece after another, so that the window never stands still for it. Ending the
/// object waits for what has begun; nothing follows it then.
class BackgroundWork final : public QObject
{
public:
    /// What is to be done in the main thread when the work is done.
    using Then = std::function<void()>;

    BackgroundWork();
    ~BackgroundWork() override;

    /// `work` touches nothing but what it holds. When it throws, `onFailure` is called with the reason, in the main
    /// thread, and so it is when what follows throws.
    void run(const std::function<Then()>& work, const std::function<void(const QString& reason)>& onFailure);

private:
    QThreadPool m_thread;
};
