#pragma once

#include <QByteArray>

#include <optional>

/// Prepares a document for Qt's parser: numbers that it misreads are written in another way, no byte longer. The result
/// is the offset of the first byte that JSON (RFC 8259) forbids but Qt lets through: a number such as "25." or ".5", a
/// raw control character or an unknown escape within a string. Nothing when there is none; other faults are Qt's to
/// find.
[[nodiscard]] std::optional<qsizetype> correctForQt(QByteArray& json);
