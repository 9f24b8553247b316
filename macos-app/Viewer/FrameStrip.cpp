#include "Viewer/FrameStrip.h"

#include "Controls/FittingLabel.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

#include <algorithm>

FrameStrip::FrameStrip(int mostPictures, QWidget* parent)
    : QWidget(parent)
    , m_heading(new FittingLabel(1, {}))
    , m_count(mostPictures)
{
    m_heading->hide(); // until there is one
    auto* pictures = new QHBoxLayout;
    pictures->setSpacing(spacing);
    for (int i = 0; i < mostPictures; ++i) {
        m_views.append(new FrameView);
        pictures->addWidget(m_views.last(), 1);
    }
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(m_heading);
    column->addLayout(pictures, 1);
}

void FrameStrip::setHeading(const QString& heading, bool isChosen)
{
    m_heading->setText(heading);
    m_heading->setVisible(!heading.isEmpty());
    QFont font = this->font();
    font.setBold(isChosen);
    m_heading->setFont(font);
}

void FrameStrip::setFrames(const QList<ShownFrame>& frames)
{
    for (qsizetype i = 0; i < m_views.size(); ++i) {
        m_views[i]->setVisible(i < frames.size());
        if (i < frames.size())
            m_views[i]->setFrame(frames[i]);
    }
    m_count = std::max<int>(1, static_cast<int>(frames.size()));
    makeEven();
}

void FrameStrip::resizeEvent(QResizeEvent*)
{
    makeEven();
}

/// All pictures of one width, so that they and their captions have one height.
void FrameStrip::makeEven()
{
    for (FrameView* view : m_views)
        view->setMaximumWidth(std::max(view->minimumSizeHint().width(), (width() + spacing) / m_count - spacing));
}
