#pragma once

#include "Models/FadeRemovalStrategy.h"

class QLineEdit;
class QRadioButton;

/// The controls of one fade removal strategy. The window owns them.
struct FadeStrategyRow
{
    FadeRemovalStrategy strategy = FadeRemovalStrategy::defaultValue;
    QRadioButton* button = nullptr;
    QLineEdit* leftField = nullptr;
    QLineEdit* rightField = nullptr;
};
