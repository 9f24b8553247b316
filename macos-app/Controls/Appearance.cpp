#include "Controls/Appearance.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QLineEdit>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr int monospacedPixelSize = 12;
constexpr qreal readableContrast = 4.5;

/// In pixels, how far the middle of letters, of Chinese and of Latin ones taken together, lies above that of the line.
int letterRise(const QFont& font)
{
    const QFontMetricsF metrics(font);
    const qreal lineMiddle = (metrics.descent() - metrics.ascent()) / 2; // from the base line downwards
    const qreal lettersMiddle =
        (metrics.tightBoundingRect(u"国"_s).center().y() + metrics.tightBoundingRect(u"H"_s).center().y()) / 2;
    return static_cast<int>(std::lround(lineMiddle - lettersMiddle));
}

qreal relativeLuminance(const QColor& color)
{
    const auto linear = [](qreal part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

} // namespace

QColor separatorColor(const QPalette& palette, qreal alpha)
{
    QColor color = palette.color(QPalette::WindowText);
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

QColor secondaryTextColor(const QPalette& palette)
{
    const QColor base = palette.color(QPalette::Base);
    QColor text = palette.color(QPalette::Text);
    text.setAlphaF(0.65F);
    return composed(text, base);
}

QColor systemGreen()
{
    return QColor(52, 199, 89);
}

QColor systemRed()
{
    return QColor(255, 59, 48);
}

QColor systemOrange()
{
    return QColor(255, 149, 0);
}

QColor readableAgainst(QColor color, const QColor& neighbour)
{
    constexpr qreal middleLuminance = 0.18; // black and white differ from it by about the same ratio
    constexpr int mostSteps = 60;
    const bool darken = relativeLuminance(neighbour) > middleLuminance;
    for (int step = 0; step < mostSteps && contrastRatio(color, neighbour) < readableContrast; ++step)
        color = darken ? color.darker(105) : color.lighter(105);
    return color;
}

QColor composed(const QColor& over, const QColor& under)
{
    const float alpha = over.alphaF();
    const auto mix = [alpha](float top, float bottom) { return top * alpha + bottom * (1 - alpha); };
    return QColor::fromRgbF(mix(over.redF(), under.redF()), mix(over.greenF(), under.greenF()),
                            mix(over.blueF(), under.blueF()));
}

qreal contrastRatio(const QColor& first, const QColor& second)
{
    const auto [darker, lighter] = std::minmax({relativeLuminance(first), relativeLuminance(second)});
    return (lighter + 0.05) / (darker + 0.05);
}

QFont monospacedFont()
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(monospacedPixelSize);
    return font;
}

QFont scaledFont(QFont font, qreal factor)
{
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * factor);
    else
        font.setPixelSize(static_cast<int>(std::lround(font.pixelSize() * factor)));
    return font;
}

void centerMixedText(QLineEdit* field)
{
    const QMargins forPlaceholder = field->textMargins(); // which is centred as labels are
    const int rise = letterRise(field->font());
    QObject::connect(field, &QLineEdit::textChanged, field, [=](const QString& text) {
        field->setTextMargins(text.isEmpty() ? forPlaceholder : forPlaceholder + QMargins(0, rise, 0, -rise));
    });
}
