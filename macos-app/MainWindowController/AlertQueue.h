#pragma once

#include <QPointer>
#include <QStringList>

class QMessageBox;
class QWidget;

/// Shows the errors of one window, each in an alert of its own, one after the other in the order in which they came.
/// Once the window was closed nobody is bothered any more.
class AlertQueue final
{
public:
    explicit AlertQueue(QWidget* window)
        : m_window(window)
    {}

    /// Returns at once. A message of any length is shown, a very long one without its middle.
    void showError(const QString& message);

private:
    void openNext();

    QPointer<QWidget> m_window;
    QPointer<QMessageBox> m_alert;
    QStringList m_waiting;
};
