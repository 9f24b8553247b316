#pragma once

class QAccessibleInterface;
class QObject;
class QString;

/// For QAccessible::installFactory: what a screen reader finds in a table of a SegmentTableModel. It is what it finds
/// in any QTableView, and the cells have actions (toggle the check box, edit the time), the "✕" is a button in the end
/// cell of a manual row, and changes of a cell are told.
QAccessibleInterface* speakSegmentTable(const QString& className, QObject* object);
