#pragma once

#include "CutLists/KestrelList.h"
#include "MainWindowController/ListExport.h"

class MainWindow;

/// Lists as files: stores and opens a review, and reads the lists of other programs.
class ListDocuments final : public QObject
{
    Q_OBJECT

public:
    /// `jobs` tells what a split would run.
    ListDocuments(MainWindow& window, std::function<QList<FFmpegJob>()> jobs);

    /// Opens a list of any kind, as the command does after its dialog.
    void open(const FileURL& file);

Q_SIGNALS:
    /// Takes the place of the present list: one step of the history of that name.
    void opened(const KestrelList& document, const QString& stepName);
    void told(const QString& status);
    void failed(const QString& message);

private:
    void addActions();
    void chooseAndStore();
    void store(const FileURL& file);
    void chooseAndOpen();
    void findVideo(KestrelList document, const FileURL& file);
    void compareVideo(const KestrelList& document);
    void ask(const QString& difference, const KestrelList& document);
    void use(const KestrelList& document);
    void import(const QByteArray& bytes, const FileURL& file);
    void tellFailure(const FileURL& file, const QString& reason);

    MainWindow& m_window;
    FilmReading m_film;
    BackgroundWork m_work;
    ListExport m_export;
    QJsonObject m_otherKeys; ///< of the document that was opened last, for when it is stored again
    QJsonObject m_otherKestrelKeys;
};
