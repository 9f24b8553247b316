#include "Models/ShellQuoting.h"

#include <QList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool isSafe(char32_t codePoint)
{
    if (codePoint < 0x80 && u"/._:-"_s.contains(QChar(static_cast<char16_t>(codePoint))))
        return true;
    switch (QChar::category(codePoint)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_SpacingCombining:
    case QChar::Mark_Enclosing:
        return true;
    default:
        return QChar::isLetterOrNumber(codePoint);
    }
}

bool isBareWord(const QString& text)
{
    const QList<uint> codePoints = text.toUcs4();
    return !text.isEmpty() && std::all_of(codePoints.begin(), codePoints.end(), isSafe);
}

QString quotedUnlessBare(QString text, QChar quote, const QString& escapedQuote)
{
    return isBareWord(text) ? text : quote + text.replace(quote, escapedQuote) + quote;
}

} // namespace

QString shellQuoted(const QString& text)
{
    return quotedUnlessBare(text, u'"', uR"(\")"_s);
}

QString shellWord(const QString& text)
{
    return quotedUnlessBare(text, u'\'', uR"('\'')"_s);
}
