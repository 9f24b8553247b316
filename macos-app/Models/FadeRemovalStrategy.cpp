#include "Models/FadeRemovalStrategy.h"

using namespace Qt::StringLiterals;

namespace {

struct StrategyRow
{
    QString rawValue;
    QString displayName;
    FadePaddingSettings defaultPadding;
};

const StrategyRow& rowOf(FadeRemovalStrategy strategy)
{
    static const std::array<StrategyRow, 4> rows = {{
        {u"conservative"_s, u"保守"_s, {0.04, 0.12}},
        {u"standard"_s, u"标准"_s, {0.08, 0.18}},
        {u"aggressive"_s, u"激进"_s, {0.12, 0.24}},
        {u"extreme"_s, u"极激进"_s, {0.16, 0.32}},
    }};
    return rows.at(static_cast<std::size_t>(strategy.position()));
}

} // namespace

std::optional<FadeRemovalStrategy> FadeRemovalStrategy::fromRawValue(const QString& rawValue)
{
    for (const FadeRemovalStrategy strategy : allCases) {
        if (strategy.rawValue() == rawValue)
            return strategy;
    }
    return std::nullopt;
}

FadeRemovalStrategy FadeRemovalStrategy::fromPythonArgument(const std::optional<QString>& argument)
{
    return fromRawValue(argument.value_or(QString())).value_or(FadeRemovalStrategy::aggressive);
}

QString FadeRemovalStrategy::rawValue() const
{
    return rowOf(*this).rawValue;
}

QString FadeRemovalStrategy::displayName() const
{
    return rowOf(*this).displayName;
}

FadePaddingSettings FadeRemovalStrategy::defaultPaddingSettings() const
{
    return rowOf(*this).defaultPadding;
}
