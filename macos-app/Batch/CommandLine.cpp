#include "Batch/CommandLine.h"

#include "Models/InputReading.h"
#include "Models/NumberText.h"

#include <QFile>

#include <algorithm>
#include <functional>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int mostLanes = 999;

QString decoded(const QByteArray& name)
{
    if (!name.isValidUtf8())
        throw UsageError(u"输入的名称不是 UTF-8 文本。"_s);
    return QString::fromUtf8(name);
}

void appendNames(QStringList& operands, const QByteArray& fileName)
{
    QFile file(QFile::decodeName(fileName));
    const bool isOpen =
        fileName == "-" ? file.open(0, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly); // 0: standard input
    if (!isOpen)
        throw UsageError(u"无法读取 %1。"_s.arg(decoded(fileName)));
    QByteArrayList names = file.readAll().split('\0');
    if (names.last().isEmpty())
        names.removeLast();
    for (const QByteArray& name : names) {
        if (name.isEmpty())
            throw UsageError(u"输入里有空名称。"_s);
        operands << decoded(name);
    }
}

/// An option's names, the commands that it is for, and what it does. Commands are told by their first two letters.
struct Option
{
    QByteArray letter;
    QByteArray name;
    QByteArray commands;
    bool takesValue = false;
    std::function<bool(CommandLine&, const QByteArray&)> apply; ///< whether the value is valid
};

/// A reader's message, when it has one.
void refuse(const std::optional<QString>& message)
{
    if (message)
        throw UsageError(*message);
}

bool setNumber(double& number, const QByteArray& value)
{
    number = parseDecimal(QString::fromUtf8(value)).value_or(-1);
    return true;
}

bool setSeconds(QString& seconds, const QByteArray& value)
{
    seconds = QString::fromUtf8(value);
    return parseDecimal(seconds).value_or(-1) >= 0;
}

const QList<Option>& options()
{
    static const QByteArray detecting = "de cu pl";
    static const QList<Option> all = {
        {"-h", "--help", "", false, [](CommandLine& line, const QByteArray&) { return line.help = true; }},
        {"-q", "--quiet", "de cu pl jo ex", false,
         [](CommandLine& line, const QByteArray&) { return line.isQuiet = true; }},
        {"-f", "--force", "de cu pl jo ex", false,
         [](CommandLine& line, const QByteArray&) { return line.doesAll = true; }},
        {"", "--json", "st", false, [](CommandLine& line, const QByteArray&) { return line.json = true; }},
        {"-0", "--null", "pl", false, [](CommandLine& line, const QByteArray&) { return line.endsWithNul = true; }},
        {"", "--files0-from", "de cu pl ex", true,
         [](CommandLine& line, const QByteArray& value) {
             appendNames(line.operands, value);
             return true;
         }},
        {"-o", "--output-dir", "de cu pl jo ex", true,
         [](CommandLine& line, const QByteArray& value) {
             line.directory = FileURL::fromUserPath(decoded(value));
             return !value.isEmpty();
         }},
        {"-j", "--jobs", detecting, true,
         [](CommandLine& line, const QByteArray& value) {
             const qint64 number = parseInteger(QString::fromUtf8(value)).value_or(0);
             line.lanes = static_cast<int>(std::clamp<qint64>(number, 1, mostLanes));
             return line.lanes == number;
         }},
        {"", "--profile", detecting, true,
         [](CommandLine& line, const QByteArray& value) {
             const auto strategy = FadeRemovalStrategy::fromRawValue(QString::fromUtf8(value));
             line.detection.fadeRemovalStrategy = strategy.value_or(FadeRemovalStrategy::defaultValue);
             return strategy.has_value();
         }},
        {"", "--left", detecting, true,
         [](CommandLine& line, const QByteArray& value) {
             refuse(validateFadePadding({QString::fromUtf8(value)}));
             return setNumber(line.detection.fadePadding.leftSeconds, value);
         }},
        {"", "--right", detecting, true,
         [](CommandLine& line, const QByteArray& value) {
             refuse(validateFadePadding({QString::fromUtf8(value)}));
             return setNumber(line.detection.fadePadding.rightSeconds, value);
         }},
        {"", "--skip", detecting, true,
         [](CommandLine& line, const QByteArray& value) {
             refuse(validateSkipStart(QString::fromUtf8(value)));
             line.detection.skipStartSeconds = readSkipStartSeconds(QString::fromUtf8(value));
             return true;
         }},
        {"", "--crop", "cu pl jo ex", true,
         [](CommandLine& line, const QByteArray& value) {
             refuse(validateCropParameters(QString::fromUtf8(value)));
             line.crop = readCropParameters(QString::fromUtf8(value));
             return true;
         }},
        {"", "--prefix", "cu pl ex", true,
         [](CommandLine& line, const QByteArray& value) {
             line.prefix = decoded(value);
             return true;
         }},
        {"", "--format", "ex", true,
         [](CommandLine& line, const QByteArray& value) {
             line.format = QString::fromUtf8(value);
             return true;
         }},
        {"", "--source", "jo", true,
         [](CommandLine& line, const QByteArray& value) {
             line.source = FileMark::fromText(QString::fromUtf8(value));
             return line.source.has_value();
         }},
        {"", "--start", "jo", true,
         [](CommandLine& line, const QByteArray& value) { return setSeconds(line.start, value); }},
        {"", "--duration", "jo", true,
         [](CommandLine& line, const QByteArray& value) { return setSeconds(line.duration, value); }},
        {"", "--output", "jo", true,
         [](CommandLine& line, const QByteArray& value) {
             line.output = decoded(value);
             return line.output.count(u'/') == 1 && !line.output.startsWith(u'/') && !line.output.endsWith(u'/');
         }},
        {"", "--number", "jo", true,
         [](CommandLine& line, const QByteArray& value) {
             line.number = parseInteger(QString::fromUtf8(value)).value_or(0);
             return line.number > 0;
         }},
    };
    return all;
}

/// "--name=value", "--name value", "-xvalue" and "-x value".
struct Word
{
    QByteArray name;
    std::optional<QByteArray> value;
};

Word apart(const QByteArray& word)
{
    const qsizetype equals = word.indexOf('=');
    if (word.startsWith("--"))
        return equals < 0 ? Word{word, std::nullopt} : Word{word.first(equals), word.sliced(equals + 1)};
    return word.size() == 2 ? Word{word, std::nullopt} : Word{word.first(2), word.sliced(2)};
}

void applyOption(CommandLine& line, const QByteArrayList& words, qsizetype& at)
{
    const Word word = apart(words[at]);
    const auto option = std::find_if(options().begin(), options().end(), [&](const Option& candidate) {
        return word.name == candidate.name || (!candidate.letter.isEmpty() && word.name == candidate.letter);
    });
    if (option == options().end() || (!option->takesValue && word.value))
        throw UsageError(u"不认识的选项：%1。"_s.arg(QString::fromUtf8(words[at])));
    const QString name = QString::fromUtf8(word.name);
    if (!option->commands.isEmpty() && !option->commands.contains(line.command.left(2).toUtf8()))
        throw UsageError(u"选项 %1 不用于 %2。"_s.arg(name, line.command));
    QByteArray value;
    if (option->takesValue && word.value)
        value = *word.value;
    else if (option->takesValue && ++at < words.size())
        value = words[at];
    else if (option->takesValue)
        throw UsageError(u"选项 %1 缺少值。"_s.arg(name));
    if (!option->apply(line, value))
        throw UsageError(u"选项 %1 的值无效：%2。"_s.arg(name, QString::fromUtf8(value)));
}

void require(bool isThere, const QString& option)
{
    if (!isThere)
        throw UsageError(u"缺少选项 %1。"_s.arg(option));
}

void requireWhatTheCommandNeeds(const CommandLine& line)
{
    const bool isJob = line.command == u"job";
    if (line.operands.isEmpty() && line.command != u"status")
        throw UsageError(u"没有指定视频或列表。"_s);
    if ((isJob || line.command == u"status") && line.operands.size() != 1)
        throw UsageError(u"请只指定一个。"_s);
    if (isJob || line.command == u"cut" || line.command == u"plan")
        require(line.directory.has_value(), u"-o"_s);
    require(!isJob || line.source, u"--source"_s);
    require(!isJob || !line.start.isEmpty(), u"--start"_s);
    require(!isJob || !line.duration.isEmpty(), u"--duration"_s);
    require(!isJob || !line.output.isEmpty(), u"--output"_s);
    require(line.command != u"export" || !line.format.isEmpty(), u"--format"_s);
}

} // namespace

CommandLine readCommandLine(const QByteArrayList& words)
{
    static const QStringList commands = {u"detect"_s, u"cut"_s, u"export"_s, u"status"_s, u"plan"_s, u"job"_s};
    CommandLine line;
    constexpr double notGiven = -1;
    line.detection.fadePadding = {notGiven, notGiven};
    if (words.isEmpty())
        throw UsageError(u"没有指定命令。"_s);
    line.help = words.first() == "--help" || words.first() == "-h";
    if (line.help)
        return line;
    line.command = QString::fromUtf8(words.first());
    if (!commands.contains(line.command))
        throw UsageError(u"不认识的命令：%1。"_s.arg(line.command));
    bool takesOptions = true;
    for (qsizetype at = 1; at < words.size(); ++at) {
        if (takesOptions && words[at] == "--")
            takesOptions = false;
        else if (takesOptions && words[at].size() > 1 && words[at].startsWith('-'))
            applyOption(line, words, at);
        else if (words[at].isEmpty())
            throw UsageError(u"输入里有空名称。"_s);
        else
            line.operands << decoded(words[at]);
    }
    const FadePaddingSettings defaults = line.detection.fadeRemovalStrategy.defaultPaddingSettings();
    FadePaddingSettings& padding = line.detection.fadePadding;
    padding.leftSeconds = padding.leftSeconds == notGiven ? defaults.leftSeconds : padding.leftSeconds;
    padding.rightSeconds = padding.rightSeconds == notGiven ? defaults.rightSeconds : padding.rightSeconds;
    if (!line.help)
        requireWhatTheCommandNeeds(line);
    return line;
}
