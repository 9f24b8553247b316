#pragma once

#include "Models/FileURL.h"

#include <QByteArray>

/// Lists as files on the disk. Both throw CutListError with the reason.

/// All of it or nothing: a file that was there stays until the new one is whole.
void writeListFile(const FileURL& file, const QByteArray& content);
[[nodiscard]] QByteArray readListFile(const FileURL& file);
