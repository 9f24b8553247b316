#pragma once

#include <QString>

/// A tool tip that shows the text as it is, lines and blanks included: names of files are no markup. Only a text that
/// is too long for a screen is broken elsewhere.
[[nodiscard]] inline QString plainToolTip(const QString& text)
{
    constexpr qsizetype mostUnbroken = 100;
    const QString wrapping = text.size() > mostUnbroken ? QStringLiteral("pre-wrap") : QStringLiteral("pre");
    return QStringLiteral("<p style='white-space:") + wrapping + QStringLiteral("'>") + text.toHtmlEscaped();
}
