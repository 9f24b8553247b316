#pragma once

#include "Viewer/FrameView.h"

#include <QStackedWidget>

#include <functional>
#include <optional>

class FrameStrip;

/// The pictures of the viewer: in a row, in one row for either edge of a segment, or one of them large instead. Its
/// least size is that of the largest page, so that no row of a table asks for a larger window.
class FramePages final : public QStackedWidget
{
public:
    explicit FramePages(QWidget* parent = nullptr);

    void showNothing();
    /// Up to five pictures.
    void showRow(const QList<ShownFrame>& frames);
    /// Six pictures, three for either edge.
    void showSegment(const QList<ShownFrame>& frames, const QString& startHeading, const QString& endHeading,
                     bool isEndChosen);

    /// The place of the picture that is shown large.
    void setLarge(std::optional<qsizetype> place);
    [[nodiscard]] std::optional<qsizetype> large() const { return m_large; }

    /// The device pixels that a picture can fill: the same for all rows, so that walking among them fetches nothing
    /// twice.
    [[nodiscard]] QSize box() const;

    /// The user double-clicks the picture at that place.
    std::function<void(qsizetype place)> onDoubleClick;

private:
    void showPage(QWidget* page, const QList<ShownFrame>& frames);

    QWidget* m_emptyPage;
    FrameStrip* m_row;
    QWidget* m_segmentPage;
    FrameStrip* m_startStrip;
    FrameStrip* m_endStrip;
    FrameView* m_largeView;
    std::optional<qsizetype> m_large;
};
