#pragma once

#include <QByteArrayView>

#include <optional>

/// The offset of the first byte that JSON (RFC 8259) forbids but Qt's parser lets through: a number such as "25." or
/// ".5", a raw control character or an unknown escape within a string. Nothing when there is none; other faults are
/// Qt's to find.
[[nodiscard]] std::optional<qsizetype> firstLenientByte(QByteArrayView json);
