#pragma once

#include <QList>
#include <QString>

class QLabel;
class QTableView;
class QWidget;

/// The small parts that the panels of the main window are put together from. Layouts take them.

/// A bold section heading.
[[nodiscard]] QLabel* makeSectionTitle(const QString& text);
/// A small label in the secondary colour.
[[nodiscard]] QLabel* makeHintLabel(const QString& text);
/// The label in the first column of the form, belonging to that control.
[[nodiscard]] QLabel* makeFieldLabel(const QString& text, QWidget* control);
/// Makes a label's text secondary. The colour comes with the palette of the window's content.
void useSecondaryColor(QLabel* label);

/// The widgets side by side; a null pointer is where the spare space goes.
[[nodiscard]] QWidget* makeHorizontalRow(const QList<QWidget*>& widgets);
[[nodiscard]] QWidget* makeVerticalStack(const QList<QWidget*>& widgets);

/// What both tables have in common; the table has its model already. Every column starts at its given width, which is
/// also its least one; the user cannot make it wider than `mostWidth`.
void configureTable(QTableView* table, const QList<int>& columnWidths, int mostWidth);
