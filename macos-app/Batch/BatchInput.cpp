#include "Batch/BatchInput.h"

#include "Batch/BatchFolder.h"
#include "Batch/CommandLine.h"
#include "CutLists/CutListError.h"
#include "CutLists/CutListKinds.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>

using namespace Qt::StringLiterals;

namespace {

BatchInput inputOf(const QString& operand)
{
    BatchInput input{FileURL::fromUserPath(operand), operand.endsWith(u".json"), {}, {}};
    if (!input.isList) {
        input.video = input.file;
    } else {
        try {
            const KestrelList list = readList(input.file);
            input.video = FileURL(list.video.path);
        } catch (const std::exception&) {
            return input; // told when it is its turn
        }
    }
    input.folder = input.video.baseName();
    if (input.folder.isEmpty() || BatchFolder::isReserved(input.folder))
        throw UsageError(u"不能用作输出文件夹的名称：%1。"_s.arg(input.video.lastPathComponent()));
    return input;
}

} // namespace

QList<BatchInput> readInputs(const QStringList& operands, const std::function<QString(const BatchInput&)>& placeOf)
{
    QList<BatchInput> inputs;
    QHash<QString, QString> taken;
    for (const QString& operand : operands) {
        inputs.append(inputOf(operand));
        if (inputs.last().folder.isEmpty())
            continue;
        QString& other = taken[placeOf(inputs.last())];
        if (!other.isEmpty())
            throw UsageError(
                u"“%1”和“%2”会写到同一个位置 %3，请给其中一个改名。"_s.arg(other, operand, placeOf(inputs.last())));
        other = operand;
    }
    return inputs;
}

KestrelList readList(const FileURL& url)
{
    QFile file(url.path());
    if (!QFileInfo(url.path()).isFile() || !file.open(QIODevice::ReadOnly))
        throw CutListError(u"无法读取 %1。"_s.arg(url.path()));
    if (file.size() > largestCutList)
        throw CutListError(u"文件太大，不是列表。"_s);
    return decodeKestrelList(file.readAll());
}

FileURL videoOfList(const KestrelList& list, const FileURL& file)
{
    const FileURL named(list.video.path);
    const FileURL beside = file.deletingLastPathComponent().appendingPathComponent(named.lastPathComponent());
    for (const FileURL& place : {named, beside}) {
        if (QFileInfo(place.path()).isFile())
            return place;
    }
    throw CutListError(u"找不到列表的视频：%1"_s.arg(named.path()));
}

void requireVideoFits(const KestrelList& list, const FileURL& video)
{
    const qint64 size = QFileInfo(video.path()).size();
    if (list.video.size != 0 && list.video.size != size)
        throw CutListError(u"列表是为 %1 字节的视频存储的，“%2”有 %3 字节。"_s.arg(
            QString::number(list.video.size), video.lastPathComponent(), QString::number(size)));
}
