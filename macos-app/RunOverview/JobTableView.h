#pragma once

#include <QTableView>

class QAction;

/// The table of jobs. Copying means the command of the row, whether the key or the menu bar asks for it; Home and End
/// mean the first and the last row.
class JobTableView final : public QTableView
{
    Q_OBJECT

public:
    explicit JobTableView(QAction* copyAction)
        : m_copyAction(copyAction)
    {}

public Q_SLOTS:
    void copy();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;

private:
    QAction* m_copyAction;
};
