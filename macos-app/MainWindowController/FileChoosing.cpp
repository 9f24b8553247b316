#include "MainWindowController/FileChoosing.h"

#include "Controls/OnScreen.h"

#include <QFileDialog>

using namespace Qt::StringLiterals;

namespace {

void openDialog(QWidget* window, QFileDialog* dialog, const std::function<void(const FileURL&)>& onChosen)
{
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

void chooseVideo(QWidget* window, const std::function<void(const FileURL&)>& onChosen)
{
    auto* dialog = new QFileDialog(window, u"选择视频"_s);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setOption(QFileDialog::HideNameFilterDetails);
    dialog->setNameFilter(u"视频 (*.mp4 *.m4v *.mov *.qt *.avi *.mkv *.webm *.mpg *.mpeg *.mpe *.m1v *.m2v *.vob *.ts "
                          "*.mts *.m2ts *.wmv *.asf *.flv *.f4v *.ogv *.3gp *.3g2 *.mxf *.dv *.divx *.rm *.rmvb)"_s);
    openDialog(window, dialog, onChosen);
}

void chooseFolder(QWidget* window, const std::optional<FileURL>& startingFolder,
                  const std::function<void(const FileURL&)>& onChosen)
{
    auto* dialog = new QFileDialog(window, u"选择目录"_s);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    if (startingFolder)
        dialog->setDirectory(startingFolder->path());
    openDialog(window, dialog, onChosen);
}
