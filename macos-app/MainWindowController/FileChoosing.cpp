#include "MainWindowController/FileChoosing.h"

#include "Controls/OnScreen.h"

#include <QFileDialog>
#include <QPointer>

using namespace Qt::StringLiterals;

namespace {

void openDialog(QWidget* window, QFileDialog* dialog, const std::optional<FileURL>& startingFolder,
                const std::function<void(const FileURL&)>& onChosen)
{
    if (startingFolder)
        dialog->setDirectory(startingFolder->path());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::WindowModal);
#ifndef Q_OS_MACOS
    dialog->setOption(QFileDialog::DontUseNativeDialog); // a desktop's own would speak the system's language
#endif
    QObject::connect(dialog, &QFileDialog::fileSelected, window,
                     [onChosen](const QString& path) { onChosen(FileURL(path)); });
    dialog->open();
    keepOnScreen(dialog);
}

} // namespace

void chooseVideo(QWidget* window, const std::optional<FileURL>& startingFolder,
                 const std::function<void(const FileURL&)>& onChosen)
{
    auto* dialog = new QFileDialog(window, u"选择视频"_s);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setOption(QFileDialog::HideNameFilterDetails);
    dialog->setNameFilter(u"视频 (*.mp4 *.m4v *.mov *.qt *.avi *.mkv *.webm *.mpg *.mpeg *.mpe *.m1v *.m2v *.vob *.ts "
                          "*.mts *.m2ts *.wmv *.asf *.flv *.f4v *.ogv *.3gp *.3g2 *.mxf *.dv *.divx *.rm *.rmvb)"_s);
    openDialog(window, dialog, startingFolder, onChosen);
}

void chooseFolder(QWidget* window, const std::optional<FileURL>& startingFolder,
                  const std::function<void(const FileURL&)>& onChosen)
{
    auto* dialog = new QFileDialog(window, u"选择目录"_s);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    openDialog(window, dialog, startingFolder, onChosen);
}

void chooseList(QWidget* window, const std::optional<FileURL>& startingFolder,
                const std::function<void(const FileURL&)>& onChosen)
{
    auto* dialog = new QFileDialog(window, u"打开列表"_s);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setOption(QFileDialog::HideNameFilterDetails);
    dialog->setNameFilter(u"列表 (*.json *.otio *.edl *.llc *.csv *.tsv *.txt *.ffmeta *.xml)"_s);
    openDialog(window, dialog, startingFolder, onChosen);
}

void chooseNewFile(QWidget* window, const QString& title, const FileURL& suggestion, const QStringList& nameFilters,
                   const std::function<void(const FileURL&, int filter)>& onChosen)
{
    auto* dialog = new QFileDialog(window, title);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setNameFilters(nameFilters);
    dialog->setDirectory(suggestion.deletingLastPathComponent().path());
    dialog->selectFile(suggestion.lastPathComponent());
    const auto suffixOf = [](const QString& filter) {
        const qsizetype point = filter.lastIndexOf(u"(*."_s);
        return filter.mid(point + 3).chopped(1);
    };
    dialog->setDefaultSuffix(suffixOf(nameFilters.first()));
    QObject::connect(dialog, &QFileDialog::filterSelected, dialog, [dialog, suffixOf](const QString& filter) {
        dialog->setDefaultSuffix(suffixOf(filter));
        const QString name = dialog->selectedFiles().value(0);
        if (!name.isEmpty()) // its suffix follows the kind
            dialog->selectFile(FileURL(name).baseName() + u'.' + suffixOf(filter));
    });
    const QPointer<QFileDialog> guarded(dialog);
    openDialog(window, dialog, std::nullopt, [guarded, nameFilters, onChosen](const FileURL& file) {
        onChosen(file, guarded ? static_cast<int>(nameFilters.indexOf(guarded->selectedNameFilter())) : 0);
    });
}
