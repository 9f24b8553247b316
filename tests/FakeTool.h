#pragma once

#include "Models/FileURL.h"
#include "TestFiles.h"

/// Writes an executable shell script that stands in for an outside tool. `name` may contain folders that exist.
inline FileURL writeFakeTool(const QString& directory, const QString& name, const QByteArray& body)
{
    const QString path = directory + u'/' + name;
    writeFile(path, "#!/bin/sh\n" + body);
    QFile::setPermissions(path, QFile::permissions(path) | QFile::ExeOwner | QFile::ExeUser);
    return FileURL(path);
}
