#pragma once

#include <QString>

/// A tool tip that shows the text as it is, lines and blanks included: names of files are no markup.
[[nodiscard]] inline QString plainToolTip(const QString& text)
{
    return QStringLiteral("<p style='white-space:pre-wrap'>") + text.toHtmlEscaped();
}
