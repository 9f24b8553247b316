#include "MainWindowController/OutputFields.h"

#include "Controls/DroppablePathField.h"
#include "MainWindowController/FileChoosing.h"
#include "MainWindowController/MainWindow.h"
#include "MainWindowController/SegmentListEditor.h"
#include "Models/OutputNaming.h"

#include <QPushButton>

using namespace Qt::StringLiterals;

OutputFields::OutputFields(MainWindow& window)
    : m_window(window)
{
    window.outputDirectoryField->onURLDropped = [this](const QString& path) { apply(FileURL(path), true); };
    connect(window.outputDirectoryField, &QLineEdit::textEdited, this, &OutputFields::edited);
    connect(window.selectOutputDirectoryButton, &QAbstractButton::clicked, this, &OutputFields::choose);
    connect(window.resetOutputDirectoryButton, &QAbstractButton::clicked, this, &OutputFields::reset);
    connect(window.prefixField, &QLineEdit::textEdited, this, &OutputFields::changed);
    updateNamingPreview();
}

void OutputFields::followVideo()
{
    const auto folder = videoDirectoryURL();
    if (folder && (!m_wasChosenManually || !m_directoryURL))
        apply(*folder, false);
}

std::optional<FileURL> OutputFields::directoryURL() const
{
    const QString text = m_window.outputDirectoryField->text();
    if (m_directoryURL && text == m_directoryURL->path())
        return m_directoryURL; // a chosen folder's name may begin or end with a blank
    if (!text.trimmed().isEmpty())
        return FileURL::fromUserPath(text.trimmed());
    return m_directoryURL ? m_directoryURL : videoDirectoryURL();
}

void OutputFields::updateNamingPreview()
{
    const FileURL video = m_window.segmentList->list().videoURL.value_or(FileURL(u"clip.mp4"_s));
    const QString prefix = sanitizePrefix(m_window.prefixField->text(), video.baseName());
    const QString name = makeOutputFileName(prefix, 1, video.pathExtension());
    const auto directory = directoryURL();
    m_window.namingPreviewLabel->setText(directory ? directory->appendingPathComponent(name).path() : name);
}

void OutputFields::choose()
{
    chooseFolder(&m_window, directoryURL(), [this](const FileURL& url) { apply(url, true); });
}

void OutputFields::apply(const FileURL& url, bool manual)
{
    m_wasChosenManually = manual;
    m_directoryURL = url;
    m_window.outputDirectoryField->setText(url.path());
    Q_EMIT changed();
}

void OutputFields::reset()
{
    m_wasChosenManually = false;
    if (const auto folder = videoDirectoryURL()) {
        apply(*folder, false);
        return;
    }
    m_directoryURL.reset();
    m_window.outputDirectoryField->clear();
    Q_EMIT changed();
}

void OutputFields::edited()
{
    const QString text = m_window.outputDirectoryField->text().trimmed();
    m_wasChosenManually = !text.isEmpty();
    m_directoryURL.reset();
    if (!text.isEmpty())
        m_directoryURL = FileURL::fromUserPath(text);
    Q_EMIT changed();
}

std::optional<FileURL> OutputFields::videoDirectoryURL() const
{
    const auto& video = m_window.segmentList->list().videoURL;
    return video ? std::optional(video->deletingLastPathComponent()) : std::nullopt;
}
