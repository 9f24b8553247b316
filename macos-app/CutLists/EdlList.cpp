#include "CutLists/EdlList.h"

#include "CutLists/CutListError.h"
#include "CutLists/ListTimes.h"
#include "CutLists/Timecode.h"
#include "Models/NumberText.h"

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype mostEvents = 999;
constexpr qsizetype reelLength = 8;

/// A text on one line of plain characters.
QString singleLine(QString text)
{
    for (QChar& c : text) {
        if (c.category() == QChar::Other_Control || c == QChar::LineSeparator || c == QChar::ParagraphSeparator)
            c = u' ';
    }
    return text.simplified();
}

/// At most eight capital letters and digits out of the video's name; "AX", as any reel is called, where it has none.
QString reelName(const CutList& list)
{
    QString reel;
    for (const QChar c : list.video.baseName().toUpper()) {
        if ((c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'_')
            reel += c;
    }
    return reel.isEmpty() ? u"AX"_s : reel.first(std::min(reel.size(), reelLength));
}

QByteArray edlOf(const CutList& list, const QList<CutListItem>& items, const TimecodeCounting& counting)
{
    const qint64 sourceStart = list.startTimecode ? list.startTimecode->pictures : 0;
    const QString reel = reelName(list).leftJustified(reelLength);
    const QString title = singleLine(list.title);
    QString text = u"TITLE: "_s + (title.isEmpty() ? u"KESTREL"_s : title) + u'\n' +
                   (counting.dropsFrames ? u"FCM: DROP FRAME\n\n"_s : u"FCM: NON-DROP FRAME\n\n"_s);
    qint64 record = *parseTimecode(u"01:00:00:00", counting);
    qint64 number = 0;
    for (const CutListItem& item : items) {
        const PictureRange range = picturesOf(item);
        if (range.end > counting.picturesPerDay())
            throw CutListError(u"EDL 的时间码只到 24 小时，片段“"_s + item.name + u"”在其后。"_s);
        text += formatZeroFilled(++number, 3) + u"  "_s + reel + u" V     C        "_s +
                formatTimecode(sourceStart + range.first, counting) + u' ' +
                formatTimecode(sourceStart + range.end, counting) + u' ' + formatTimecode(record, counting) + u' ' +
                formatTimecode(record + range.count(), counting) + u'\n';
        text += u"* FROM CLIP NAME: "_s + singleLine(list.video.lastPathComponent()) + u'\n';
        record += range.count();
    }
    return text.toUtf8();
}

} // namespace

QList<QByteArray> writeEdl(const CutList& list)
{
    const FrameRate rate = constantRate(list, u"EDL"_s);
    const auto counting = TimecodeCounting::of(rate, list.startTimecode && list.startTimecode->dropsFrames);
    QList<QByteArray> files;
    for (qsizetype first = 0; first < list.items.size() || files.isEmpty(); first += mostEvents)
        files.append(edlOf(list, list.items.mid(first, mostEvents), counting));
    return files;
}

CutList readEdl(const QByteArray& bytes, const CutList& video)
{
    static const QRegularExpression event(
        u"^(\\d+)\\s+(\\S+)\\s+(\\S+)\\s+(C|D|W\\d+|KB?O?)(?:\\s+\\d+)?\\s+([\\d:;.]+)\\s+([\\d:;.]+)\\s+[\\d:;.]+\\s+[\\d:;.]+\\s*$"_s);
    static const QRegularExpression clipName(u"^\\*\\s*FROM CLIP NAME:\\s*(.*)$"_s);
    const FrameRate rate = constantRate(video, u"EDL"_s);
    auto counting = TimecodeCounting::of(rate, video.startTimecode && video.startTimecode->dropsFrames);
    const qint64 sourceStart = video.startTimecode ? video.startTimecode->pictures : 0;
    CutList list = video;
    list.items.clear();
    const QStringList lines = listText(bytes).split(u'\n');
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QString line = lines[i].trimmed();
        if (line.startsWith(u"TITLE:"_s)) {
            list.title = line.mid(6).trimmed();
        } else if (line.startsWith(u"FCM:"_s)) {
            counting = TimecodeCounting::of(rate, !line.contains(u"NON"_s));
        } else if (const auto name = clipName.match(line); name.hasMatch() && !list.items.isEmpty()) {
            list.items.last().name = name.captured(1);
        } else if (const auto match = event.match(line); match.hasMatch()) {
            if (!match.capturedView(3).contains(u'V') && match.capturedView(3) != u"B")
                continue; // sound alone
            const auto in = parseTimecode(match.capturedView(5), counting);
            const auto out = parseTimecode(match.capturedView(6), counting);
            if (!in || !out)
                throw CutListError(atLine(i + 1, u"时间码不符合这个视频的帧率。"_s));
            const qint64 day = counting.picturesPerDay();
            const qint64 first = (*in - sourceStart % day + day) % day; // a film may go on past midnight
            const qint64 count = (*out - *in + day) % day;
            if (count > day / 2)
                throw CutListError(atLine(i + 1, u"出点在入点之前。"_s));
            if (count > 0)
                list.items.append({{}, 0, 0, true, {}, PictureRange{first, first + count}});
        } else if (!line.isEmpty() && line[0].isDigit()) {
            throw CutListError(atLine(i + 1, u"不是 EDL 的事件。"_s));
        }
    }
    return list;
}
