#pragma once

#include "Models/FileURL.h"

#include <QFile>
#include <QString>

/// Writes an executable shell script that stands in for an outside tool. `name` may contain folders that exist.
inline FileURL writeFakeTool(const QString& directory, const QString& name, const QByteArray& body)
{
    QFile file(directory + u'/' + name);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write("#!/bin/sh\n" + body) < 0)
        qFatal("cannot write the fake tool %s", qPrintable(file.fileName()));
    file.setPermissions(file.permissions() | QFileDevice::ExeOwner | QFileDevice::ExeUser);
    return FileURL(file.fileName());
}
