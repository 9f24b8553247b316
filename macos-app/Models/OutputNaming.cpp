#include "Models/OutputNaming.h"

#include "Models/NumberText.h"

#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool isForbidden(QChar character)
{
    return u"/:\\\n\r\t"_s.contains(character);
}

/// The pieces between forbidden characters joined by "-"; empty when nothing but those and white space stands there.
QString joinedPieces(const QString& text)
{
    const bool hasContent = std::any_of(
        text.begin(), text.end(), [](QChar character) { return !isForbidden(character) && !character.isSpace(); });
    if (!hasContent)
        return QString();
    QString joined;
    bool separatorPending = false;
    for (const QChar character : text) {
        if (isForbidden(character)) {
            separatorPending = !joined.isEmpty();
            continue;
        }
        if (separatorPending)
            joined += u'-';
        separatorPending = false;
        joined += character;
    }
    return joined;
}

} // namespace

QString sanitizePrefix(const QString& rawPrefix, const QString& fallback)
{
    for (const QString& candidate : {joinedPieces(rawPrefix.trimmed()), joinedPieces(fallback)}) {
        if (!candidate.isEmpty())
            return candidate;
    }
    return u"clip"_s;
}

QString makeOutputFileName(const QString& prefix, qint64 index, const QString& pathExtension)
{
    QString name = formatZeroFilled(index, 2);
    if (!prefix.isEmpty())
        name = prefix + u'-' + name;
    if (!pathExtension.isEmpty())
        name += u'.' + pathExtension;
    return name;
}
