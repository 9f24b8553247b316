#pragma once

#include <QString>

#include <array>
#include <optional>

/// Seconds by which a removed transition is widened on either side. Any value is carried as it is.
struct FadePaddingSettings
{
    double leftSeconds = 0;
    double rightSeconds = 0;

    friend bool operator==(const FadePaddingSettings&, const FadePaddingSettings&) = default;
};

/// How much of a transition the detector shall take out. An enumeration whose raw value is the detector's own word.
class FadeRemovalStrategy final
{
public:
    enum Case {
        conservative,
        standard,
        aggressive,
        extreme
    };

    /// The four strategies in the order in which they are offered.
    static const std::array<FadeRemovalStrategy, 4> allCases;
    static const FadeRemovalStrategy defaultValue;

    constexpr FadeRemovalStrategy(Case value)
        : m_case(value)
    {}

    /// The strategy with exactly that raw value, or nothing.
    [[nodiscard]] static std::optional<FadeRemovalStrategy> fromRawValue(const QString& rawValue);
    /// The same, but an absent or unknown text gives `aggressive`.
    [[nodiscard]] static FadeRemovalStrategy fromPythonArgument(const std::optional<QString>& argument);

    [[nodiscard]] QString rawValue() const;
    /// The detector's word after --fade-removal-profile.
    [[nodiscard]] QString pythonArgument() const { return rawValue(); }
    [[nodiscard]] QString displayName() const;
    [[nodiscard]] FadePaddingSettings defaultPaddingSettings() const;

    /// The position in `allCases`.
    [[nodiscard]] constexpr int position() const { return static_cast<int>(m_case); }

    friend constexpr bool operator==(FadeRemovalStrategy, FadeRemovalStrategy) = default;

private:
    Case m_case;
};

inline constexpr std::array<FadeRemovalStrategy, 4> FadeRemovalStrategy::allCases = {
    FadeRemovalStrategy::conservative, FadeRemovalStrategy::standard, FadeRemovalStrategy::aggressive,
    FadeRemovalStrategy::extreme};

inline constexpr FadeRemovalStrategy FadeRemovalStrategy::defaultValue = FadeRemovalStrategy::aggressive;
