#pragma once

#include <QString>

/// A file-name prefix without path or line separators ("/", ":", "\", line feed, carriage return, tab): the pieces
/// between them joined by "-". A prefix of nothing but those and white space gives the fallback, treated the same
/// way; when that is as empty, "clip". Never empty.
[[nodiscard]] QString sanitizePrefix(const QString& rawPrefix, const QString& fallback);

/// "prefix-NN.extension" with the index in at least two digits. An empty prefix or extension goes with its separator;
/// the extension is used as given, without a leading point.
[[nodiscard]] QString makeOutputFileName(const QString& prefix, qint64 index, const QString& pathExtension);
