#include "CutLists/CsvLists.h"

#include "CutLists/CsvText.h"
#include "CutLists/CutListError.h"
#include "CutLists/ListTimes.h"
#include "Models/NumberText.h"
#include "Models/TimeText.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

double requiredTime(const CsvRow& row, qsizetype column)
{
    const auto seconds = parseListTime(row.fields.value(column));
    if (!seconds)
        throw CutListError(atLine(row.line, u"“"_s + row.fields.value(column) + u"”不是时间。"_s));
    return *seconds;
}

/// A copy of the video's description without clips.
CutList emptyList(const CutList& video)
{
    CutList list = video;
    list.items.clear();
    return list;
}

void append(CutList& list, const CsvRow& row, CutListItem item)
{
    if (!(item.end > item.start))
        throw CutListError(atLine(row.line, u"结束时间必须大于开始时间。"_s));
    list.items.append(std::move(item));
}

qsizetype columnOf(const CsvRow& headings, const QStringList& names)
{
    for (qsizetype i = 0; i < headings.fields.size(); ++i) {
        if (names.contains(headings.fields[i].toLower()))
            return i;
    }
    return -1;
}

/// Hours, minutes, seconds and milliseconds of a picture's time, rounded down.
QString sceneTimecode(double seconds)
{
    return formatShownTime(static_cast<double>(unitsBefore(seconds, 1000)) / 1000);
}

/// A difference of times without what their last bits leave behind.
double roundedToNanoseconds(double seconds)
{
    return std::round(seconds * 1e9) / 1e9;
}

double secondsAt(qint64 picture, const FrameRate& rate)
{
    return static_cast<double>(picture) * static_cast<double>(rate.denominator) / static_cast<double>(rate.numerator);
}

} // namespace

QByteArray writeLosslessCutCsv(const CutList& list)
{
    QString text;
    for (const CutListItem& item : list.items)
        text += csvRecord({formatListSeconds(item.start), formatListSeconds(item.end), item.name});
    return text.toUtf8();
}

CutList readLosslessCutCsv(const QByteArray& bytes, const CutList& video)
{
    CutList list = emptyList(video);
    for (const CsvRow& row : csvRows(listText(bytes))) {
        const double start = row.fields.value(0).isEmpty() ? 0 : requiredTime(row, 0);
        const double end = row.fields.value(1).isEmpty() ? video.duration : requiredTime(row, 1);
        append(list, row, {row.fields.value(2), start, end, true, {}, {}});
    }
    return list;
}

QByteArray writeSceneCsv(const CutList& list)
{
    QStringList cuts = {u"Timecode List:"_s};
    QString rows;
    qint64 number = 0;
    for (const CutListItem& item : list.items) {
        const PictureRange range = picturesOf(item);
        const double start = list.rate ? secondsAt(range.first, *list.rate) : item.start;
        const double end = list.rate ? secondsAt(range.end, *list.rate) : item.end;
        if (number > 0)
            cuts.append(sceneTimecode(start));
        rows +=
            csvRecord({QString::number(++number), QString::number(range.first + 1), sceneTimecode(start),
                       formatFixed(static_cast<double>(unitsBefore(start, 1000)) / 1000, 3), QString::number(range.end),
                       sceneTimecode(end), formatFixed(static_cast<double>(unitsBefore(end, 1000)) / 1000, 3),
                       QString::number(range.count()), sceneTimecode(end - start), formatFixed(end - start, 3)});
    }
    const QString headings =
        csvRecord({u"Scene Number"_s, u"Start Frame"_s, u"Start Timecode"_s, u"Start Time (seconds)"_s, u"End Frame"_s,
                   u"End Timecode"_s, u"End Time (seconds)"_s, u"Length (frames)"_s, u"Length (timecode)"_s,
                   u"Length (seconds)"_s});
    return (csvRecord(cuts) + headings + rows).toUtf8();
}

CutList readSceneCsv(const QByteArray& bytes, const CutList& video)
{
    CutList list = emptyList(video);
    QList<CsvRow> rows = csvRows(listText(bytes));
    if (!rows.isEmpty() && columnOf(rows.first(), {u"scene number"_s}) < 0)
        rows.removeFirst();
    if (rows.isEmpty() || columnOf(rows.first(), {u"scene number"_s}) < 0)
        throw CutListError(u"不是场景列表：缺少标题行“Scene Number”。"_s);
    const CsvRow headings = rows.takeFirst();
    const qsizetype startFrame = columnOf(headings, {u"start frame"_s});
    const qsizetype endFrame = columnOf(headings, {u"end frame"_s});
    const qsizetype start = columnOf(headings, {u"start time (seconds)"_s});
    const qsizetype end = columnOf(headings, {u"end time (seconds)"_s});
    if (start < 0 || end < 0)
        throw CutListError(u"不是场景列表：缺少时间列。"_s);
    for (const CsvRow& row : rows) {
        CutListItem item{{}, requiredTime(row, start), requiredTime(row, end), true, {}, {}};
        const auto first = startFrame < 0 ? std::nullopt : parseInteger(row.fields.value(startFrame));
        const auto last = endFrame < 0 ? std::nullopt : parseInteger(row.fields.value(endFrame));
        if (first && last && *first > 0 && *last >= *first && video.pictureCount > 0)
            item.pictures = PictureRange{*first - 1, *last};
        append(list, row, item);
    }
    return list;
}

QByteArray writePlainCsv(const CutList& list)
{
    QString text =
        csvRecord({u"number"_s, u"name"_s, u"start"_s, u"end"_s, u"length"_s, u"enabled"_s, u"transition"_s});
    qint64 number = 0;
    for (const CutListItem& item : list.items)
        text += csvRecord({QString::number(++number), item.name, formatListSeconds(item.start),
                           formatListSeconds(item.end), formatListSeconds(roundedToNanoseconds(item.end - item.start)),
                           item.isEnabled ? u"1"_s : u"0"_s, item.transitionBefore});
    return text.toUtf8();
}

CutList readPlainCsv(const QByteArray& bytes, const CutList& video)
{
    CutList list = emptyList(video);
    QList<CsvRow> rows = csvRows(listText(bytes));
    qsizetype start = 0;
    qsizetype end = 1;
    qsizetype name = 2;
    qsizetype enabled = -1;
    qsizetype transition = -1;
    if (!rows.isEmpty() && columnOf(rows.first(), {u"start"_s, u"开始时间"_s}) >= 0) {
        const CsvRow headings = rows.takeFirst();
        start = columnOf(headings, {u"start"_s, u"开始时间"_s});
        end = columnOf(headings, {u"end"_s, u"结束时间"_s});
        name = columnOf(headings, {u"name"_s, u"label"_s, u"名称"_s});
        enabled = columnOf(headings, {u"enabled"_s, u"启用"_s});
        transition = columnOf(headings, {u"transition"_s});
        if (end < 0)
            throw CutListError(atLine(headings.line, u"缺少结束时间一列。"_s));
    }
    for (const CsvRow& row : rows) {
        const QString isEnabled = enabled < 0 ? u"1"_s : row.fields.value(enabled).toLower();
        append(list, row,
               {name < 0 ? QString() : row.fields.value(name),
                requiredTime(row, start),
                requiredTime(row, end),
                isEnabled != u"0" && isEnabled != u"false",
                transition < 0 ? QString() : row.fields.value(transition),
                {}});
    }
    return list;
}
