#include "CutLists/CsvText.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString csvField(const QString& text)
{
    const auto needsQuotes = [](QChar c) { return u",;\t\"\r\n"_s.contains(c); };
    const bool isPadded = text.startsWith(u' ') || text.endsWith(u' ');
    if (!isPadded && std::none_of(text.begin(), text.end(), needsQuotes))
        return text;
    return u'"' + QString(text).replace(u'"', u"\"\""_s) + u'"';
}

/// The separator that the first record uses; a comma before its first semicolon may be a decimal one.
QChar separatorOf(QStringView text)
{
    bool isQuoted = false;
    qsizetype commas = 0;
    for (const QChar c : text) {
        if (c == u'"')
            isQuoted = !isQuoted;
        if (isQuoted)
            continue;
        if (c == u'\n' || c == u'\r')
            break;
        if (c == u'\t' || (c == u';' && commas <= 1))
            return c;
        commas += c == u',';
    }
    return u',';
}

} // namespace

QString csvRecord(const QStringList& fields)
{
    QStringList texts;
    for (const QString& field : fields)
        texts.append(csvField(field));
    return texts.join(u',') + u"\r\n"_s;
}

QList<CsvRow> csvRows(QStringView text)
{
    if (text.startsWith(u'\ufeff'))
        text = text.mid(1);
    const QChar separator = separatorOf(text);
    QList<CsvRow> rows;
    CsvRow row;
    QString field;
    qsizetype line = 1;
    bool isQuoted = false;
    bool hadQuotes = false;
    const auto endField = [&] {
        row.fields.append(hadQuotes ? field : field.trimmed());
        field.clear();
        hadQuotes = false;
    };
    const auto endRow = [&] {
        endField();
        if (row.fields.size() > 1 || !row.fields.first().isEmpty())
            rows.append(row);
        row = {line, {}};
    };
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        const bool endsLine = c == u'\n' || (c == u'\r' && (i + 1 == text.size() || text[i + 1] != u'\n'));
        line += endsLine;
        if (isQuoted) {
            if (c != u'"')
                field += c;
            else if (i + 1 < text.size() && text[i + 1] == u'"')
                field += text[++i];
            else
                isQuoted = false;
        } else if (c == u'"' && field.trimmed().isEmpty() && !hadQuotes) {
            field.clear();
            isQuoted = hadQuotes = true;
        } else if (c == separator) {
            endField();
        } else if (endsLine) {
            endRow();
        } else if (!(hadQuotes && c.isSpace()) && c != u'\r') {
            field += c;
        }
    }
    endRow();
    return rows;
}
