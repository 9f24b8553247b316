#include "CutLists/ChapterLists.h"

#include "CutLists/CutListError.h"
#include "CutLists/ListTimes.h"
#include "Models/NumberText.h"

#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 microseconds = 1'000'000;
constexpr qint64 nanoseconds = 1'000'000'000;

/// ffmpeg reads these characters as its own unless a backslash stands before them.
QString metadataText(const QString& text)
{
    QString escaped;
    for (const QChar c : text) {
        if (u"=;#\\\n"_s.contains(c))
            escaped += u'\\';
        escaped += c;
    }
    return escaped;
}

/// The lines of a metadata file, an escaped line feed being part of its line.
QStringList metadataLines(const QString& text)
{
    QStringList lines = {QString()};
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == u'\\' && i + 1 < text.size()) {
            lines.last() += text.mid(i, 2);
            ++i;
        } else if (text[i] == u'\n') {
            lines.append(QString());
        } else if (text[i] != u'\r') {
            lines.last() += text[i];
        }
    }
    return lines;
}

/// The key and the value of a line, its escapes undone; no key where it has none.
std::pair<QString, QString> keyAndValue(const QString& line)
{
    QString key;
    QString value;
    bool isValue = false;
    for (qsizetype i = 0; i < line.size(); ++i) {
        if (line[i] == u'=' && !isValue) {
            isValue = true;
            continue;
        }
        if (line[i] == u'\\' && i + 1 < line.size())
            ++i;
        (isValue ? value : key) += line[i];
    }
    return {isValue ? key : QString(), value};
}

/// What a chapter of a metadata file says of itself, as far as it has been read.
struct MetadataChapter
{
    qsizetype line = 0;
    qint64 numerator = 1;
    qint64 denominator = nanoseconds;
    std::optional<qint64> start;
    std::optional<qint64> end;
    QString title;
};

CutListItem itemOf(const MetadataChapter& chapter, const CutList& video)
{
    if (!chapter.start || !chapter.end || chapter.numerator <= 0 || chapter.denominator <= 0)
        throw CutListError(atLine(chapter.line, u"章节缺少 START、END，或 TIMEBASE 无效。"_s));
    const auto seconds = [&](qint64 units) {
        return static_cast<double>(units) * static_cast<double>(chapter.numerator) /
               static_cast<double>(chapter.denominator);
    };
    CutListItem item{chapter.title, seconds(*chapter.start), seconds(*chapter.end), true, {}, {}};
    if (!(item.start >= 0 && item.end > item.start && item.end < 1e9))
        throw CutListError(atLine(chapter.line, u"章节的时间无效。"_s));
    if (video.rate && *video.rate == FrameRate{chapter.denominator, chapter.numerator})
        item.pictures = PictureRange{*chapter.start, *chapter.end};
    return item;
}

void readChapterKey(MetadataChapter& chapter, const QString& key, const QString& value)
{
    if (key == u"TIMEBASE") {
        const QStringList parts = value.split(u'/');
        chapter.numerator = parseInteger(parts.value(0)).value_or(0);
        chapter.denominator = parseInteger(parts.value(1)).value_or(0);
    } else if (key == u"START") {
        chapter.start = parseInteger(value);
    } else if (key == u"END") {
        chapter.end = parseInteger(value);
    } else if (key == u"title") {
        chapter.title = value;
    }
}

QString chapterTime(double seconds)
{
    const qint64 units = unitsBefore(seconds, nanoseconds);
    const qint64 whole = units / nanoseconds;
    return formatZeroFilled(whole / 3600, 2) + u':' + formatZeroFilled(whole / 60 % 60, 2) + u':' +
           formatZeroFilled(whole % 60, 2) + u'.' + formatZeroFilled(units % nanoseconds, 9);
}

double xmlTime(QXmlStreamReader& xml)
{
    const qint64 line = xml.lineNumber();
    const QString text = xml.readElementText();
    const auto seconds = parseListTime(text);
    if (!seconds)
        throw CutListError(atLine(line, u"“"_s + text + u"”不是时间。"_s));
    return *seconds;
}

struct XmlChapter
{
    double start = 0;
    std::optional<double> end;
    QString name;
};

/// One ChapterAtom; chapters within it are left out.
XmlChapter readAtom(QXmlStreamReader& xml)
{
    XmlChapter chapter;
    while (xml.readNextStartElement()) {
        if (xml.name() == u"ChapterTimeStart") {
            chapter.start = xmlTime(xml);
        } else if (xml.name() == u"ChapterTimeEnd") {
            chapter.end = xmlTime(xml);
        } else if (xml.name() == u"ChapterDisplay") {
            while (xml.readNextStartElement()) {
                if (xml.name() == u"ChapterString" && chapter.name.isEmpty())
                    chapter.name = xml.readElementText();
                else
                    xml.skipCurrentElement();
            }
        } else {
            xml.skipCurrentElement();
        }
    }
    return chapter;
}

/// XML 1.0 has no place for other control characters.
QString xmlText(QString text)
{
    text.removeIf([](QChar c) { return c < u' ' && c != u'\t' && c != u'\n'; });
    return text;
}

} // namespace

QByteArray writeFFMetadata(const CutList& list)
{
    const bool countsPictures =
        list.rate && std::all_of(list.items.begin(), list.items.end(), [](const auto& item) { return item.pictures; });
    const FrameRate units = countsPictures ? *list.rate : FrameRate{microseconds, 1};
    QString text = u";FFMETADATA1\n"_s;
    for (const CutListItem& item : list.items) {
        const qint64 start = countsPictures ? item.pictures->first : unitsBefore(item.start, microseconds);
        const qint64 end = countsPictures ? item.pictures->end : unitsBefore(item.end, microseconds);
        text += u"[CHAPTER]\nTIMEBASE=%1/%2\nSTART=%3\nEND=%4\ntitle="_s.arg(units.denominator)
                    .arg(units.numerator)
                    .arg(start)
                    .arg(end) +
                metadataText(item.name) + u'\n';
    }
    return text.toUtf8();
}

CutList readFFMetadata(const QByteArray& bytes, const CutList& video)
{
    const QStringList lines = metadataLines(listText(bytes));
    if (!lines.first().startsWith(u";FFMETADATA"_s))
        throw CutListError(u"不是 ffmpeg 的元数据文件：第一行应为 ;FFMETADATA1。"_s);
    CutList list = video;
    list.items.clear();
    std::optional<MetadataChapter> chapter;
    const auto finish = [&] {
        if (chapter)
            list.items.append(itemOf(*chapter, video));
        chapter.reset();
    };
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QString& line = lines[i];
        if (line.startsWith(u'[')) {
            finish();
            if (line.startsWith(u"[CHAPTER]"_s))
                chapter.emplace().line = i + 1;
        } else if (chapter && !line.startsWith(u';') && !line.startsWith(u'#')) {
            const auto [key, value] = keyAndValue(line);
            readChapterKey(*chapter, key, value);
        }
    }
    finish();
    return list;
}

QByteArray writeMatroskaChapters(const CutList& list)
{
    QByteArray bytes;
    QXmlStreamWriter xml(&bytes);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(2);
    xml.writeStartDocument();
    xml.writeDTD(u"<!DOCTYPE Chapters SYSTEM \"matroskachapters.dtd\">"_s);
    xml.writeStartElement(u"Chapters"_s);
    xml.writeStartElement(u"EditionEntry"_s);
    for (const CutListItem& item : list.items) {
        xml.writeStartElement(u"ChapterAtom"_s);
        xml.writeTextElement(u"ChapterTimeStart"_s, chapterTime(item.start));
        xml.writeTextElement(u"ChapterTimeEnd"_s, chapterTime(item.end));
        xml.writeStartElement(u"ChapterDisplay"_s);
        xml.writeTextElement(u"ChapterString"_s, xmlText(item.name));
        xml.writeTextElement(u"ChapterLanguage"_s, u"und"_s);
        xml.writeEndElement();
        xml.writeEndElement();
    }
    xml.writeEndDocument();
    return bytes;
}

CutList readMatroskaChapters(const QByteArray& bytes, const CutList& video)
{
    QXmlStreamReader xml(bytes);
    QList<XmlChapter> chapters;
    if (xml.readNextStartElement() && xml.name() != u"Chapters")
        throw CutListError(u"不是 Matroska 的章节：最外层应为 Chapters。"_s);
    while (xml.readNextStartElement()) { // editions: the first counts
        while (chapters.isEmpty() && xml.name() == u"EditionEntry" && xml.readNextStartElement()) {
            do {
                if (xml.name() == u"ChapterAtom")
                    chapters.append(readAtom(xml));
                else
                    xml.skipCurrentElement();
            } while (xml.readNextStartElement());
        }
        if (xml.isStartElement())
            xml.skipCurrentElement();
    }
    if (xml.hasError())
        throw CutListError(atLine(xml.lineNumber(), u"不是有效的 XML（"_s + xml.errorString() + u"）。"_s));
    CutList list = video;
    list.items.clear();
    for (qsizetype i = 0; i < chapters.size(); ++i) {
        const double next = i + 1 < chapters.size() ? chapters[i + 1].start : video.duration;
        const CutListItem item{chapters[i].name, chapters[i].start, chapters[i].end.value_or(next), true, {}, {}};
        if (!(item.end > item.start))
            throw CutListError(u"第 %1 个章节的结束时间不在开始时间之后。"_s.arg(i + 1));
        list.items.append(item);
    }
    return list;
}
