#include "Jobs/OutputSafety.h"

#include "Jobs/OutputFormats.h"

#include <QFile>

#include <algorithm>
#include <filesystem>

using namespace Qt::StringLiterals;

namespace {

std::filesystem::path pathOf(const FileURL& url)
{
    return QFile::encodeName(url.path()).toStdString();
}

bool areOne(const FileURL& left, const FileURL& right)
{
    std::error_code error; // one that names nothing is none of the other
    return std::filesystem::equivalent(pathOf(left), pathOf(right), error);
}

/// A file that does not exist yet can only be the source by its place: the same name in the same folder.
bool isSource(const FileURL& output, const FileURL& source)
{
    std::error_code error;
    if (std::filesystem::exists(pathOf(output), error))
        return areOne(output, source);
    return output.lastPathComponent() == source.lastPathComponent() &&
           areOne(output.deletingLastPathComponent(), source.deletingLastPathComponent());
}

} // namespace

void createOutputDirectory(const FileURL& url)
{
    std::error_code error;
    std::filesystem::create_directories(pathOf(url), error);
    if (error)
        throw OutputError(u"无法创建输出目录 "_s + url.path() + u"："_s + writingFailureText(error) + u"。"_s);
}

void requireSourcesAreSafe(const QList<FFmpegJob>& jobs)
{
    const auto overwritesSource = [](const FFmpegJob& job) { return isSource(job.outputURL, job.inputURL); };
    if (std::any_of(jobs.begin(), jobs.end(), overwritesSource))
        throw sourceWouldBeOverwritten();
}

OutputError sourceWouldBeOverwritten()
{
    return OutputError(u"输出文件会覆盖源视频，请更换输出目录或前缀。"_s);
}

void requireSingleFiles(const QList<FFmpegJob>& jobs)
{
    for (const FFmpegJob& job : jobs) {
        const QString extension = job.outputURL.pathExtension();
        if (makesSeveralFiles(extension))
            throw OutputError(doubtAboutExtension(extension).value_or(QString()) + u'。');
    }
}

QString writingFailureText(const std::error_code& error)
{
    if (error == std::errc::permission_denied || error == std::errc::operation_not_permitted)
        return u"没有写入权限"_s;
    if (error == std::errc::not_a_directory || error == std::errc::file_exists)
        return u"路径中有同名文件"_s;
    if (error == std::errc::no_such_file_or_directory)
        return u"上级目录不可用"_s;
    if (error == std::errc::read_only_file_system)
        return u"磁盘是只读的"_s;
    if (error == std::errc::no_space_on_device)
        return u"磁盘空间不足"_s;
    if (error == std::errc::filename_too_long)
        return u"路径过长"_s;
    return QString::fromLocal8Bit(error.message().c_str());
}
