#pragma once

#include <QStringList>

/// Comma-separated values as RFC 4180 has them.

/// One record with its line end. A field is quoted only when it must be.
[[nodiscard]] QString csvRecord(const QStringList& fields);

/// A record of a text and the line, from 1, on which it begins.
struct CsvRow
{
    qsizetype line = 1;
    QStringList fields;
};

/// The records of a text, empty lines left out. Understood are a byte order mark, commas, semicolons or tabs (the one
/// that the first record has most of), and every kind of line end. A quotation mark that nothing closes runs to the
/// end.
[[nodiscard]] QList<CsvRow> csvRows(QStringView text);
