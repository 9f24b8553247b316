#include "Jobs/OlderFiles.h"

#include "Jobs/ClipContent.h"
#include "Jobs/Folder.h"
#include "Jobs/SideNames.h"

#include <QFile>

#include <algorithm>
#include <map>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

/// Also of a name that is too long to be found in its hidden one, if it is one of `outputs`.
std::optional<QString> hiddenOutput(const QString& hidden, const QStringList& outputs)
{
    if (!hidden.startsWith(u'.') || !hidden.contains(u".kestrel-older"_s))
        return std::nullopt;
    if (auto name = nameOfHidden(hidden))
        return name;
    const auto isHiddenAs = [&](const QString& output) { return hidden == hiddenName(output, 1); };
    const auto found = std::find_if(outputs.begin(), outputs.end(), isHiddenAs);
    return found == outputs.end() ? std::nullopt : std::optional(*found);
}

/// Whether this is no more than what an ffmpeg that was killed too has left, or one that goes on has begun.
bool isUnfinished(const Folder& folder, const FileURL& url)
{
    const auto entry = folder.entry(url.lastPathComponent());
    QFile file(url.path());
    return entry && entry->kind == Folder::Entry::Kind::file && file.open(QIODevice::ReadOnly) &&
           (file.size() == 0 || contentOfClip(file) == ClipContent::broken);
}

} // namespace

int olderFilesToTrash(const QList<FFmpegJob>& jobs, const WrittenClips& writtenClips)
{
    std::map<QString, std::unique_ptr<Folder>> folders;
    return static_cast<int>(std::count_if(jobs.begin(), jobs.end(), [&](const FFmpegJob& job) {
        const FileURL folderURL = job.outputURL.deletingLastPathComponent();
        auto& folder = folders[folderURL.path()];
        if (!folder)
            folder = std::make_unique<Folder>(folderURL);
        const auto entry = folder->entry(job.outputURL.lastPathComponent());
        return entry && entry->kind != Folder::Entry::Kind::other &&
               !writtenClips.contains(entry->identity, FileIdentity::of(job.inputURL));
    }));
}

QHash<QString, QString> putOlderFilesBack(const QList<FFmpegJob>& jobs)
{
    std::map<QString, QStringList> outputsOfFolder;
    for (const FFmpegJob& job : jobs)
        outputsOfFolder[job.outputURL.deletingLastPathComponent().path()] << job.outputURL.lastPathComponent();
    QHash<QString, QString> remarks;
    for (const auto& [path, outputs] : outputsOfFolder) {
        const Folder folder((FileURL(path)));
        for (const QString& hidden : folder.names()) {
            const auto name = hiddenOutput(hidden, outputs);
            if (!name || folder.isLocked(*name) || folder.move(hidden, *name))
                continue;
            const FileURL url = FileURL(path).appendingPathComponent(*name);
            if (isUnfinished(folder, url) &&
                folder.moveToFirstFree(*name, [&](int number) { return unfinishedName(*name, number); }) &&
                folder.move(hidden, *name))
                continue;
            if (const auto newName =
                    folder.moveToFirstFree(hidden, [&](int number) { return olderName(*name, number); }))
                remarks.insert(url.path(), u"上次中断时的原有文件保留为 “"_s + *newName + u"”"_s);
        }
    }
    return remarks;
}
