#include "Models/FileURL.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace {

qsizetype lengthWithoutTrailingSeparators(const QString& path)
{
    qsizetype length = path.size();
    while (length > 1 && path.at(length - 1) == u'/')
        --length;
    return length;
}

/// The position of the point that starts the extension of a last component, or -1.
qsizetype extensionPoint(const QString& component)
{
    const qsizetype point = component.lastIndexOf(u'.');
    return point > 0 && point < component.size() - 1 ? point : -1;
}

} // namespace

FileURL FileURL::fromUserPath(const QString& path)
{
    const QString currentPath = QDir::currentPath();
    if (path.startsWith(u'/') || currentPath.isEmpty()) // empty: the current folder was deleted
        return FileURL(path);
    return FileURL(currentPath).appendingPathComponent(path);
}

QString FileURL::lastPathComponent() const
{
    const qsizetype end = lengthWithoutTrailingSeparators(m_path);
    const qsizetype separator = m_path.lastIndexOf(u'/', end - 1);
    return end <= separator + 1 ? m_path.left(end) : m_path.mid(separator + 1, end - separator - 1);
}

QString FileURL::pathExtension() const
{
    const QString component = lastPathComponent();
    const qsizetype point = extensionPoint(component);
    return point < 0 ? QString() : component.mid(point + 1);
}

QString FileURL::baseName() const
{
    const QString component = lastPathComponent();
    const qsizetype point = extensionPoint(component);
    return point < 0 ? component : component.left(point);
}

FileURL FileURL::deletingLastPathComponent() const
{
    const qsizetype separator = m_path.lastIndexOf(u'/', lengthWithoutTrailingSeparators(m_path) - 1);
    if (separator < 0)
        return FileURL();
    return FileURL(separator == 0 ? u"/"_s : m_path.left(separator));
}

FileURL FileURL::appendingPathComponent(const QString& name) const
{
    return FileURL(m_path.endsWith(u'/') ? m_path + name : m_path + u'/' + name);
}
