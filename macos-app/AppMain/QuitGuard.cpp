#include "AppMain/QuitGuard.h"

#include "Controls/OnScreen.h"
#include "MainWindowController/RunningSplit.h"

#include <QApplication>
#include <QEvent>
#include <QPushButton>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

bool isOpenWindow(const QWidget* widget)
{
    return widget->isVisible() && widget->windowType() == Qt::Window && widget->testAttribute(Qt::WA_QuitOnClose);
}

bool isLastWindow(const QWidget* window)
{
    const QWidgetList widgets = QApplication::topLevelWidgets();
    return isOpenWindow(window) && std::none_of(widgets.begin(), widgets.end(), [window](const QWidget* other) {
               return other != window && isOpenWindow(other);
           });
}

} // namespace

QuitGuard::QuitGuard(RunningSplit& split, QWidget* mainWindow)
    : m_split(split)
    , m_mainWindow(mainWindow)
{
    m_signals.onSignal = [this](int) { stopAndQuit(); };
    connect(&split, &RunningSplit::ended, this, &QuitGuard::splitEnded);
    qApp->installEventFilter(this);
}

bool QuitGuard::eventFilter(QObject* watched, QEvent* event)
{
    if (!wouldQuit(watched, event) || !m_split.isRunning())
        return QObject::eventFilter(watched, event);
    event->ignore();
    if (!m_isStopping)
        ask(windowForQuestion(watched));
    return true;
}

/// The menu, the platform and the closing of the last window all end in Qt's quit event; but by then a last window is
/// gone, so its closing counts already.
bool QuitGuard::wouldQuit(QObject* watched, const QEvent* event) const
{
    if (event->type() == QEvent::Quit)
        return watched == qApp;
    return event->type() == QEvent::Close && watched->isWidgetType() && isLastWindow(static_cast<QWidget*>(watched));
}

/// The main window, else the one that is being closed or is in use, else any that is open.
QWidget* QuitGuard::windowForQuestion(QObject* watched) const
{
    if (m_mainWindow && isOpenWindow(m_mainWindow))
        return m_mainWindow;
    if (watched->isWidgetType())
        return static_cast<QWidget*>(watched);
    if (QWidget* active = QApplication::activeWindow(); active && isOpenWindow(active))
        return active;
    const QWidgetList widgets = QApplication::topLevelWidgets();
    const auto open = std::find_if(widgets.begin(), widgets.end(), isOpenWindow);
    return open == widgets.end() ? nullptr : *open;
}

void QuitGuard::ask(QWidget* window)
{
    if (m_question) {
        m_question->raise();
        m_question->activateWindow();
        return;
    }
    m_question = new QMessageBox(QMessageBox::Question, u"Kestrel"_s, u"分解仍在进行"_s, QMessageBox::NoButton, window);
    m_question->setAttribute(Qt::WA_DeleteOnClose);
    m_question->setWindowModality(Qt::WindowModal);
    m_question->setInformativeText(
        u"还有 %1 个任务没有完成。退出会停止它们，并删除未完成的输出文件。"_s.arg(m_split.unfinishedJobs()));
    QPushButton* goOn = m_question->addButton(u"继续分解"_s, QMessageBox::RejectRole);
    const QPushButton* stop = m_question->addButton(u"停止并退出"_s, QMessageBox::DestructiveRole);
    m_question->setDefaultButton(goOn);
    m_question->setEscapeButton(goOn);
    connect(stop, &QPushButton::clicked, this, &QuitGuard::stopAndQuit);
    m_question->open();
    keepOnScreen(m_question);
}

void QuitGuard::stopAndQuit()
{
    if (std::exchange(m_isStopping, true))
        return;
    if (m_split.isRunning())
        m_split.stopForQuitting();
    else
        QCoreApplication::exit(0);
}

void QuitGuard::splitEnded()
{
    if (m_isStopping)
        QCoreApplication::exit(0);
    else if (m_question)
        m_question->close(); // there is nothing left to stop; the result is to be seen first
}
