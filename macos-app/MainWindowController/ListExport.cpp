#include "MainWindowController/ListExport.h"

#include "CutLists/CutListError.h"
#include "CutLists/SegmentCuts.h"
#include "CutLists/ShellScript.h"
#include "Frames/PictureNumbers.h"
#include "MainWindowController/FileChoosing.h"
#include "MainWindowController/ListFiles.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentListEditor.h"
#include "Services/MessageError.h"

#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString scriptSuffix = u"sh"_s;

/// The place in the table of the kind that is meant: the chosen one, unless the name's ending is that of others. What
/// stands behind the table is the script.
qsizetype kindOf(const FileURL& file, qsizetype chosen)
{
    const QList<CutListKind>& kinds = cutListKinds();
    const QString suffix = file.pathExtension().toLower();
    if (suffix == (chosen < kinds.size() ? kinds[chosen].suffix : scriptSuffix))
        return chosen;
    const auto isPlain = [&](const CutListKind& kind) { return kind.id == suffix; };
    const auto isAny = [&](const CutListKind& kind) { return kind.suffix == suffix; };
    auto meant = std::find_if(kinds.begin(), kinds.end(), isPlain);
    if (meant == kinds.end())
        meant = std::find_if(kinds.begin(), kinds.end(), isAny);
    if (meant != kinds.end() || suffix == scriptSuffix)
        return meant - kinds.begin();
    return chosen;
}

/// How many files a list has become.
qsizetype writeFiles(const FileURL& file, const QList<QByteArray>& contents)
{
    const bool mayReplace = QFile::exists(file.path()); // the user has agreed to that, for one and so for all
    for (qsizetype i = 1; i < contents.size(); ++i) {
        if (const QString path = numberedFile(file, i + 1).path(); !mayReplace && QFile::exists(path))
            throw CutListError(path + u" 已存在，请换一个文件名。"_s);
    }
    for (qsizetype i = 0; i < contents.size(); ++i)
        writeListFile(numberedFile(file, i + 1), contents[i]);
    return contents.size();
}

void writeScript(const FileURL& file, const QList<FFmpegJob>& jobs)
{
    writeListFile(file, writeShellScript(jobs));
    const auto permissions = QFile::permissions(file.path());
    QFile::setPermissions(file.path(), permissions | QFileDevice::ExeOwner | QFileDevice::ExeUser);
}

} // namespace

ListExport::ListExport(MainWindow& window, FilmReading& film, BackgroundWork& work,
                       std::function<QList<FFmpegJob>()> jobs)
    : m_window(window)
    , m_film(film)
    , m_work(work)
    , m_jobs(std::move(jobs))
{}

void ListExport::chooseAndExport()
{
    if (m_jobs().isEmpty()) {
        Q_EMIT failed(u"没有可导出的片段：请先“解析”，并至少勾选一个片段。"_s);
        return;
    }
    const QList<CutListKind>& kinds = cutListKinds();
    QStringList filters;
    for (const CutListKind& kind : kinds)
        filters.append(kind.title + u" (*."_s + kind.suffix + u')');
    filters.append(u"导出脚本 (*."_s + scriptSuffix + u')');
    const FileURL video = *m_window.segmentList->list().videoURL;
    const FileURL suggestion =
        video.deletingLastPathComponent().appendingPathComponent(video.baseName() + u'.' + kinds.first().suffix);
    chooseNewFile(&m_window, u"导出"_s, suggestion, filters, [this, &kinds](const FileURL& file, int chosen) {
        const qsizetype kind = kindOf(file, chosen);
        if (kind < kinds.size()) {
            exportTo(file, kinds.at(kind));
            return;
        }
        try {
            writeScript(file, m_jobs());
            Q_EMIT told(u"已导出："_s + file.path());
        } catch (const std::exception& error) {
            tellFailure(errorDescription(error));
        }
    });
}

void ListExport::exportTo(const FileURL& file, const CutListKind& kind)
{
    const CutList cuts = cutListOf(m_window.segmentList->list(), m_jobs(), kind.takesDisabled);
    if (kind.pictures == PictureUse::unused) {
        countAndWrite(file, kind, cuts, std::nullopt);
        return;
    }
    const auto take = [this, file, kind, cuts](const std::optional<FilmTimes>& film, const QString& failure) {
        if (!film && failure.isEmpty())
            Q_EMIT told(u"已取消导出。"_s);
        else if (!film && kind.pictures == PictureUse::needed)
            tellFailure(failure);
        else
            countAndWrite(file, kind, cuts, film);
    };
    m_film.read(cuts.video, FilmScan::Extent::allFrames, take);
}

void ListExport::countAndWrite(const FileURL& file, const CutListKind& kind, const CutList& cuts,
                               const std::optional<FilmTimes>& film)
{
    const auto work = [this, file, kind, cuts, film]() -> BackgroundWork::Then {
        CutList counted = cuts;
        if (film)
            countPictures(counted, kind, *film);
        const qsizetype count = writeFiles(file, kind.write(counted));
        return [this, file, count] {
            Q_EMIT told(u"已导出："_s + file.path() + (count > 1 ? u"（共 %1 个文件）"_s.arg(count) : QString()));
        };
    };
    m_work.run(work, [this](const QString& reason) { tellFailure(reason); });
}

void ListExport::tellFailure(const QString& reason)
{
    Q_EMIT told(u"导出失败。"_s);
    Q_EMIT failed(reason);
}
