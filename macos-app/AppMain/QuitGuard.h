#pragma once

#include "Services/TerminationSignals.h"

#include <QMessageBox>
#include <QPointer>

class RunningSplit;

/// Stands between the wish to quit and the end of the application. While a split runs, it asks first, and lets go only
/// when every ffmpeg has ended. Without a split it is not noticed.
class QuitGuard final : public QObject
{
    Q_OBJECT
public:
    /// Asks in `mainWindow` when that is open.
    QuitGuard(RunningSplit& split, QWidget* mainWindow);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    [[nodiscard]] bool wouldQuit(QObject* watched, const QEvent* event) const;
    [[nodiscard]] QWidget* windowForQuestion(QObject* watched) const;
    void ask(QWidget* window);
    void stopAndQuit();
    void splitEnded();

    RunningSplit& m_split;
    const QPointer<QWidget> m_mainWindow;
    TerminationSignals m_signals;
    QPointer<QMessageBox> m_question;
    bool m_isStopping = false;
};
