#include "MainWindowController/ListDocuments.h"

#include "CutLists/CutListError.h"
#include "CutLists/ShellScript.h"
#include "MainWindowController/FileChoosing.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentListEditor.h"
#include "Services/AppRuntimeError.h"

#include <QAction>
#include <QFile>
#include <QFileInfo>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSaveFile>
#include <QTableView>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString listEnding = u".kestrel.json"_s;

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

/// All of it or nothing. Throws CutListError with the reason.
void write(const FileURL& url, const QByteArray& content)
{
    QSaveFile file(url.path());
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.commit())
        throw CutListError(u"无法写入 "_s + url.path() + u"："_s + file.errorString());
}

QByteArray read(const FileURL& url)
{
    QFile file(url.path());
    if (!QFileInfo(url.path()).isFile() || !file.open(QIODevice::ReadOnly))
        throw CutListError(u"无法读取 "_s + url.path() + u"。"_s);
    if (file.size() > largestCutList)
        throw CutListError(u"文件太大，不是列表。"_s);
    return file.readAll();
}

/// "name-2.edl" for the second file of several.
FileURL numbered(const FileURL& file, qsizetype number)
{
    if (number == 1)
        return file;
    return file.deletingLastPathComponent().appendingPathComponent(file.baseName() + u'-' + QString::number(number) +
                                                                   u'.' + file.pathExtension());
}

/// The transition that the detector found before a segment.
QString transitionBefore(const EditableSegment& segment, const QList<TransitionEvent>& events)
{
    QString type;
    double latest = -1;
    for (const TransitionEvent& event : events) {
        if (event.start > latest && event.start <= segment.start + 0.0005) {
            latest = event.start;
            type = event.type;
        }
    }
    return type;
}

/// Times of pictures are rounded down to the millisecond: ffmpeg would begin a picture late otherwise.
std::pair<double, double> timesOf(const CutListItem& item, const std::optional<FrameRate>& rate)
{
    if (!item.pictures || !rate)
        return {item.start, item.end};
    const auto secondsAt = [&](qint64 picture) {
        return static_cast<double>(picture * 1000 * rate->denominator / rate->numerator) / 1000;
    };
    return {secondsAt(item.pictures->first), secondsAt(item.pictures->end)};
}

} // namespace

ListDocuments::ListDocuments(MainWindow& window, std::function<QList<FFmpegJob>()> jobs)
    : m_window(window)
    , m_jobs(std::move(jobs))
{
    addActions();
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
    connect(exportList, &QAction::triggered, this, &ListDocuments::chooseAndExport);
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
    try {
        write(file, encodeKestrelList(document));
        Q_EMIT told(u"列表已存储："_s + file.path());
    } catch (const std::exception& error) {
        Q_EMIT failed(errorDescription(error));
    }
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
    try {
        const QByteArray bytes = read(file);
        if (file.pathExtension().toLower() == u"json")
            findVideo(decodeKestrelList(bytes), file);
        else
            import(bytes, file);
    } catch (const std::exception& error) {
        Q_EMIT failed(u"无法打开列表 "_s + file.lastPathComponent() + u"："_s + errorDescription(error));
    }
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

/// A video of another size may be another one: the user decides.
void ListDocuments::compareVideo(const KestrelList& document)
{
    const auto use = [this, document] {
        m_otherKeys = document.otherKeys;
        m_otherKestrelKeys = document.otherKestrelKeys;
        Q_EMIT opened(document, u"打开列表"_s);
    };
    const qint64 size = QFileInfo(document.list.videoURL->path()).size();
    if (document.video.size == 0 || document.video.size == size) {
        use();
        return;
    }
    auto* question =
        new QMessageBox(QMessageBox::Question, u"Kestrel"_s, u"视频与列表不符"_s, QMessageBox::NoButton, &m_window);
    question->setAttribute(Qt::WA_DeleteOnClose);
    question->setWindowModality(Qt::WindowModal);
    question->setTextFormat(Qt::PlainText);
    question->setInformativeText(u"列表是为 %1 字节的视频存储的，“%2”有 %3 字节。时间可能对不上。"_s.arg(
        QString::number(document.video.size), document.list.videoURL->lastPathComponent(), QString::number(size)));
    const QPushButton* accept = question->addButton(u"仍然打开"_s, QMessageBox::AcceptRole);
    QPushButton* refuse = question->addButton(u"不打开"_s, QMessageBox::RejectRole);
    question->setDefaultButton(refuse);
    question->setEscapeButton(refuse);
    connect(accept, &QPushButton::clicked, this, use);
    question->open();
}

/// The list of another program becomes manual rows for the video that is chosen.
void ListDocuments::import(const QByteArray& bytes, const FileURL& file)
{
    const CutList video = cutList(false);
    if (video.video == FileURL())
        throw CutListError(u"请先选择这个列表的视频。"_s);
    if (file.pathExtension().toLower() == u"edl" && !video.rate)
        throw CutListError(u"EDL 按画面编号，请先“解析”视频，以便知道帧率。"_s);
    const CutList read = readCutList(file.pathExtension(), bytes, video);
    KestrelList document;
    document.list.videoURL = video.video;
    document.crop = m_window.cropField->text();
    document.prefix = m_window.prefixField->text();
    for (const CutListItem& item : read.items) {
        if (video.duration > 0 && timesOf(item, video.rate).first >= video.duration)
            throw CutListError(u"第 %1 个片段在视频结束之后。"_s.arg(document.list.segments.size() + 1));
        const auto [start, end] = timesOf(item, video.rate);
        document.list.segments.append({document.list.segments.size(), item.isEnabled, start, end, true});
    }
    m_otherKeys = {};
    m_otherKestrelKeys = {};
    Q_EMIT opened(document, u"打开列表"_s);
}

// Exporting

CutList ListDocuments::cutList(bool takesDisabled) const
{
    const SegmentList& list = m_window.segmentList->list();
    CutList cuts;
    cuts.video = list.videoURL.value_or(FileURL());
    cuts.title = cuts.video.baseName();
    if (list.payload) {
        cuts.duration = list.payload->duration;
        cuts.rate = FrameRate::of(list.payload->fps);
    }
    const QList<FFmpegJob> jobs = m_jobs();
    qsizetype job = 0;
    for (const EditableSegment& segment : list.segments) {
        const bool isWritten = segment.isEnabled && segment.duration() > 0;
        QString name;
        if (isWritten && job < jobs.size())
            name = jobs.at(job++).outputURL.lastPathComponent();
        if (isWritten || (takesDisabled && segment.duration() > 0))
            cuts.items.append(
                {name, segment.start, segment.end, segment.isEnabled, transitionBefore(segment, list.events()), {}});
    }
    return cuts;
}

void ListDocuments::chooseAndExport()
{
    if (m_jobs().isEmpty()) {
        Q_EMIT failed(u"没有可导出的片段：请先“解析”，并至少勾选一个片段。"_s);
        return;
    }
    QStringList filters;
    QList<CutListKind> kinds;
    for (const CutListKind& kind : cutListKinds()) {
        if (kind.needsPictures)
            continue;
        kinds.append(kind);
        filters.append(kind.title + u" (*."_s + kind.suffix + u')');
    }
    filters.append(u"分解脚本 (*.sh)"_s);
    const FileURL video = *m_window.segmentList->list().videoURL;
    const FileURL suggestion =
        video.deletingLastPathComponent().appendingPathComponent(video.baseName() + u'.' + kinds.first().suffix);
    chooseNewFile(&m_window, u"导出"_s, suggestion, filters, [this, kinds](const FileURL& file, int kind) {
        try {
            if (kind < kinds.size())
                exportTo(file, kinds.at(kind));
            else
                write(file, writeShellScript(m_jobs()));
            Q_EMIT told(u"已导出："_s + file.path());
        } catch (const std::exception& error) {
            Q_EMIT failed(errorDescription(error));
        }
    });
}

void ListDocuments::exportTo(const FileURL& file, const CutListKind& kind)
{
    const QList<QByteArray> files = kind.write(cutList(kind.takesDisabled));
    for (qsizetype i = 0; i < files.size(); ++i)
        write(numbered(file, i + 1), files[i]);
}
