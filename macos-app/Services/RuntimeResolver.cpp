#include "Services/RuntimeResolver.h"

#include "Services/AppRuntimeError.h"
#include "Services/ApplicationLocations.h"

#include <QDir>
#include <QFile>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// Inside the resources the virtual environment bears no leading point; beside the bundle and in a project it does.
constexpr auto bundledInterpreter = "venv/bin/python";
constexpr auto projectInterpreter = ".venv/bin/python";
constexpr auto detectorScriptName = "detect_scene_changes.py";

void appendCandidate(QList<FileURL>& candidates, const std::optional<FileURL>& root, const char* relativePath)
{
    if (root)
        candidates.append(root->appendingPathComponent(QString::fromLatin1(relativePath)));
}

std::optional<FileURL> firstAccessible(const QList<FileURL>& candidates, int mode)
{
    for (const FileURL& candidate : candidates) {
        if (::access(QFile::encodeName(candidate.path()).constData(), mode) == 0)
            return candidate;
    }
    return std::nullopt;
}

FileURL foundOrThrow(const std::optional<FileURL>& found, const QString& message)
{
    if (!found)
        throw AppRuntimeError::missingDependency(message);
    return *found;
}

} // namespace

SearchRoots SearchRoots::current()
{
    const ApplicationLocations locations = ApplicationLocations::current();
    const QString currentPath = QDir::currentPath();
    SearchRoots roots{locations.resourcesDirectory, locations.bundleParent, std::nullopt};
    if (currentPath.startsWith(u'/'))
        roots.currentDirectory = FileURL(currentPath);
    return roots;
}

QList<FileURL> RuntimeResolver::pythonCandidates(const SearchRoots& roots)
{
    QList<FileURL> candidates;
    appendCandidate(candidates, roots.resourcesDirectory, bundledInterpreter);
    appendCandidate(candidates, roots.bundleParent, projectInterpreter);
    appendCandidate(candidates, roots.currentDirectory, projectInterpreter);
    candidates << FileURL(u"/opt/homebrew/bin/python3"_s) << FileURL(u"/usr/local/bin/python3"_s)
               << FileURL(u"/usr/bin/python3"_s);
    return candidates;
}

QList<FileURL> RuntimeResolver::detectorScriptCandidates(const SearchRoots& roots)
{
    QList<FileURL> candidates;
    appendCandidate(candidates, roots.resourcesDirectory, detectorScriptName);
    appendCandidate(candidates, roots.bundleParent, detectorScriptName);
    appendCandidate(candidates, roots.currentDirectory, detectorScriptName);
    return candidates;
}

QList<FileURL> RuntimeResolver::ffmpegCandidates()
{
    return {FileURL(u"/opt/homebrew/bin/ffmpeg"_s), FileURL(u"/usr/local/bin/ffmpeg"_s), FileURL(u"/usr/bin/ffmpeg"_s)};
}

std::optional<FileURL> RuntimeResolver::firstExecutable(const QList<FileURL>& candidates)
{
    return firstAccessible(candidates, X_OK);
}

std::optional<FileURL> RuntimeResolver::firstReadableFile(const QList<FileURL>& candidates)
{
    return firstAccessible(candidates, R_OK);
}

RuntimeConfiguration RuntimeResolver::resolve()
{
    const SearchRoots roots = SearchRoots::current();
    RuntimeConfiguration runtime;
    runtime.pythonURL = foundOrThrow(firstExecutable(pythonCandidates(roots)),
                                     u"未找到可用的 Python 解释器。请先在项目根目录准备 .venv/bin/python。"_s);
    runtime.detectorScriptURL =
        foundOrThrow(firstReadableFile(detectorScriptCandidates(roots)), u"未找到 detect_scene_changes.py。"_s);
    runtime.ffmpegURL = foundOrThrow(firstExecutable(ffmpegCandidates()),
                                     u"未找到 ffmpeg。请确认 ffmpeg 已安装在 /opt/homebrew/bin 或 /usr/local/bin。"_s);
    return runtime;
}
