#pragma once

#include <QString>

/// A crop rectangle in pixels of the source picture, shared by every job of a run. Not validated here.
struct CropParameters
{
    qint64 width = 0;
    qint64 height = 0;
    qint64 x = 0;
    qint64 y = 0;

    /// ffmpeg's crop filter: "crop=width:height:x:y".
    [[nodiscard]] QString filterExpression() const;

    friend bool operator==(const CropParameters&, const CropParameters&) = default;
};
