#include "Models/InputReading.h"

#include "Models/NumberText.h"

#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr double longestSkipSeconds = 86400;
constexpr double widestPaddingSeconds = 5;
constexpr qint64 defaultConcurrency = 3;
constexpr qint64 mostWorkers = 12;

std::optional<double> readDecimal(const QString& text)
{
    return parseDecimal(QStringView(text).trimmed());
}

bool isNumberFromZero(const QString& text)
{
    const auto value = readDecimal(text);
    return value && *value >= 0;
}

} // namespace

std::optional<CropParameters> readCropParameters(const QString& text)
{
    const QStringList parts = text.trimmed().split(u':');
    if (parts.size() != 4)
        return std::nullopt;
    const auto width = parseInteger(parts[0]);
    const auto height = parseInteger(parts[1]);
    const auto x = parseInteger(parts[2]);
    const auto y = parseInteger(parts[3]);
    if (!width || !height || !x || !y)
        return std::nullopt;
    if (*width <= 0 || *height <= 0 || *x < 0 || *y < 0)
        return std::nullopt;
    return CropParameters{*width, *height, *x, *y};
}

std::optional<QString> validateCropParameters(const QString& text)
{
    if (text.trimmed().isEmpty() || readCropParameters(text))
        return std::nullopt;
    return u"裁剪参数格式应为 宽:高:X:Y，例如 1728:910:0:85。"_s;
}

double readSkipStartSeconds(const QString& text)
{
    return clampedToZero(readDecimal(text).value_or(0));
}

std::optional<QString> validateSkipStart(const QString& text)
{
    if (text.trimmed().isEmpty())
        return std::nullopt;
    if (!isNumberFromZero(text))
        return u"跳过检测秒数必须是大于等于 0 的数字。"_s;
    if (*readDecimal(text) > longestSkipSeconds)
        return u"跳过检测秒数过大。"_s;
    return std::nullopt;
}

FadePaddingSettings readFadePadding(const QString& leftText, const QString& rightText, FadeRemovalStrategy strategy)
{
    const FadePaddingSettings defaults = strategy.defaultPaddingSettings();
    return {readDecimal(leftText).value_or(defaults.leftSeconds),
            readDecimal(rightText).value_or(defaults.rightSeconds)};
}

std::optional<QString> validateFadePadding(const QList<QString>& texts)
{
    if (!std::all_of(texts.begin(), texts.end(), isNumberFromZero))
        return u"Fade 左右扩秒数必须是大于等于 0 的数字。"_s;
    const auto isTooWide = [](const QString& text) { return *readDecimal(text) > widestPaddingSeconds; };
    if (std::any_of(texts.begin(), texts.end(), isTooWide))
        return u"Fade 左右扩秒数过大。"_s;
    return std::nullopt;
}

int readConcurrency(const QString& text)
{
    const qint64 value = parseInteger(text).value_or(defaultConcurrency);
    return static_cast<int>(std::clamp<qint64>(value, 1, mostWorkers));
}
