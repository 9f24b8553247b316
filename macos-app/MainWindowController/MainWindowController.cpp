#include "MainWindowController/MainWindowController.h"

#include "Controls/DroppablePathField.h"
#include "Controls/FittingLabel.h"
#include "Jobs/OlderFiles.h"
#include "MainWindowController/EventTableModel.h"
#include "MainWindowController/FileChoosing.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentListEditor.h"
#include "MainWindowController/SegmentTableModel.h"
#include "MainWindowController/ToolTips.h"
#include "Models/InputReading.h"
#include "Models/JobBuilder.h"
#include "Models/NumberText.h"
#include "Models/SegmentEditing.h"
#include "Services/MessageError.h"
#include "Services/RuntimeResolver.h"

#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTableView>

using namespace Qt::StringLiterals;

namespace {

/// How long a sentence of the status line stays before a hint follows it.
constexpr int hintMilliseconds = 3000;

/// Leaves a field that already has the text alone: its cursor and its undo history stay.
void setTextIfDifferent(QLineEdit* field, const QString& text)
{
    if (field->text() != text)
        field->setText(text);
}

bool isExistingFile(const FileURL& url)
{
    const QFileInfo info(url.path());
    return info.exists() && !info.isDir();
}

} // namespace

MainWindowController::MainWindowController()
    : m_window(std::make_unique<MainWindow>())
    , m_output(*m_window)
    , m_segmentPanel(*m_window)
    , m_viewer(*m_window, [this] { return viewerContent(); })
    , m_review(*m_window, *m_viewer.viewer(), [this] { return viewerContent(); })
    , m_listActions(*m_window)
    , m_editReapplication(*m_window->segmentList, {m_window->eventTableView, m_window->segmentTableView})
    , m_editRecovery(*m_window->segmentList)
    , m_listDocuments(*m_window, [this] { return m_generatedJobs; })
    , m_alerts(m_window.get())
    , m_split([this] { return currentConcurrency(); })
{
    connectInputs();
    connectFadeStrategies();
    connectTables();
    connectHistory();
    connectDocuments();
    m_detections.onProgress = [this](const QString& line) { showStatus(line); };
    m_detections.onResult = [this](const auto& request, const auto& result) { showResult(request, result); };
    m_detections.onEnd = [this] { updateButtons(); };
    connect(&m_split, &RunningSplit::runningChanged, this, &MainWindowController::updateButtons);
    connect(&m_split, &RunningSplit::statusChanged, this, &MainWindowController::showStatus);
    connect(&m_split, &RunningSplit::failed, this, &MainWindowController::showError);
    updateButtons();
}

MainWindowController::~MainWindowController() = default;

void MainWindowController::connectInputs()
{
    const auto& window = *m_window;
    window.videoPathField->onURLDropped = [this](const QString& path) { applyVideoURL(FileURL(path)); };
    connect(window.videoPathField, &QLineEdit::textEdited, this, &MainWindowController::videoPathEdited);
    connect(&m_output, &OutputFields::changed, this, &MainWindowController::jobInputEdited);
    connect(window.cropField, &QLineEdit::textEdited, this, &MainWindowController::jobInputEdited);
    connect(window.skipStartField, &QLineEdit::textEdited, this, &MainWindowController::jobInputEdited);
    connect(window.concurrencyField, &QLineEdit::textEdited, this, [this] { std::ignore = currentConcurrency(); });
    connect(window.concurrencyStepper, &QSpinBox::valueChanged, this,
            [this](int value) { setTextIfDifferent(m_window->concurrencyField, QString::number(value)); });

    connect(window.selectVideoButton, &QAbstractButton::clicked, this, &MainWindowController::selectVideo);
    connect(window.parseButton, &QAbstractButton::clicked, this, &MainWindowController::parseVideo);
    connect(window.splitButton, &QAbstractButton::clicked, this, &MainWindowController::splitVideo);
}

void MainWindowController::connectFadeStrategies()
{
    for (const FadeStrategyRow& row : m_window->fadeStrategyRows) {
        connect(row.button, &QAbstractButton::clicked, this, &MainWindowController::fadeStrategyChosen);
        connect(row.leftField, &QLineEdit::textEdited, this, &MainWindowController::fadePaddingEdited);
        connect(row.rightField, &QLineEdit::textEdited, this, &MainWindowController::fadePaddingEdited);
    }
}

void MainWindowController::connectTables()
{
    const auto& window = *m_window;
    connect(window.segmentList, &SegmentListEditor::replaced, this, &MainWindowController::segmentListReplaced);
    connect(window.segmentList, &SegmentListEditor::videoChanged, this, &MainWindowController::jobInputEdited);
    connect(window.segmentList, &SegmentListEditor::edited, this, &MainWindowController::refreshGeneratedJobs);
    connect(window.segmentTableModel, &SegmentTableModel::editRefused, this, &MainWindowController::showError);
    window.segmentTableModel->rowToolTip = [this](int row) {
        return segmentToolTip(list().segments, m_generatedJobs, row);
    };
    window.namingPreviewLabel->moreToTell = [this] {
        return namingToolTip(list().videoURL, olderFilesToTrash(m_generatedJobs, m_split.writtenClips()));
    };
}

void MainWindowController::connectHistory()
{
    SegmentListEditor* list = m_window->segmentList;
    connect(list, &SegmentListEditor::undone, this, [this](const QString& step) {
        showVideoOfList();
        showStatus(u"已撤销："_s + step + u"。"_s);
    });
    connect(list, &SegmentListEditor::redone, this, [this](const QString& step) {
        showVideoOfList();
        showStatus(u"已重做："_s + step + u"。"_s);
    });
    connect(&m_listActions, &ListActions::refused, this, &MainWindowController::showStatus);
    connect(&m_editReapplication, &EditReapplication::told, this, &MainWindowController::showStatus);
    connect(&m_listActions, &ListActions::restoreRequested, this, [this] {
        m_editRecovery.restore();
        showStatus(u"已恢复上次的修改，按 Ctrl+Z 可撤销。"_s);
    });
    connect(&m_editRecovery, &EditRecovery::offered, this, [this](const QString& description) {
        m_listActions.offerRestoring(description);
        m_window->scriptPanel->setToolTip(
            description.isEmpty() ? QString() : u"有上次的修改（%1），右键可恢复。"_s.arg(description));
        if (!description.isEmpty() && !m_hintTimer.isActive())
            showHint(u"有上次的修改（%1），在表格中右键可恢复。"_s.arg(description));
    });
    connect(&m_editRecovery, &EditRecovery::copiesFail, this,
            [this] { showStatus(u"无法在缓存文件夹中保存修改的副本。"_s); });
    m_hintTimer.setSingleShot(true);
    m_hintTimer.setInterval(hintMilliseconds);
    connect(&m_hintTimer, &QTimer::timeout, this, [this] { m_window->statusLabel->setText(m_hint); });
}

void MainWindowController::connectDocuments()
{
    connect(&m_listDocuments, &ListDocuments::told, this, &MainWindowController::showStatus);
    connect(&m_listDocuments, &ListDocuments::failed, this, &MainWindowController::showError);
    connect(&m_listDocuments, &ListDocuments::opened, this,
            [this](const KestrelList& document, const QString& stepName) {
                m_detections.forget();
                m_window->cropField->setText(document.crop);
                m_window->prefixField->setText(document.prefix);
                m_window->segmentList->replace(document.list, stepName);
                showVideoOfList();
                showStatus(u"列表已打开：%1 个片段。"_s.arg(list().segments.size()));
            });
}

/// The fields that belong to the list's video follow it.
void MainWindowController::showVideoOfList()
{
    const auto& video = list().videoURL;
    if (FileURL::fromUserPath(m_window->videoPathField->text().trimmed()) == video.value_or(FileURL()))
        return;
    m_detections.forget();
    m_window->videoPathField->setText(video ? video->path() : QString());
    m_output.followVideo();
}

// Video and output folder

void MainWindowController::selectVideo()
{
    const auto& video = list().videoURL;
    chooseVideo(m_window.get(), video ? std::optional(video->deletingLastPathComponent()) : std::nullopt,
                [this](const FileURL& url) { applyVideoURL(url); });
}

void MainWindowController::openVideo(const FileURL& url)
{
    if (isExistingFile(url))
        applyVideoURL(url);
    m_window->raise();
    m_window->activateWindow();
}

void MainWindowController::applyVideoURL(const FileURL& url)
{
    clearDetectionResults(u"选择视频"_s, url);
    m_window->videoPathField->setText(url.path());
    m_output.followVideo();
    if (m_window->prefixField->text().isEmpty())
        m_window->prefixField->setText(url.baseName());
    m_output.updateNamingPreview();
    showStatus(u"视频已准备好，点击“解析”生成结果和脚本。"_s);
}

void MainWindowController::videoPathEdited()
{
    const QString text = m_window->videoPathField->text().trimmed();
    const FileURL url = FileURL::fromUserPath(text);
    const bool isUsable = !text.isEmpty() && isExistingFile(url);
    m_detections.forget();
    if (!isUsable) {
        clearDetectionResults(u"选择视频"_s, std::nullopt, SegmentListEditor::Series::typedPath);
        showStatus(text.isEmpty() ? u"请输入视频文件路径，或直接拖入视频。"_s
                                  : u"当前视频路径无效，请检查文件是否存在。"_s);
        return;
    }
    if (list().payload)
        clearDetectionResults(u"选择视频"_s, url, SegmentListEditor::Series::typedPath);
    else
        m_window->segmentList->changeVideo(url, SegmentListEditor::Series::typedPath);
    m_output.followVideo();
    showStatus(u"视频路径已更新，点击“解析”生成结果和脚本。"_s);
}

// Detection

void MainWindowController::fadePaddingEdited()
{
    if (list().payload)
        parse(SegmentListEditor::Series::typedPadding);
}

void MainWindowController::fadeStrategyChosen()
{
    if (list().videoURL && list().payload)
        parseVideo();
    else
        showStatus(u"Fade 删除策略已切换为 "_s + currentFadeRemovalStrategy().displayName() + u"。"_s);
}

FadeRemovalStrategy MainWindowController::currentFadeRemovalStrategy() const
{
    for (const FadeStrategyRow& row : m_window->fadeStrategyRows) {
        if (row.button->isChecked())
            return row.strategy;
    }
    return FadeRemovalStrategy::defaultValue;
}

DetectionRequest MainWindowController::currentDetectionRequest() const
{
    const FadeRemovalStrategy strategy = currentFadeRemovalStrategy();
    const FadeStrategyRow& row = m_window->fadeStrategyRows.at(static_cast<std::size_t>(strategy.position()));
    return {*list().videoURL, readSkipStartSeconds(m_window->skipStartField->text()), strategy,
            readFadePadding(row.leftField->text(), row.rightField->text(), strategy)};
}

std::optional<QString> MainWindowController::validateInputs() const
{
    if (auto message = validateSkipStart(m_window->skipStartField->text()))
        return message;
    if (auto message = validateCropParameters(m_window->cropField->text()))
        return message;
    QList<QString> paddings;
    for (const FadeStrategyRow& row : m_window->fadeStrategyRows)
        paddings << row.leftField->text() << row.rightField->text();
    return validateFadePadding(paddings);
}

void MainWindowController::parseVideo()
{
    parse(SegmentListEditor::Series::none);
}

void MainWindowController::parse(SegmentListEditor::Series series)
{
    if (!list().videoURL) {
        const bool isFolder = QFileInfo(m_window->videoPathField->text().trimmed()).isDir();
        showError(u"请先选择视频文件，或直接拖入视频。"_s +
                  (isFolder ? u"\n现在填写的是一个文件夹，请选择其中的视频。"_s : QString()));
        return;
    }
    if (const auto message = validateInputs()) {
        showError(*message);
        return;
    }
    const auto directory = m_output.directoryURL();
    if (!directory) {
        showError(u"无法确定输出目录。"_s);
        return;
    }
    setTextIfDifferent(m_window->outputDirectoryField, directory->path());
    showStatus(u"解析中，请稍候..."_s);
    m_parseSeries = series;
    try {
        m_detections.start(DetectorService(RuntimeResolver::resolve()), currentDetectionRequest());
    } catch (const std::exception& error) {
        showStatus(u"解析失败。"_s);
        showError(errorDescription(error));
    }
    updateButtons();
}

void MainWindowController::showResult(const DetectionRequest& request, const DetectionResult& result)
{
    if (const auto* payload = std::get_if<DetectorPayload>(&result)) {
        showPayload(request, *payload);
        return;
    }
    clearDetectionResults(u"解析"_s, list().videoURL, m_parseSeries);
    showStatus(u"解析失败。"_s);
    try {
        std::rethrow_exception(std::get<std::exception_ptr>(result));
    } catch (const std::exception& error) {
        showError(errorDescription(error));
    }
}

void MainWindowController::showPayload(const DetectionRequest& request, const DetectorPayload& payload)
{
    const QModelIndexList selectedEvents = m_window->eventTableView->selectionModel()->selectedRows();
    const SegmentList before = list();
    const qsizetype replacedEdits = before.videoURL == request.videoURL ? editCount(before) : 0;
    const SegmentList parsed{request.videoURL, payload, buildEditableSegments(payload), {}};
    m_window->segmentList->replace(parsed, u"解析"_s, m_parseSeries);
    if (!selectedEvents.isEmpty() && selectedEvents.first().row() < payload.events.size())
        m_window->eventTableView->selectRow(selectedEvents.first().row());
    showStatus(u"解析完成：%1 个换场，%2 个保留片段，Fade=%3 L=%4s R=%5s。"_s.arg(
        QString::number(payload.events.size()), QString::number(payload.keepSegments.size()),
        request.fadeRemovalStrategy.displayName(), formatFixed(request.fadePadding.leftSeconds, 2),
        formatFixed(request.fadePadding.rightSeconds, 2)));
    const QString how = m_editReapplication.offer(before) ? u"，右键可重新应用"_s : QString();
    if (replacedEdits > 0)
        showHint(u"重新解析替换了 %1 处修改，按 Ctrl+Z 可恢复%2。"_s.arg(QString::number(replacedEdits), how));
    m_editRecovery.lookForCopy();
}

void MainWindowController::clearDetectionResults(const QString& stepName, const std::optional<FileURL>& videoURL,
                                                 SegmentListEditor::Series series)
{
    m_detections.forget();
    m_window->segmentList->replace({videoURL, std::nullopt, {}, {}}, stepName, series);
}

// Jobs and segments

const SegmentList& MainWindowController::list() const
{
    return m_window->segmentList->list();
}

void MainWindowController::segmentListReplaced()
{
    jobInputEdited();
    if (list().segments.isEmpty() && !list().payload) {
        m_generatedJobs.clear();
        m_window->summaryLabel->setText(resultSummary(std::nullopt, std::nullopt));
        m_segmentPanel.updateMasterCheckbox();
        updateButtons();
    }
}

/// Something that the names, places or crop of the jobs depend on has changed.
void MainWindowController::jobInputEdited()
{
    if (list().payload || !list().segments.isEmpty())
        refreshGeneratedJobs();
    else
        m_output.updateNamingPreview();
}

void MainWindowController::refreshGeneratedJobs()
{
    const QList<EditableSegment>& segments = list().segments;
    const auto directory = m_output.directoryURL();
    const bool canBuildJobs = list().videoURL && directory;
    m_generatedJobs.clear();
    if (canBuildJobs) {
        m_generatedJobs = buildJobs(segments, *list().videoURL, *directory, m_window->prefixField->text(),
                                    readCropParameters(m_window->cropField->text()));
        m_segmentPanel.selectRelatedRows(false);
    }
    const bool hasSomethingToCount = canBuildJobs || !segments.isEmpty();
    m_window->summaryLabel->setText(
        resultSummary(list().payload, hasSomethingToCount ? std::optional(segments.size()) : std::nullopt));
    m_segmentPanel.updateMasterCheckbox();
    updateButtons();
    m_output.updateNamingPreview();
}

// Split

int MainWindowController::currentConcurrency()
{
    const int concurrency = readConcurrency(m_window->concurrencyField->text());
    setTextIfDifferent(m_window->concurrencyField, QString::number(concurrency));
    m_window->concurrencyStepper->setValue(concurrency);
    return concurrency;
}

void MainWindowController::splitVideo()
{
    if (!m_split.mayStart() || m_generatedJobs.isEmpty()) {
        showError(u"当前没有可执行的 ffmpeg 任务，请先点击“解析”。"_s);
        return;
    }
    if (const auto message = validateInputs()) {
        showError(*message);
        return;
    }
    refreshGeneratedJobs();
    m_split.start(m_generatedJobs, m_output.directoryURL());
}

// What the window shows

void MainWindowController::updateButtons()
{
    m_split.setParsing(m_detections.areRunning());
    m_window->parseButton->setEnabled(m_split.mayStart());
    m_window->splitButton->setEnabled(m_split.mayStart() && !m_generatedJobs.isEmpty());
    m_window->addSegmentButton->setEnabled(!m_split.isRunning());
    m_viewer.setSplitRunning(m_split.isRunning());
    m_review.setSplitRunning(m_split.isRunning());
}

ViewerContent MainWindowController::viewerContent() const
{
    return ViewerContent::of(list(), readCropParameters(m_window->cropField->text()));
}

void MainWindowController::showStatus(const QString& text)
{
    m_hintTimer.stop();
    m_window->statusLabel->setText(text);
}

/// Takes the place of the sentence that the status line shows now, unless another one does so first.
void MainWindowController::showHint(const QString& text)
{
    m_hint = text;
    m_hintTimer.start();
}

void MainWindowController::showError(const QString& message)
{
    m_alerts.showError(message);
}
