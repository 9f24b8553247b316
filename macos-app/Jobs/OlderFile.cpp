#include "Jobs/OlderFile.h"

#include "Jobs/OutputSafety.h"
#include "Jobs/SideNames.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <cerrno>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

QString keptAs(const QString& name)
{
    return u"原有文件保留为 “"_s + name + u"”"_s;
}

/// Where a trash cannot be made, Qt takes the current folder for it.
bool hasTrash()
{
#ifndef Q_OS_MACOS
    const QFileInfo data(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
    const QFileInfo trash(data.filePath() + u"/Trash"_s);
    if (!QDir().mkpath(data.filePath()))
        return false;
    return trash.exists() ? trash.isDir() : data.isWritable();
#else
    return true;
#endif
}

} // namespace

OutputError outputPlaceError(const QString& name, int error)
{
    return OutputError(u"无法写入输出文件 "_s + name + u"："_s +
                       writingFailureText(std::error_code(error, std::generic_category())) + u"。"_s);
}

void OlderFile::setAside(const std::optional<FileIdentity>& video)
{
    const auto found = m_folder.entry(m_name);
    if (!found || found->kind == Folder::Entry::Kind::other)
        return;
    const auto name = m_folder.moveToFirstFree(m_name, [this](int number) { return hiddenName(m_name, number); });
    if (!name)
        throw outputPlaceError(m_name, errno);
    m_entry = m_folder.entry(*name);
    m_hiddenName = *name;
    if (m_entry && video && m_entry->identity.sameFile(*video)) { // it has come there since we looked
        putBack();
        throw sourceWouldBeOverwritten();
    }
}

QString OlderFile::putBack()
{
    if (!std::exchange(m_entry, std::nullopt))
        return {};
    if (m_folder.move(m_hiddenName, m_name))
        return u"原有文件保持不变"_s;
    const auto name = m_folder.moveToFirstFree(m_hiddenName, [this](int number) { return olderName(m_name, number); });
    return keptAs(name.value_or(m_hiddenName));
}

QString OlderFile::dispose(bool isComplete, bool isOurs)
{
    const auto older = std::exchange(m_entry, std::nullopt);
    if (!older)
        return {};
    if (isComplete && isOurs && m_folder.removeFile(m_hiddenName, older->identity))
        return {};
    const auto name = m_folder.moveToFirstFree(m_hiddenName, [this](int number) { return olderName(m_name, number); });
    const FileURL folder = m_output.deletingLastPathComponent();
    if (name && (isComplete || isOurs) && m_folder.isAt(folder) && hasTrash() &&
        QFile::moveToTrash(folder.appendingPathComponent(*name).path()))
        return u"原有文件已移到废纸篓"_s;
    return keptAs(name.value_or(m_hiddenName));
}
