#include "CutLists/ListTimes.h"

#include "CutLists/CutListError.h"
#include "Models/NumberText.h"
#include "Models/Utf8Text.h"

#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr double largestTime = 1e9;

} // namespace

std::optional<double> parseListTime(QStringView text)
{
    const QStringList parts = text.trimmed().toString().replace(u',', u'.').split(u':');
    if (parts.size() > 3)
        return std::nullopt;
    double seconds = 0;
    for (qsizetype i = 0; i < parts.size(); ++i) {
        const bool isWhole = i + 1 < parts.size();
        const auto value = parseDecimal(parts[i]);
        if (!value || !(*value >= 0 && *value < largestTime) || (i > 0 && *value >= 60) ||
            (isWhole && *value != std::floor(*value)))
            return std::nullopt;
        seconds = seconds * 60 + *value;
    }
    return seconds;
}

QString formatListSeconds(double seconds)
{
    return QString::fromLatin1(QByteArray::number(clampedToZero(seconds), 'f', QLocale::FloatingPointShortest));
}

qint64 unitsBefore(double seconds, qint64 perSecond)
{
    // A time that was read from such units comes back a breath below them.
    constexpr double breath = 1e-4;
    return static_cast<qint64>(
        std::floor(clampedToZero(std::min(seconds, largestTime)) * static_cast<double>(perSecond) + breath));
}

std::pair<double, double> wholeMilliseconds(double start, double end)
{
    const qint64 first = unitsBefore(start, 1000);
    return {static_cast<double>(first) / 1000, static_cast<double>(first + unitsBefore(end - start, 1000)) / 1000};
}

QString listText(const QByteArray& bytes)
{
    const QString text = decodedUtf8OrEmpty(bytes);
    if (text.isEmpty())
        throw CutListError(bytes.isEmpty() ? u"文件是空的。"_s : u"文件不是 UTF-8 文本。"_s);
    return text.startsWith(u'\ufeff') ? text.mid(1) : text;
}

PictureRange picturesOf(const CutListItem& item)
{
    if (!item.pictures)
        throw CutListError(u"片段“"_s + item.name + u"”的画面编号未知，无法导出这种列表。"_s);
    return *item.pictures;
}

FrameRate constantRate(const CutList& list, const QString& kind)
{
    if (!list.rate)
        throw CutListError(kind + u" 按画面编号，而这个视频的帧率是变化的。请改用按时间记录的列表，例如 CSV。"_s);
    return *list.rate;
}

QString atLine(qsizetype line, const QString& fault)
{
    return u"第 %1 行："_s.arg(line) + fault;
}
