#pragma once

#include "FakeTool.h"
#include "Jobs/SplitJob.h"
#include "Services/RuntimeConfiguration.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <algorithm>
#include <sys/stat.h>

/// Milliseconds to wait for what must happen, however busy the machine is.
inline constexpr int patience = 120'000;

/// Whether jobs that were given up still run.
inline bool givenUpJobsRun()
{
    const QObjectList& children = QCoreApplication::instance()->children();
    return std::any_of(children.begin(), children.end(),
                       [](const QObject* child) { return dynamic_cast<const SplitJob*>(child); });
}

/// A shell script in place of ffmpeg, and a folder for what it writes, which goes with the test. In the script
/// `$output` is the last argument, the file to write.
class FakeFFmpeg final
{
public:
    explicit FakeFFmpeg(const QByteArray& script)
        : m_url(writeFakeTool(m_folder.path(), QStringLiteral("ffmpeg"), "for output; do :; done\n" + script + '\n'))
    {}

    [[nodiscard]] RuntimeConfiguration runtime() const { return {m_url, m_url, m_url}; }
    [[nodiscard]] FileURL file(const QString& name) const
    {
        return FileURL(m_folder.path()).appendingPathComponent(name);
    }
    [[nodiscard]] bool exists(const QString& name) const { return QFile::exists(file(name).path()); }

    [[nodiscard]] FFmpegJob job(const QString& outputName) const
    {
        return {1, file(QStringLiteral("in.mp4")), file(outputName), 0, 1, std::nullopt};
    }
    /// Jobs whose outputs are their numbers.
    [[nodiscard]] QList<FFmpegJob> jobs(int count) const
    {
        QList<FFmpegJob> jobs;
        for (int number = 1; number <= count; ++number) {
            jobs << job(QString::number(number));
            jobs.last().index = number;
        }
        return jobs;
    }

    void write(const QString& name, const QByteArray& content) const { writeFile(file(name).path(), content); }

    /// A place where a script waits: `read line < name`.
    void makeGate(const QString& name) const { ::mkfifo(QFile::encodeName(file(name).path()).constData(), 0600); }

    /// Waits until a script has come to the gate, reads what it had written by then, and lets it through.
    void openGate(const QString& name) const
    {
        QFile gate(file(name).path());
        if (!gate.open(QIODevice::WriteOnly))
            qFatal("cannot open the gate %s", qPrintable(gate.fileName()));
        QCoreApplication::processEvents();
        gate.write("\n");
    }

private:
    QTemporaryDir m_folder;
    FileURL m_url;
};
