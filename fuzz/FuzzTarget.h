#pragma once

#include <QByteArrayView>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// What every target offers, by libFuzzer's name for it: tries one input, of any bytes.
// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

inline QByteArrayView bytesOf(const std::uint8_t* data, std::size_t size)
{
    return {reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)};
}

/// The input as text that was typed: half of the inputs are UTF-8, the others raw UTF-16 units, so that lone
/// surrogates and null characters come up too.
inline QString typedText(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return QString();
    const QByteArrayView rest = bytesOf(data + 1, size - 1);
    if (data[0] % 2 == 0)
        return QString::fromUtf8(rest);
    QString text;
    for (qsizetype i = 0; i + 1 < rest.size(); i += 2)
        text += QChar(static_cast<ushort>((uchar(rest[i]) << 8) | uchar(rest[i + 1])));
    return text;
}

/// Stops the program where a promise is broken, in every build.
inline void require(bool promise)
{
    if (!promise)
        std::abort();
}
