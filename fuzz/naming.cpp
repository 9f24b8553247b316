#include "FuzzTarget.h"
#include "Models/FileURL.h"
#include "Models/OutputNaming.h"
#include "Models/ShellQuoting.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

/// Whatever is typed as a prefix gives one path component; every path can be taken apart and quoted.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString text = typedText(data, size);
    const QString prefix = sanitizePrefix(text, text.mid(text.size() / 2));
    static const QRegularExpression forbidden(u"[/:\\\\\n\r\t]"_s);
    require(!prefix.isEmpty() && !prefix.contains(forbidden));

    const FileURL output = FileURL(u"/folder"_s).appendingPathComponent(makeOutputFileName(prefix, 1, u"mp4"_s));
    require(output.deletingLastPathComponent().path() == u"/folder"_s);
    require(output.baseName() == prefix + u"-01"_s && output.pathExtension() == u"mp4"_s);

    const FileURL url = FileURL::fromUserPath(text);
    const QString extension = url.pathExtension();
    const QString joined = extension.isEmpty() ? url.baseName() : url.baseName() + u'.' + extension;
    require(joined == url.lastPathComponent());

    const QString quoted = shellQuoted(text);
    require(quoted == text || (quoted.startsWith(u'"') && quoted.endsWith(u'"') && quoted.size() >= text.size() + 2));
    return 0;
}
