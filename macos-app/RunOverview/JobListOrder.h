#pragma once

#include <QSortFilterProxyModel>

/// The order in which the jobs are shown, by default that of the list, and whether all of them are.
class JobListOrder final : public QSortFilterProxyModel
{
public:
    explicit JobListOrder(QAbstractItemModel* jobs);

    void setProblemsOnly(bool problemsOnly);

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;

private:
    bool m_problemsOnly = false;
};
