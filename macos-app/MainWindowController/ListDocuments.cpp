#include "MainWindowController/ListDocuments.h"

#include "Controls/OnScreen.h"
#include "CutLists/CutListError.h"
#include "CutLists/CutListKinds.h"
#include "CutLists/ListRules.h"
#include "CutLists/ListTimes.h"
#include "Frames/PictureNumbers.h"
#include "MainWindowController/FileChoosing.h"
#include "MainWindowController/ListFiles.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentListEditor.h"
#include "Models/TimeText.h"
#include "Services/MessageError.h"

#include <QAction>
#include <QFileInfo>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTableView>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

const QString listEnding = u".kestrel.json"_s;
/// Seconds: what one file's length differs by from program to program.
constexpr double mostDifference = 0.5;

QAction* addAction(MainWindow& window, const QList<QTableView*>& tables, const QString& name, const QString& text,
                   const QKeySequence& key = {})
{
    auto* action = new QAction(text, &window);
    action->setObjectName(name);
    action->setShortcut(key);
    window.addAction(action);
    for (QTableView* table : tables)
        table->addAction(action);
    return action;
}

/// The rows for another program's list. Throws CutListError.
QList<EditableSegment> segmentsIn(const QByteArray& bytes, const FileURL& file, CutList video,
                                  const std::optional<FilmTimes>& film)
{
    const bool countsPictures = cutListKindOf(file.pathExtension(), bytes).pictures == PictureUse::needed;
    if (film)
        video.duration = film->duration.value_or(video.duration);
    if (film && countsPictures)
        describeFilm(video, *film);
    CutList read = readCutList(file.pathExtension(), bytes, video);
    if (film && countsPictures)
        timePictures(read, *film);
    QList<EditableSegment> segments;
    for (const CutListItem& item : read.items) {
        const auto [start, end] = wholeMilliseconds(item.start, item.end);
        segments.append({segments.size(), item.isEnabled, start, end, true});
    }
    if (const auto fault = faultOfClips(segments, video.duration))
        throw CutListError(*fault);
    return segments;
}

} // namespace

ListDocuments::ListDocuments(MainWindow& window, std::function<QList<FFmpegJob>()> jobs)
    : m_window(window)
    , m_film(window)
    , m_export(window, m_film, m_work, std::move(jobs))
{
    addActions();
    m_film.onBegin = [this](const QString& status) { Q_EMIT told(status); };
    connect(&m_export, &ListExport::told, this, &ListDocuments::told);
    connect(&m_export, &ListExport::failed, this, &ListDocuments::failed);
}

void ListDocuments::addActions()
{
    const QList<QTableView*> both = {m_window.eventTableView, m_window.segmentTableView};
    for (QTableView* table : both) {
        auto* separator = new QAction(table);
        separator->setSeparator(true);
        table->addAction(separator);
    }
    QAction* save = addAction(m_window, both, u"saveListAction"_s, u"存储列表…"_s, u"Ctrl+S"_s);
    QAction* openList = addAction(m_window, both, u"openListAction"_s, u"打开列表…"_s, u"Ctrl+O"_s);
    QAction* exportList = addAction(m_window, {m_window.segmentTableView}, u"exportListAction"_s, u"导出…"_s);
    connect(save, &QAction::triggered, this, &ListDocuments::chooseAndStore);
    connect(openList, &QAction::triggered, this, &ListDocuments::chooseAndOpen);
    connect(exportList, &QAction::triggered, &m_export, &ListExport::chooseAndExport);
    connect(&m_window, &MainWindow::listDropped, this, &ListDocuments::open);
}

// Storing

void ListDocuments::chooseAndStore()
{
    const auto& video = m_window.segmentList->list().videoURL;
    if (!video) {
        Q_EMIT failed(u"请先选择视频文件，或直接拖入视频。"_s);
        return;
    }
    const FileURL suggestion =
        video->deletingLastPathComponent().appendingPathComponent(video->baseName() + listEnding);
    chooseNewFile(&m_window, u"存储列表"_s, suggestion, {u"Kestrel 列表 (*.kestrel.json)"_s},
                  [this](const FileURL& file, int /*kind*/) { store(file); });
}

void ListDocuments::store(const FileURL& file)
{
    KestrelList document;
    document.list = m_window.segmentList->list();
    const QString path = document.list.videoURL.value_or(FileURL()).path();
    document.video = {path, QFileInfo(path).size(), document.list.payload ? document.list.payload->duration : 0};
    document.crop = m_window.cropField->text();
    document.prefix = m_window.prefixField->text();
    document.otherKeys = m_otherKeys;
    document.otherKestrelKeys = m_otherKestrelKeys;
    const auto work = [this, file, document]() -> BackgroundWork::Then {
        writeListFile(file, encodeKestrelList(document));
        return [this, file] { Q_EMIT told(u"列表已存储："_s + file.path()); };
    };
    m_work.run(work, [this](const QString& reason) {
        Q_EMIT told(u"列表没有存储。"_s);
        Q_EMIT failed(reason);
    });
}

// Opening

void ListDocuments::chooseAndOpen()
{
    const auto& video = m_window.segmentList->list().videoURL;
    chooseList(&m_window, video ? std::optional(video->deletingLastPathComponent()) : std::nullopt,
               [this](const FileURL& file) { open(file); });
}

void ListDocuments::open(const FileURL& file)
{
    const auto work = [this, file]() -> BackgroundWork::Then {
        const QByteArray bytes = readListFile(file);
        if (file.pathExtension().toLower() == u"json")
            return [this, file, document = decodeKestrelList(bytes)] { findVideo(document, file); };
        return [this, file, bytes] { import(bytes, file); };
    };
    m_work.run(work, [this, file](const QString& reason) { tellFailure(file, reason); });
}

/// Where the document says, else beside the list, else where the user says.
void ListDocuments::findVideo(KestrelList document, const FileURL& file)
{
    const FileURL named(document.video.path);
    const FileURL beside = file.deletingLastPathComponent().appendingPathComponent(named.lastPathComponent());
    for (const FileURL& place : {named, beside}) {
        if (QFileInfo(place.path()).isFile()) {
            document.list.videoURL = place;
            compareVideo(document);
            return;
        }
    }
    Q_EMIT told(u"列表的视频不在原处，请选择："_s + named.lastPathComponent());
    chooseVideo(&m_window, std::nullopt, [this, document](const FileURL& place) mutable {
        document.list.videoURL = place;
        compareVideo(document);
    });
}

/// A video of another size or length may be another one: the user decides.
void ListDocuments::compareVideo(const KestrelList& document)
{
    m_film.read(*document.list.videoURL, FilmScan::Extent::description,
                [this, document](const auto& film, const auto&) {
                    const qint64 size = QFileInfo(document.list.videoURL->path()).size();
                    const double duration = film && film->duration ? *film->duration : document.video.duration;
                    QStringList differences;
                    if (document.video.size != 0 && document.video.size != size)
                        differences.append(u"大小 %1 字节，现在是 %2 字节"_s.arg(document.video.size).arg(size));
                    if (document.video.duration > 0 && std::abs(document.video.duration - duration) > mostDifference)
                        differences.append(u"时长 %1，现在是 %2"_s.arg(formatShownTime(document.video.duration),
                                                                       formatShownTime(duration)));
                    if (differences.isEmpty())
                        use(document);
                    else
                        ask(differences.join(u"；"_s), document);
                });
}

void ListDocuments::ask(const QString& difference, const KestrelList& document)
{
    auto* question =
        new QMessageBox(QMessageBox::Question, u"Kestrel"_s, u"视频与列表不符"_s, QMessageBox::NoButton, &m_window);
    question->setAttribute(Qt::WA_DeleteOnClose);
    question->setWindowModality(Qt::WindowModal);
    question->setTextFormat(Qt::PlainText);
    question->setInformativeText(
        u"“%1”存储列表时%2。片段的时间可能对不上。"_s.arg(document.list.videoURL->lastPathComponent(), difference));
    const QPushButton* accept = question->addButton(u"仍然打开"_s, QMessageBox::AcceptRole);
    QPushButton* refuse = question->addButton(u"不打开"_s, QMessageBox::RejectRole);
    question->setDefaultButton(refuse);
    question->setEscapeButton(refuse);
    connect(accept, &QPushButton::clicked, this, [this, document] { use(document); });
    question->open();
    keepOnScreen(question);
}

void ListDocuments::use(const KestrelList& document)
{
    m_otherKeys = document.otherKeys;
    m_otherKestrelKeys = document.otherKestrelKeys;
    Q_EMIT opened(document, u"打开列表"_s);
}

// Lists of other programs

/// They become manual rows for the video that is chosen, of which is read what the kind of list needs.
void ListDocuments::import(const QByteArray& bytes, const FileURL& file)
{
    const SegmentList& list = m_window.segmentList->list();
    if (!list.videoURL)
        throw CutListError(u"请先选择这个列表的视频。"_s);
    CutList video;
    video.video = *list.videoURL;
    video.duration = list.payload ? list.payload->duration : 0;
    const bool needsPictures = cutListKindOf(file.pathExtension(), bytes).pictures == PictureUse::needed;
    const auto extent = needsPictures ? FilmScan::Extent::allFrames : FilmScan::Extent::description;
    m_film.read(video.video, extent, [=, this](const std::optional<FilmTimes>& film, const QString& failure) {
        if (!film && failure.isEmpty()) {
            Q_EMIT told(u"已取消打开列表。"_s);
            return;
        }
        if (!film && needsPictures) {
            tellFailure(file, failure);
            return;
        }
        const auto work = [=, this]() -> BackgroundWork::Then {
            const QList<EditableSegment> segments = segmentsIn(bytes, file, video, film);
            return [this, video, segments] {
                KestrelList document;
                document.list = {video.video, std::nullopt, segments, {}};
                document.crop = m_window.cropField->text();
                document.prefix = m_window.prefixField->text();
                use(document);
            };
        };
        m_work.run(work, [this, file](const QString& reason) { tellFailure(file, reason); });
    });
}

void ListDocuments::tellFailure(const FileURL& file, const QString& reason)
{
    Q_EMIT told(u"打开列表失败。"_s);
    Q_EMIT failed(u"无法打开列表 "_s + file.lastPathComponent() + u"："_s + reason);
}
