#include "MainWindowController/ListFiles.h"

#include "CutLists/CutListError.h"
#include "CutLists/CutListKinds.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

using namespace Qt::StringLiterals;

void writeListFile(const FileURL& url, const QByteArray& content)
{
    QSaveFile file(url.path());
    // Of what only its own buffer holds, QSaveFile does not notice that the disk is full.
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.flush() || !file.commit())
        throw CutListError(u"无法写入 "_s + url.path() + u"："_s + file.errorString());
}

QByteArray readListFile(const FileURL& url)
{
    QFile file(url.path());
    if (!QFileInfo(url.path()).isFile() || !file.open(QIODevice::ReadOnly))
        throw CutListError(u"无法读取 "_s + url.path() + u"。"_s);
    if (file.size() > largestCutList)
        throw CutListError(u"文件太大，不是列表。"_s);
    return file.readAll();
}
