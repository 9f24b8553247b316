#include "CutLists/CutListKinds.h"

#include "CutLists/ChapterLists.h"
#include "CutLists/CsvLists.h"
#include "CutLists/CutListError.h"
#include "CutLists/EdlList.h"
#include "CutLists/LosslessCutProject.h"
#include "CutLists/OtioList.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// A writer of one file as one of possibly several.
template<QByteArray (*write)(const CutList&)>
QList<QByteArray> oneFile(const CutList& list)
{
    return {write(list)};
}

bool isTable(const QString& suffix)
{
    return suffix == u"csv" || suffix == u"tsv" || suffix == u"txt";
}

bool hasHeadings(const QByteArray& bytes, QByteArrayView heading)
{
    const QByteArray lines = bytes.first(std::min<qsizetype>(bytes.size(), 1'000'000)).toLower();
    const qsizetype second = lines.indexOf('\n', lines.indexOf('\n') + 1);
    return lines.first(second < 0 ? lines.size() : second).contains(heading);
}

bool isOtio(const QString& suffix, const QByteArray& /*bytes*/)
{
    return suffix == u"otio";
}

bool isEdl(const QString& suffix, const QByteArray& /*bytes*/)
{
    return suffix == u"edl";
}

bool isLosslessCutProject(const QString& suffix, const QByteArray& /*bytes*/)
{
    return suffix == u"llc";
}

bool isFFMetadata(const QString& suffix, const QByteArray& bytes)
{
    return suffix == u"ffmeta" || suffix == u"ffmetadata" || bytes.startsWith(";FFMETADATA");
}

bool isMatroskaXml(const QString& suffix, const QByteArray& /*bytes*/)
{
    return suffix == u"xml";
}

bool isSceneCsv(const QString& suffix, const QByteArray& bytes)
{
    return isTable(suffix) && hasHeadings(bytes, "scene number");
}

bool isPlainCsv(const QString& suffix, const QByteArray& bytes)
{
    return isTable(suffix) && (hasHeadings(bytes, "start") || hasHeadings(bytes, "开始时间"));
}

bool isLosslessCutCsv(const QString& suffix, const QByteArray& /*bytes*/)
{
    return isTable(suffix);
}

} // namespace

const QList<CutListKind>& cutListKinds()
{
    static const QList<CutListKind> kinds = {
        {u"otio"_s, u"OpenTimelineIO"_s, u"otio"_s, false, PictureUse::needed, oneFile<writeOtio>, readOtio, isOtio},
        {u"edl"_s, u"EDL (CMX 3600)"_s, u"edl"_s, false, PictureUse::needed, writeEdl, readEdl, isEdl},
        {u"llc"_s, u"LosslessCut 项目"_s, u"llc"_s, true, PictureUse::unused, oneFile<writeLosslessCutProject>,
         readLosslessCutProject, isLosslessCutProject},
        {u"ffmetadata"_s, u"FFmetadata 章节"_s, u"ffmeta"_s, false, PictureUse::welcome, oneFile<writeFFMetadata>,
         readFFMetadata, isFFMetadata},
        {u"mkvxml"_s, u"Matroska 章节"_s, u"xml"_s, false, PictureUse::unused, oneFile<writeMatroskaChapters>,
         readMatroskaChapters, isMatroskaXml},
        {u"scenes"_s, u"场景列表 CSV"_s, u"csv"_s, false, PictureUse::needed, oneFile<writeSceneCsv>, readSceneCsv,
         isSceneCsv},
        {u"csv"_s, u"CSV 表格"_s, u"csv"_s, true, PictureUse::unused, oneFile<writePlainCsv>, readPlainCsv, isPlainCsv},
        {u"llccsv"_s, u"LosslessCut CSV"_s, u"csv"_s, false, PictureUse::unused, oneFile<writeLosslessCutCsv>,
         readLosslessCutCsv, isLosslessCutCsv},
    };
    return kinds;
}

const CutListKind& cutListKindOf(const QString& suffix, const QByteArray& bytes)
{
    const auto& kinds = cutListKinds();
    const QString lower = suffix.toLower();
    const auto kind = std::find_if(kinds.begin(), kinds.end(),
                                   [&](const CutListKind& candidate) { return candidate.matches(lower, bytes); });
    if (kind == kinds.end())
        throw CutListError(
            u"不认识这种列表。可以打开 .kestrel.json、.otio、.edl、.llc、.csv、.ffmeta 和 Matroska 章节 .xml。"_s);
    return *kind;
}

CutList readCutList(const QString& suffix, const QByteArray& bytes, const CutList& video)
{
    CutList list = cutListKindOf(suffix, bytes).read(bytes, video);
    if (list.items.isEmpty())
        throw CutListError(u"列表里没有片段。"_s);
    return list;
}

bool hasListName(const FileURL& file)
{
    const auto& kinds = cutListKinds();
    const QString suffix = file.pathExtension().toLower();
    return suffix == u"json" || suffix == u"tsv" ||
           std::any_of(kinds.begin(), kinds.end(), [&](const CutListKind& kind) { return kind.suffix == suffix; });
}
