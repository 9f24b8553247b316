#include "MainWindowController/EditReapplication.h"

#include "Models/EditReapplying.h"

#include <QAction>
#include <QTableView>

using namespace Qt::StringLiterals;

EditReapplication::EditReapplication(SegmentListEditor& list, const QList<QTableView*>& tables)
    : m_list(list)
    , m_action(new QAction(tables.first()))
{
    m_action->setObjectName(u"reapplyEditsAction"_s);
    for (QTableView* table : tables)
        table->addAction(m_action);
    m_action->setVisible(false);
    connect(m_action, &QAction::triggered, this, &EditReapplication::reapply);
    connect(&list, &SegmentListEditor::replaced, this, [this] { m_action->setVisible(false); });
}

bool EditReapplication::offer(const SegmentList& before)
{
    if (editCount(before) > 0) // a list that was only parsed leaves the offer as it was
        m_edited = before;
    if (!m_edited || m_edited->videoURL != m_list.list().videoURL)
        return false;
    const ReappliedEdits edits = reapplyEdits(m_list.list(), *m_edited);
    if (edits.count == 0)
        return false;
    m_action->setText(u"重新应用 %1 处修改"_s.arg(edits.count));
    m_action->setVisible(true);
    return true;
}

void EditReapplication::reapply()
{
    const auto edited = std::exchange(m_edited, std::nullopt);
    if (!edited)
        return;
    ReappliedEdits edits;
    std::ignore = m_list.edit(u"重新应用修改"_s, [&](SegmentList& list) {
        edits = reapplyEdits(list, *edited);
        list = edits.list;
        return std::nullopt;
    });
    m_action->setVisible(false);
    QString status = u"已重新应用 %1 处修改。"_s.arg(edits.count);
    if (!edits.withoutPartner.isEmpty())
        status += u"没有对应的：%1。"_s.arg(edits.withoutPartner.join(u"、"_s));
    Q_EMIT told(status);
}
