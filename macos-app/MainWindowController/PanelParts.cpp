#include "MainWindowController/PanelParts.h"

#include "Controls/Appearance.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr int rowSpacing = 8;
constexpr int stackSpacing = 4;
constexpr int tableRowHeight = 34;
constexpr qreal sectionTitleFactor = 1.2;
constexpr qreal hintFactor = 0.9;

QLabel* makeLabel(const QString& text, qreal sizeFactor, bool bold)
{
    auto* label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    QFont font = scaledFont(label->font(), sizeFactor);
    font.setBold(bold);
    label->setFont(font);
    return label;
}

} // namespace

QLabel* makeSectionTitle(const QString& text)
{
    return makeLabel(text, sectionTitleFactor, true);
}

QLabel* makeHintLabel(const QString& text)
{
    QLabel* label = makeLabel(text, hintFactor, false);
    useSecondaryColor(label);
    return label;
}

QLabel* makeFieldLabel(const QString& text, QWidget* control)
{
    QLabel* label = makeLabel(text, 1, false);
    label->setBuddy(control);
    // As high as the control, so that both texts are level when the label stands at the top of its row.
    label->setMinimumHeight(std::max(control->sizeHint().height(), control->minimumHeight()));
    return label;
}

void useSecondaryColor(QLabel* label)
{
    label->setForegroundRole(QPalette::PlaceholderText);
}

QWidget* makeHorizontalRow(const QList<QWidget*>& widgets)
{
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(QMargins());
    layout->setSpacing(rowSpacing);
    for (QWidget* widget : widgets) {
        if (widget)
            layout->addWidget(widget);
        else
            layout->addStretch();
    }
    return row;
}

QWidget* makeVerticalStack(const QList<QWidget*>& widgets)
{
    auto* stack = new QWidget;
    auto* layout = new QVBoxLayout(stack);
    layout->setContentsMargins(QMargins());
    layout->setSpacing(stackSpacing);
    for (QWidget* widget : widgets)
        layout->addWidget(widget);
    return stack;
}

void configureTable(QTableView* table, const QList<int>& columnWidths, int mostWidth)
{
    table->setAlternatingRowColors(true);
    table->setShowGrid(false);
    table->setWordWrap(false);
    table->setCornerButtonEnabled(false);
    table->setTabKeyNavigation(false);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    table->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    table->verticalHeader()->hide();
    table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table->verticalHeader()->setMinimumSectionSize(tableRowHeight);
    table->verticalHeader()->setDefaultSectionSize(tableRowHeight);

    QHeaderView* header = table->horizontalHeader();
    QPalette palette;
    palette.setBrush(QPalette::Window, Qt::transparent); // beside the last column
    header->setPalette(palette);
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    header->setHighlightSections(false);
    header->setSectionsClickable(false);
    header->setMinimumSectionSize(*std::min_element(columnWidths.begin(), columnWidths.end()));
    for (int column = 0; column < columnWidths.size(); ++column)
        header->resizeSection(column, columnWidths.at(column));
    QObject::connect(header, &QHeaderView::sectionResized, header, [=](int column, int /*oldWidth*/, int width) {
        const int held = std::clamp(width, columnWidths.at(column), mostWidth);
        if (held != width)
            header->resizeSection(column, held);
    });
}
