#include "Viewer/FrameStrip.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

FrameStrip::FrameStrip(int pictureCount, QWidget* parent)
    : QWidget(parent)
    , m_heading(new QLabel)
{
    m_heading->setTextFormat(Qt::PlainText);
    m_heading->hide(); // until there is one
    auto* pictures = new QHBoxLayout;
    pictures->setSpacing(spacing);
    for (int i = 0; i < pictureCount; ++i) {
        m_views.append(new FrameView);
        pictures->addWidget(m_views.last());
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
