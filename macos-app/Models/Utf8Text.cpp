#include "Models/Utf8Text.h"

QString decodedUtf8OrEmpty(QByteArrayView bytes)
{
    return bytes.isValidUtf8() ? QString::fromUtf8(bytes) : QString();
}
