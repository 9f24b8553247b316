#include "Batch/UsersLanguage.h"

#include <QList>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

struct Sentence
{
    const char16_t* chinese; ///< %1 to %3 stand for anything
    const char16_t* english;
};

/// The first that fits is taken. What stands for %1 is put into English in its turn.
constexpr Sentence sentences[] = {
    // of the command line
    {u"没有指定命令。", u"no command is given"},
    {u"不认识的命令：%1。", u"unknown command: %1"},
    {u"不认识的选项：%1。", u"unknown option: %1"},
    {u"选项 %1 缺少值。", u"option %1 needs a value"},
    {u"选项 %1 不用于 %2。", u"option %1 is not for %2"},
    {u"选项 %1 的值无效：%2。", u"option %1 has an invalid value: %2"},
    {u"缺少选项 %1。", u"option %1 is missing"},
    {u"没有指定视频或列表。", u"no video or list is given"},
    {u"请只指定一个。", u"give exactly one"},
    {u"用 kestrel-batch --help 查看用法。", u"see kestrel-batch --help"},
    {u"裁剪参数格式应为 宽:高:X:Y，例如 1728:910:0:85。", u"a crop is WIDTH:HEIGHT:X:Y, such as 1728:910:0:85"},
    {u"跳过检测秒数必须是大于等于 0 的数字。", u"the seconds to skip must be a number from 0"},
    {u"跳过检测秒数过大。", u"too many seconds to skip"},
    {u"Fade 左右扩秒数必须是大于等于 0 的数字。", u"the seconds of padding must be numbers from 0"},
    {u"Fade 左右扩秒数过大。", u"too many seconds of padding"},
    {u"输入里有空名称。", u"a name in the input is empty"},
    {u"输入的名称不是 UTF-8 文本。", u"a name in the input is not UTF-8"},
    {u"“%1”和“%2”会写到同一个位置 %3，请给其中一个改名。",
     u"“%1” and “%2” would both be written to %3; rename one of them"},
    {u"不能用作输出文件夹的名称：%1。", u"cannot be the name of an output folder: %1"},
    // of the whole
    {u"无法写到标准输出。", u"cannot write to standard output"},
    {u"另一个 kestrel-batch 正在使用输出目录 %1。", u"another kestrel-batch is using the output folder %1"},
    {u"无法锁定输出目录 %1：%2", u"cannot lock the output folder %1: %2"},
    {u"无法创建输出目录 %1：%2。", u"cannot create the output folder %1: %2"},
    {u"无法写入输出目录 %1：%2。", u"cannot write to the output folder %1: %2"},
    {u"%1 不是 kestrel-batch 的清单，没有改动它。", u"%1 is no manifest of kestrel-batch; it was left as it is"},
    {u"%1 里没有 kestrel-batch 的清单。", u"there is no manifest of kestrel-batch in %1"},
    {u"未找到可用的 Python 解释器。请先在项目根目录准备 .venv/bin/python。", u"no Python interpreter was found"},
    {u"未找到 detect_scene_changes.py。", u"detect_scene_changes.py was not found"},
    {u"未找到 ffmpeg。请确认 ffmpeg 已安装在 /opt/homebrew/bin 或 /usr/local/bin。",
     u"ffmpeg was not found in /usr/bin, /usr/local/bin or /opt/homebrew/bin"},
    {u"内存不足。", u"out of memory"},
    {u"%1 个已完成，%2 个存疑，%3", u"%1 done, %2 doubtful, %3"},
    {u"%1 个失败，%2", u"%1 failed, %2"},
    {u"%1 个早已完成。", u"%1 done before"},
    {u"%1 个缺少。", u"%1 missing"},
    {u"%1 个列表已存储，%2 个已有，%3 个失败。", u"%1 lists stored, %2 there before, %3 failed"},
    {u"片段 %1 · 视频 %2 · %3", u"clips %1 · videos %2 · %3"},
    {u"失败 %1 · %2", u"failed %1 · %2"},
    {u"剩余约 %1", u"about %1 left"},
    {u"剩余至少 %1", u"at least %1 left"},
    {u"正在估计剩余时间…", u"time left unknown yet"},
    // of a video
    {u"%1：完成（%2 秒）", u"%1: done (%2 s)"},
    {u"%1：存疑：%2", u"%1: doubtful: %2"},
    {u"%1：失败：%2", u"%1: failed: %2"},
    {u"%1：缺少", u"%1: missing"},
    {u"%1：列表已存储", u"%1: list stored"},
    {u"%1：列表已有，没有改动", u"%1: list is there, left as it is"},
    {u"无法读取视频 %1。", u"cannot read the video %1"},
    {u"无法读取 %1。", u"cannot read %1"},
    {u"文件太大，不是列表。", u"too large for a list"},
    {u"找不到列表的视频：%1", u"the list's video was not found: %1"},
    {u"列表是为 %1 字节的视频存储的，“%2”有 %3 字节。", u"the list was stored for a video of %1 bytes, “%2” has %3"},
    {u"没有可写出的片段。", u"there are no clips to write"},
    {u"找不到视频文件。", u"the video was not found"},
    {u"ffmpeg 意外结束，没有取到画面。", u"ffmpeg ended unexpectedly without a picture"},
    {u"视频中没有可以显示的画面。", u"the video has no pictures that can be shown"},
    {u"无法读取画面：%1", u"cannot read its pictures: %1"},
    {u"第 %1 个片段里没有画面。", u"there is no picture in clip %1"},
    {u"%1 按画面编号，而这个视频的帧率是变化的。%2",
     u"%1 counts pictures, and the video's rate varies; choose a format that goes by time"},
    {u"EDL 的时间码只到 24 小时，片段“%1”在其后。", u"the timecode of an EDL ends after 24 hours, before clip “%1”"},
    {u"视频在计划之后改变了，请重新计划。", u"the video has changed since the plan was made; plan again"},
    {u"名称里有换行，请用 -0。", u"a name holds a line feed: use -0"},
    {u"%1 已存在，没有改动它。", u"%1 is there already and was left as it is"},
    {u"列表由更新版本的 Kestrel 存储，请升级后再打开。", u"the list was stored by a newer Kestrel"},
    {u"解析失败：程序正在退出。", u"detection failed: the program is ending"},
    {u"解析失败：%1", u"detection failed: %1"},
    {u"无法解析检测脚本输出：%1", u"the detector's output cannot be read: %1"},
    {u"检测脚本没有说明原因（%1）。", u"the detector gave no reason (%1)"},
    {u"检测脚本的说明不是 UTF-8 文本（%1）。", u"the detector's reason is not UTF-8 (%1)"},
    {u"检测脚本不完整：它旁边应当有文件夹 kestrel_detector，在 %1 "
     u"里没有找到。请把两者放在一起，或者改用指向原脚本的链接。",
     u"the detector is not complete: the folder kestrel_detector is not beside it in %1"},
    {u"检测脚本分析这个视频时出错。可以先用 ffmpeg 把视频转存成 MP4 再解析；反馈问题时请附上：%1",
     u"the detector has failed on this video; converting it to MP4 first may help; when you report this, add: %1"},
    {u"内存不足，没有分析完。请关闭其他程序后重试。", u"out of memory; close other programs and try again"},
    {u"无法启动 ffmpeg：%1", u"cannot start ffmpeg: %1"},
    {u"无法写出结果：%1", u"cannot write the result: %1"},
    {u"ffmpeg 在分析途中被中止（%1），没有分析完。请重试；如果总是这样，请检查内存和磁盘。",
     u"ffmpeg was ended in the middle (%1); try again, and look at memory and disk if it always is"},
    {u"被信号 %1 终止", u"killed by signal %1"},
    {u"退出状态 %1", u"exit status %1"},
    {u"信号 %1", u"signal %1"},
    {u"状态 %1", u"status %1"},
    {u"视频路径是管道、套接字或字符设备，不是文件。", u"the video is a pipe, a socket or a device"},
    {u"无法识别为视频文件：%1", u"not a video file: %1"},
    {u"文件里没有视频画面：%1", u"the file has no pictures: %1"},
    {u"无法读取视频画面，文件可能已损坏：%1", u"its pictures cannot be read, the file may be damaged: %1"},
    {u"找不到 ffmpeg，请先安装 ffmpeg。", u"ffmpeg was not found"},
    {u"这是文件夹，不是视频文件：%1", u"a folder, not a video file: %1"},
    {u"这是管道或设备，不是视频文件：%1", u"a pipe or a device, not a video file: %1"},
    {u"视频文件是空的：%1", u"the video file is empty: %1"},
    {u"没有权限读取视频文件：%1", u"no permission to read the video file: %1"},
    {u"找不到视频文件：%1", u"there is no such video file: %1"},
    {u"无法读取视频文件：%1", u"cannot read the video file: %1"},
    // of JSON
    {u"输出为空。", u"it is empty"},
    {u"输出不是 UTF-8 文本。", u"it is not UTF-8"},
    {u"不是有效的 JSON（%1）。", u"not valid JSON (%1)"},
    {u"第 %1 行第 %2 列：%3", u"line %1, column %2: %3"},
    {u"数字、转义或控制字符的写法不合规范", u"a number, an escape or a control character is not as JSON wants it"},
    {u"顶层应为对象，实际是数组。", u"an array instead of an object"},
    {u"%1：应为 64 位整数。", u"%1: not an integer of 64 bits"},
    {u"%1：缺少这个字段。", u"%1: missing"},
    {u"%1：应为%2，实际是%3。", u"%1: %3 instead of %2"},
    {u"%1 或 null", u"%1 or null"},
    {u"布尔值", u"a boolean"},
    {u"数字", u"a number"},
    {u"整数", u"an integer"},
    {u"文本", u"a text"},
    {u"数组", u"an array"},
    {u"对象", u"an object"},
    {u"缺失", u"nothing"},
    // of a clip
    {u"只写出 %1 个画面，应为 %2 个", u"only %1 pictures written of %2"},
    {u"只写出 %1，应为 %2", u"only %1 written of %2"},
    {u"输出文件不存在或无法读取", u"the output file is not there or cannot be read"},
    {u"输出文件是空的", u"the output file is empty"},
    {u"没有写出任何画面", u"no pictures were written"},
    {u"片段无法播放", u"the clip cannot be played"},
    {u"ffmpeg 报告了错误：%1", u"ffmpeg reported an error: %1"},
    {u"ffmpeg 意外结束，没有说明原因", u"ffmpeg ended unexpectedly and gave no reason"},
    {u"输出文件会覆盖源视频，请更换输出目录或前缀。", u"the output would overwrite a source video; choose another "
                                                      "folder or prefix"},
    {u"无法写入输出文件 %1：%2。", u"cannot write the output file %1: %2"},
    {u"无法写入 %1：%2", u"cannot write %1: %2"},
    {u"没有写入权限", u"no permission to write"},
    {u"路径中有同名文件", u"a file is in the way"},
    {u"上级目录不可用", u"the folder above is not there"},
    {u"磁盘是只读的", u"the disk is read-only"},
    {u"磁盘空间不足", u"the disk is full"},
    {u"路径过长", u"the path is too long"},
    {u"%1：上次中断时的原有文件保留为 “%2”", u"%1: the older file of an interrupted run stays as “%2”"},
    {u"原有文件保留为 “%1”", u"the older file stays as “%1”"},
    {u"原有文件已移到废纸篓", u"the older file was moved to the trash"},
    {u"原有文件保持不变", u"the older file stays as it was"},
    {u"视频的文件名没有扩展名，ffmpeg 不知道该写成什么格式；请先给它加上扩展名，例如 .mp4",
     u"the video's name has no extension, so that ffmpeg does not know the format; give it one, such as .mp4"},
    {u"ffmpeg 会把 .%1 写成多个文件，可能覆盖别的文件；请先把视频转换成单个文件，例如 .mp4%2",
     u"ffmpeg writes .%1 as several files and may overwrite others; convert the video, for example to .mp4"},
    {u"ffmpeg 通常写不出 .%1 的声音；请先把视频转换成 .mp4 或 .mkv",
     u"ffmpeg usually cannot write the sound of .%1; convert the video to .mp4 or .mkv"},
    {u"ffmpeg 不能写出 .%1 格式；请先把视频转换成 .mp4 或 .mkv",
     u"ffmpeg cannot write .%1; convert the video to .mp4 or .mkv"},
};

QRegularExpression patternOf(const Sentence& sentence)
{
    QString pattern = QRegularExpression::escape(QString::fromUtf16(sentence.chinese));
    pattern.replace(QRegularExpression(u"(\\\\%|%)[123]"_s), u"(.*?)"_s);
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern),
                              QRegularExpression::DotMatchesEverythingOption);
}

QString english(const QString& chinese);

/// Nothing when no sentence fits the whole text.
std::optional<QString> englishOfWhole(const QString& chinese)
{
    static const QList<QRegularExpression> patterns = [] {
        QList<QRegularExpression> list;
        for (const Sentence& sentence : sentences)
            list.append(patternOf(sentence));
        return list;
    }();
    for (qsizetype i = 0; i < patterns.size(); ++i) {
        const auto match = patterns[i].match(chinese);
        if (!match.hasMatch())
            continue;
        QString text;
        const QString form = QString::fromUtf16(sentences[i].english);
        for (qsizetype at = 0; at < form.size(); ++at) {
            const bool isPlace = form[at] == u'%' && at + 1 < form.size() && form[at + 1].isDigit();
            text += isPlace ? english(match.captured(form[at + 1].digitValue())) : QString(form[at]);
            at += isPlace ? 1 : 0;
        }
        return text;
    }
    return std::nullopt;
}

/// Of several sentences the longest beginning that is known is taken first, since sentences hold semicolons too.
QString english(const QString& chinese)
{
    if (const auto whole = englishOfWhole(chinese))
        return *whole;
    qsizetype end = chinese.size();
    QString first;
    while (first.isEmpty() && (end = chinese.left(end).lastIndexOf(u'；')) >= 0)
        first = englishOfWhole(chinese.left(end)).value_or(QString());
    if (!first.isEmpty())
        return first + u"; "_s + english(chinese.sliced(end + 1));
    end = chinese.indexOf(u'；');
    return end < 0 ? chinese : chinese.left(end) + u"; "_s + english(chinese.sliced(end + 1));
}

} // namespace

bool speaksChinese()
{
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (const QByteArray value = qgetenv(name); !value.isEmpty())
            return value.startsWith("zh");
    }
    return false;
}

QString inUsersLanguage(const QString& chinese)
{
    static const bool isChinese = speaksChinese();
    return isChinese || chinese.isEmpty() ? chinese : english(chinese);
}

QString printable(const QString& text)
{
    QString line = text;
    for (QChar& character : line) {
        if (character.category() == QChar::Other_Control)
            character = QChar::ReplacementCharacter;
    }
    return line;
}
