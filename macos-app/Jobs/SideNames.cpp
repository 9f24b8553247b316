#include "Jobs/SideNames.h"

#include "Models/FileURL.h"

#include <QFile>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype mostBytes = 255;

bool fits(const QString& name)
{
    return QFile::encodeName(name).size() <= mostBytes;
}

QString besideName(const QString& name, const QString& word, int number)
{
    const FileURL url(name);
    const QString extension = url.pathExtension();
    const QString tail = (number == 1 ? u" (%1)"_s.arg(word) : u" (%1 %2)"_s.arg(word).arg(number)) +
                         (extension.isEmpty() ? QString() : u'.' + extension);
    QString base = url.baseName();
    while (!fits(base + tail) && !base.isEmpty())
        base.chop(base.back().isLowSurrogate() ? 2 : 1);
    return base + tail;
}

} // namespace

QString hiddenName(const QString& name, int number)
{
    const QString tail = number == 1 ? u".kestrel-older"_s : u".kestrel-older-%1"_s.arg(number);
    QString end = name; // which tells the outputs of a run apart
    while (!fits(u'.' + end + tail))
        end.remove(0, end.front().isHighSurrogate() ? 2 : 1);
    return u'.' + end + tail;
}

std::optional<QString> nameOfHidden(const QString& hidden)
{
    static const QRegularExpression pattern(u"^\\.(.+)\\.kestrel-older(-[0-9]+)?$"_s,
                                            QRegularExpression::DotMatchesEverythingOption);
    const auto match = pattern.match(hidden);
    constexpr qsizetype longestCharacter = 4;
    if (!match.hasMatch() || QFile::encodeName(hidden).size() > mostBytes - longestCharacter)
        return std::nullopt;
    return match.captured(1);
}

QString olderName(const QString& name, int number)
{
    return besideName(name, u"原文件"_s, number);
}

QString unfinishedName(const QString& name, int number)
{
    return besideName(name, u"未完成"_s, number);
}
