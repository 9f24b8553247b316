#include "Models/Utf8Text.h"

#include <QStringDecoder>

QString decodedUtf8OrEmpty(QByteArrayView bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(bytes);
    return decoder.hasError() ? QString() : text;
}
