#pragma once

#include <QProcess>
#include <QTest>

/// Runs the real ffmpeg with words that blanks part.
inline void runFFmpeg(const QString& words, const QString& output)
{
    const QStringList arguments = QStringLiteral("-v error -y %1").arg(words).split(QLatin1Char(' '));
    QCOMPARE(QProcess::execute(QStringLiteral("ffmpeg"), arguments + QStringList{output}), 0);
}
