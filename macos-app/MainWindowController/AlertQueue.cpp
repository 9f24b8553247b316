#include "MainWindowController/AlertQueue.h"

#include "Controls/OnScreen.h"
#include "Models/TextExcerpt.h"

#include <QLabel>
#include <QMessageBox>

using namespace Qt::StringLiterals;

namespace {

constexpr int textWidth = 360;

/// What outside programs print is no markup, whatever it looks like; and the short title must not make it narrow.
void showPlainAndWide(QMessageBox* alert, const QString& detail)
{
    alert->setTextFormat(Qt::PlainText);
    alert->setInformativeText(detail);
    if (auto* label = alert->findChild<QLabel*>(u"qt_msgbox_informativelabel"_s)) {
        label->setTextFormat(Qt::PlainText);
        label->setMinimumWidth(textWidth);
    }
}

} // namespace

void AlertQueue::showError(const QString& message)
{
    m_waiting.append(message);
    openNext();
}

void AlertQueue::openNext()
{
    if (!m_window || !m_window->isVisible())
        m_waiting.clear();
    if (m_alert || m_waiting.isEmpty())
        return;
    m_alert = new QMessageBox(QMessageBox::Warning, m_window->windowTitle(), u"操作失败"_s, QMessageBox::Ok, m_window);
    m_alert->setAttribute(Qt::WA_DeleteOnClose);
    m_alert->setWindowModality(Qt::WindowModal);
    m_alert->setTextInteractionFlags(Qt::TextSelectableByMouse);
    showPlainAndWide(m_alert, excerpt(m_waiting.takeFirst()));
    QObject::connect(m_alert, &QMessageBox::finished, m_window, [this] {
        m_alert = nullptr;
        openNext();
    });
    m_alert->open();
    keepOnScreen(m_alert);
}
