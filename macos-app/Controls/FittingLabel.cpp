#include "Controls/FittingLabel.h"

#include "Controls/PlainToolTip.h"

#include <QAccessibleWidget>
#include <QHelpEvent>
#include <QPainter>
#include <QTextLayout>
#include <QToolTip>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype mostCharactersLaidOut = 4000; // more than the lines can show

QString singleParagraph(QString text)
{
    return text.replace(u'\n', QChar::LineSeparator);
}

/// A screen reader says what the label is about and what it says.
class SpokenLabel final : public QAccessibleWidget
{
public:
    explicit SpokenLabel(QLabel* label)
        : QAccessibleWidget(label, QAccessible::StaticText)
    {}

    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        const auto* label = static_cast<QLabel*>(widget());
        return kind == QAccessible::Name ? label->accessibleName() + u' ' + label->text()
                                         : QAccessibleWidget::text(kind);
    }
};

QAccessibleInterface* makeSpokenLabel(const QString& /*className*/, QObject* object)
{
    auto* label = qobject_cast<FittingLabel*>(object);
    return label ? new SpokenLabel(label) : nullptr; // the accessibility framework owns it
}

} // namespace

FittingLabel::FittingLabel(int mostLines, const QString& text, QWidget* parent)
    : QLabel(text, parent)
    , m_mostLines(mostLines)
{
    QAccessible::installFactory(makeSpokenLabel); // at most once
    setTextFormat(Qt::PlainText);
    setWordWrap(mostLines > 1);
    QSizePolicy policy(QSizePolicy::Ignored, QSizePolicy::Minimum);
    policy.setHeightForWidth(mostLines > 1);
    setSizePolicy(policy);
}

QSize FittingLabel::sizeHint() const
{
    return QSize(0, lineHeight());
}

QSize FittingLabel::minimumSizeHint() const
{
    return sizeHint();
}

bool FittingLabel::hasHeightForWidth() const
{
    return m_mostLines > 1;
}

int FittingLabel::heightForWidth(int width) const
{
    return static_cast<int>(std::max<qsizetype>(1, lines(width).size())) * lineHeight();
}

bool FittingLabel::event(QEvent* event)
{
    if (event->type() != QEvent::ToolTip)
        return QLabel::event(event);
    const QString more = moreToTell ? moreToTell() : QString();
    if (more.isEmpty() && lines(width()).join(QString()) == singleParagraph(text()))
        return QLabel::event(event);
    const QString whole = text().left(mostCharactersLaidOut) + (more.isEmpty() ? QString() : u'\n' + more);
    QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), plainToolTip(whole), this);
    return true;
}

void FittingLabel::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.setPen(palette().color(foregroundRole()));
    const QStringList shown = lines(width());
    const int spacing = lineHeight();
    int top = m_mostLines > 1 ? 0 : (height() - spacing) / 2;
    for (const QString& line : shown) {
        painter.drawText(QRect(0, top, width(), spacing), Qt::AlignVCenter | Qt::TextSingleLine, line);
        top += spacing;
    }
}

/// Chinese characters are higher than the font that is asked for its metrics.
int FittingLabel::lineHeight() const
{
    return fontMetrics().lineSpacing() * 6 / 5;
}

QStringList FittingLabel::lines(int width) const
{
    if (m_mostLines == 1)
        return {fontMetrics().elidedText(singleParagraph(text()), Qt::ElideMiddle, width)};
    const QString whole = singleParagraph(text().left(mostCharactersLaidOut));
    QTextLayout layout(whole, font());
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    QStringList shown;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        if (shown.size() == m_mostLines - 1) {
            shown.append(fontMetrics().elidedText(whole.mid(line.textStart()), Qt::ElideRight, width));
            break;
        }
        shown.append(whole.mid(line.textStart(), line.textLength()));
    }
    layout.endLayout();
    return shown;
}
