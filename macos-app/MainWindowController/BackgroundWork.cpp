#include "MainWindowController/BackgroundWork.h"

#include "Services/MessageError.h"

#include <QCoreApplication>
#include <QPointer>

BackgroundWork::BackgroundWork()
{
    m_thread.setMaxThreadCount(1);
}

BackgroundWork::~BackgroundWork()
{
    m_thread.waitForDone();
}

void BackgroundWork::run(const std::function<Then()>& work, const std::function<void(const QString&)>& onFailure)
{
    m_thread.start([guarded = QPointer(this), work, onFailure] {
        Then then;
        try {
            then = work();
        } catch (const std::exception& error) {
            then = [onFailure, reason = errorDescription(error)] { onFailure(reason); };
        }
        QMetaObject::invokeMethod(
            qApp,
            [guarded, then, onFailure] {
                try {
                    if (guarded)
                        then();
                } catch (const std::exception& error) {
                    onFailure(errorDescription(error));
                }
            },
            Qt::QueuedConnection);
    });
}
