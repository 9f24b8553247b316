#include "Viewer/FramePages.h"

#include "Viewer/FrameStrip.h"

#include <QHBoxLayout>
#include <QLabel>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int mostInRow = 5;
constexpr int fewestInRow = 4; // which are the largest
constexpr int edgePictures = 3;
constexpr int edgeSpacing = 24;
/// More would only cost time: a picture this large shows all that there is to judge.
constexpr QSize largestBox(1920, 1200);

} // namespace

FramePages::FramePages(QWidget* parent)
    : QStackedWidget(parent)
    , m_row(new FrameStrip(mostInRow))
    , m_segmentPage(new QWidget)
    , m_startStrip(new FrameStrip(edgePictures))
    , m_endStrip(new FrameStrip(edgePictures))
    , m_largeView(new FrameView)
{
    auto* emptyLabel = new QLabel(u"在表格中选择一个换场或片段。"_s);
    emptyLabel->setAlignment(Qt::AlignCenter);
    emptyLabel->setForegroundRole(QPalette::PlaceholderText);
    m_emptyPage = emptyLabel;
    auto* edges = new QHBoxLayout(m_segmentPage);
    edges->setContentsMargins(0, 0, 0, 0);
    edges->setSpacing(edgeSpacing);
    edges->addWidget(m_startStrip, 1); // whatever either strip would like
    edges->addWidget(m_endStrip, 1);
    m_startStrip->setHeading(u"起点"_s, true); // so that the page knows its height
    m_endStrip->setHeading(u"终点"_s, false);
    for (QWidget* page : {m_emptyPage, static_cast<QWidget*>(m_row), m_segmentPage, static_cast<QWidget*>(m_largeView)})
        addWidget(page);

    const auto report = [this](qsizetype place) {
        if (onDoubleClick)
            onDoubleClick(place);
    };
    for (const FrameStrip* strip : {m_row, m_startStrip, m_endStrip}) {
        const qsizetype first = strip == m_endStrip ? edgePictures : 0;
        for (qsizetype i = 0; i < strip->views().size(); ++i)
            strip->views()[i]->onDoubleClick = [report, place = first + i] { report(place); };
    }
    m_largeView->onDoubleClick = [this, report] { report(m_large.value_or(0)); };
}

void FramePages::showNothing()
{
    showPage(m_emptyPage, {});
}

void FramePages::showRow(const QList<ShownFrame>& frames)
{
    m_row->setFrames(frames);
    showPage(m_row, frames);
}

void FramePages::showSegment(const QList<ShownFrame>& frames, const QString& startHeading, const QString& endHeading,
                             bool isEndChosen)
{
    m_startStrip->setHeading(startHeading, !isEndChosen);
    m_endStrip->setHeading(endHeading, isEndChosen);
    m_startStrip->setFrames(frames.first(edgePictures));
    m_endStrip->setFrames(frames.sliced(edgePictures));
    showPage(m_segmentPage, frames);
}

void FramePages::showPage(QWidget* page, const QList<ShownFrame>& frames)
{
    if (m_large && !frames.isEmpty()) {
        m_largeView->setFrame(frames[std::min(*m_large, frames.size() - 1)]);
        page = m_largeView;
    }
    setCurrentWidget(page);
}

void FramePages::setLarge(std::optional<qsizetype> place)
{
    m_large = place;
}

QSize FramePages::box() const
{
    const int width = (this->width() + FrameStrip::spacing) / fewestInRow - FrameStrip::spacing;
    const QSize view = m_large ? size() : QSize(width, height());
    return (QSizeF(m_largeView->pictureRoom(view)) * devicePixelRatioF()).toSize().boundedTo(largestBox);
}
