#pragma once

#include "AppMain/TerminationSignals.h"

#include <QMessageBox>
#include <QPointer>

class MainWindowController;

/// Stands between the wish to quit and the end of the application. While a split runs, it asks first, and lets go only
/// when every ffmpeg has ended. Without a split it is not noticed.
class QuitGuard final : public QObject
{
    Q_OBJECT
public:
    explicit QuitGuard(MainWindowController& controller);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    [[nodiscard]] bool wouldQuit(QObject* watched, const QEvent* event) const;
    void ask(QWidget* window);
    void stopAndQuit();
    void splitEnded();

    MainWindowController& m_controller;
    TerminationSignals m_signals;
    QPointer<QMessageBox> m_question;
    bool m_isStopping = false;
};
