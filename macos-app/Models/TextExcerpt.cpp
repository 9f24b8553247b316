#include "Models/TextExcerpt.h"

#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype mostLines = 24;
constexpr qsizetype mostCharacters = 2000;
// The end gets more of that, because programs put their conclusion last. The difference is the word between them.
constexpr qsizetype mostFirstLines = 6;
constexpr qsizetype mostFirstCharacters = 480;
constexpr qsizetype mostLastLines = 17;
constexpr qsizetype mostLastCharacters = 1480;

/// How many of these lines may be shown.
template<typename Lines>
qsizetype fitting(const Lines& begin, const Lines& end, qsizetype lineLimit, qsizetype characterLimit)
{
    qsizetype lines = 0;
    qsizetype characters = 0;
    for (auto line = begin; line != end && lines < lineLimit; ++line, ++lines) {
        characters += line->size() + 1;
        if (characters > characterLimit)
            break;
    }
    return lines;
}

} // namespace

QString excerpt(const QString& text)
{
    const qsizetype lines = text.count(u'\n') + 1;
    return lines <= mostLines && text.size() <= mostCharacters ? text : excerpt(text, text, lines);
}

QString excerpt(const QString& beginning, const QString& end, qint64 lineCount)
{
    const QStringList head = beginning.split(u'\n');
    const QStringList tail = end.split(u'\n');
    const qsizetype first = fitting(head.begin(), head.end(), mostFirstLines, mostFirstCharacters);
    const qsizetype last = fitting(tail.rbegin(), tail.rend(), mostLastLines, mostLastCharacters);
    // Not even one line fits: a piece of it.
    const QString firstText = first > 0 ? head.first(first).join(u'\n') : beginning.left(mostFirstCharacters);
    const QString lastText = last > 0 ? tail.last(last).join(u'\n') : end.right(mostLastCharacters);
    const qint64 leftOut = lineCount - std::max<qsizetype>(first, 1) - std::max<qsizetype>(last, 1);
    const QString between = leftOut > 0 ? u"……（省略 %1 行）……"_s.arg(leftOut) : u"……（省略中间部分）……"_s;
    return firstText + u'\n' + between + u'\n' + lastText;
}
