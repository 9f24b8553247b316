#include "RunOverview/JobListOrder.h"

#include "RunOverview/JobTableModel.h"

JobListOrder::JobListOrder(QAbstractItemModel* jobs)
{
    setSourceModel(jobs);
    setSortRole(JobTableModel::sortRole);
}

void JobListOrder::setProblemsOnly(bool problemsOnly)
{
    m_problemsOnly = problemsOnly;
    invalidateFilter();
}

bool JobListOrder::filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const
{
    const QModelIndex index = sourceModel()->index(sourceRow, JobTableModel::stateColumn, sourceParent);
    const auto state = static_cast<JobState>(index.data(JobTableModel::stateRole).toInt());
    return !m_problemsOnly || state == JobState::failed || state == JobState::doubtful;
}
