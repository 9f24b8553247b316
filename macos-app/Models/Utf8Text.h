#pragma once

#include <QByteArrayView>
#include <QString>

/// The text that these bytes are in UTF-8, on their own; empty when any of them is not valid UTF-8.
[[nodiscard]] QString decodedUtf8OrEmpty(QByteArrayView bytes);
