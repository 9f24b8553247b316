#include "FuzzTarget.h"
#include "Models/LineSplitter.h"
#include "Models/Utf8Text.h"

#include <QByteArrayList>

#include <algorithm>

namespace {

/// The lines of `bytes` when they arrive in chunks of `chunkSize`.
QByteArrayList linesOf(QByteArrayView bytes, qsizetype chunkSize)
{
    QByteArrayList lines;
    LineSplitter splitter([&lines](const QByteArray& line) { lines.append(line); });
    for (qsizetype start = 0; start < bytes.size(); start += chunkSize)
        splitter.append(bytes.sliced(start, std::min(chunkSize, bytes.size() - start)).toByteArray());
    splitter.finish();
    return lines;
}

} // namespace

/// Lines do not depend on how a child's output is cut, and text is decoded exactly or not at all.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArrayView bytes = bytesOf(data, size);
    const qsizetype chunkSize = size > 0 ? 1 + data[0] % 16 : 1;
    require(linesOf(bytes, chunkSize) == linesOf(bytes, bytes.size() + 1));
    const QString text = decodedUtf8OrEmpty(bytes);
    require(text.isEmpty() || text.toUtf8() == bytes || bytes.startsWith("\xef\xbb\xbf"));
    return 0;
}
