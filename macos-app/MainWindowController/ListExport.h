#pragma once

#include "CutLists/CutListKinds.h"
#include "MainWindowController/BackgroundWork.h"
#include "MainWindowController/FilmReading.h"
#include "Models/FFmpegJob.h"
#include "Models/SegmentList.h"

class MainWindow;

/// Writes the enabled segments as lists for other programs, with the names that their clips get.
class ListExport final : public QObject
{
    Q_OBJECT

public:
    /// `jobs` tells what a split would run.
    ListExport(MainWindow& window, FilmReading& film, BackgroundWork& work, std::function<QList<FFmpegJob>()> jobs);

    void chooseAndExport();

Q_SIGNALS:
    void told(const QString& status);
    void failed(const QString& message);

private:
    void exportTo(const FileURL& file, const CutListKind& kind);
    void countAndWrite(const FileURL& file, const CutListKind& kind, const CutList& cuts,
                       const std::optional<FilmTimes>& film);
    void tellFailure(const QString& reason);

    MainWindow& m_window;
    FilmReading& m_film;
    BackgroundWork& m_work;
    const std::function<QList<FFmpegJob>()> m_jobs;
};
