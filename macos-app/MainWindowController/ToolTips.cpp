#include "MainWindowController/ToolTips.h"

#include "Controls/DroppablePathField.h"
#include "Jobs/OutputFormats.h"
#include "MainWindowController/MainWindow.h"
#include "Models/NumberText.h"

#include <QCheckBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool givesFile(const EditableSegment& segment)
{
    return segment.isEnabled && segment.duration() > 0;
}

QString whatItRemoves(FadeRemovalStrategy strategy)
{
    static const std::array<QString, FadeRemovalStrategy::allCases.size()> texts = {
        u"只删除经过纯色（多为黑场）的淡出淡入中最确定的部分。"_s,
        u"删除完整的淡出淡入，以及有把握的叠化。"_s,
        u"删除所有渐变：淡入淡出、叠化、划像。"_s,
        u"删除所有渐变，再加上片头片尾的渐变和黑场，并丢掉过短的碎片。"_s,
    };
    return texts.at(static_cast<std::size_t>(strategy.position()));
}

} // namespace

void addToolTips(const MainWindow& window)
{
    window.videoPathField->setToolTip(u"要分解的视频：拖入文件，或粘贴、输入它的路径。"_s);
    window.selectVideoButton->setToolTip(u"从当前视频所在的文件夹开始选择。"_s);
    window.outputDirectoryField->setToolTip(u"片段写到这个文件夹；分解时没有就新建。"_s);
    window.selectOutputDirectoryButton->setToolTip(u"选择片段要写到的文件夹。"_s);
    window.resetOutputDirectoryButton->setToolTip(u"片段重新写到视频所在的文件夹。"_s);
    window.prefixField->setToolTip(u"片段文件名的开头；留空时用视频的名字。"_s);
    window.cropField->setToolTip(u"只保留画面的这一块，单位像素；X、Y 是它左上角的位置。"_s);
    window.skipStartField->setToolTip(u"开头的这些秒不检测，也不保留，0 到 86400。"_s);
    for (const FadeStrategyRow& row : window.fadeStrategyRows) {
        row.button->setToolTip(whatItRemoves(row.strategy));
        row.leftField->setToolTip(u"在换场开始之前再多删这么多秒，0 到 5。"_s);
        row.rightField->setToolTip(u"在换场结束之后再多删这么多秒，0 到 5。"_s);
    }
    window.concurrencyField->setToolTip(u"同时运行几个 ffmpeg，1 到 12；每个有自己的日志窗口。"_s);
    window.concurrencyStepper->setToolTip(window.concurrencyField->toolTip());
    window.parseButton->setToolTip(u"检测换场，列出要保留的片段。"_s);
    window.splitButton->setToolTip(u"把每个启用的片段写成一个文件。"_s);
    window.segmentMasterCheckbox->setToolTip(u"启用或停用全部片段。"_s);
    window.addSegmentButton->setToolTip(u"在末尾追加一个手工片段，长一秒。"_s);
}

QString segmentToolTip(const QList<EditableSegment>& segments, const QList<FFmpegJob>& jobs, int row)
{
    const EditableSegment& segment = segments.at(row);
    const QString length = formatFixed(segment.duration(), 3) + u" 秒"_s;
    if (!(segment.duration() > 0))
        return u"不写文件：结束时间不在开始时间之后。"_s;
    if (!segment.isEnabled)
        return u"不写文件：未启用。长 "_s + length;
    const auto number = std::count_if(segments.begin(), segments.begin() + row, givesFile);
    if (number >= jobs.size())
        return u"不写文件：还没有视频。长 "_s + length;
    return u"→ "_s + jobs.at(number).outputURL.lastPathComponent() + u"，"_s + length;
}

QString namingToolTip(const std::optional<FileURL>& videoURL, int olderFiles)
{
    QStringList sentences;
    if (const auto doubt = videoURL ? doubtAboutExtension(videoURL->pathExtension()) : std::nullopt)
        sentences.append(*doubt);
    if (olderFiles > 0)
        sentences.append(u"将替换 %1 个同名文件（移到废纸篓）"_s.arg(olderFiles));
    return sentences.join(u'\n');
}
