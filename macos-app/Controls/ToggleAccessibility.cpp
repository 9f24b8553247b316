#include "Controls/ToggleAccessibility.h"

#include <QAccessibleWidget>
#include <QCheckBox>
#include <QRadioButton>

namespace {

class SpokenToggle final : public QAccessibleWidget
{
public:
    SpokenToggle(QAbstractButton* button, QAccessible::Role role)
        : QAccessibleWidget(button, role)
        , m_button(button)
    {}

    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.checkable = true;
        state.checked = m_button->isChecked();
        const auto* box = qobject_cast<QCheckBox*>(m_button);
        state.checkStateMixed = box && box->checkState() == Qt::PartiallyChecked;
        return state;
    }
    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        const QString text = QAccessibleWidget::text(kind);
        return kind == QAccessible::Name && text.isEmpty() ? m_button->text().remove(u'&') : text;
    }
    [[nodiscard]] QStringList actionNames() const override
    {
        return m_button->isEnabled() ? QStringList(toggleAction()) + QAccessibleWidget::actionNames() : QStringList();
    }
    void doAction(const QString& action) override
    {
        if (action == toggleAction())
            m_button->click();
        else
            QAccessibleWidget::doAction(action);
    }

private:
    QAbstractButton* m_button;
};

} // namespace

QAccessibleInterface* speakToggle(const QString& /*className*/, QObject* object)
{
    if (auto* box = qobject_cast<QCheckBox*>(object))
        return new SpokenToggle(box, QAccessible::CheckBox);
    auto* radio = qobject_cast<QRadioButton*>(object);
    return radio ? new SpokenToggle(radio, QAccessible::RadioButton) : nullptr;
}
