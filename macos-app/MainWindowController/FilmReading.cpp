#include "MainWindowController/FilmReading.h"

#include "Controls/OnScreen.h"
#include "Services/MessageError.h"
#include "Services/RuntimeResolver.h"

#include <QFileInfo>
#include <QLabel>
#include <QProgressDialog>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int progressMilliseconds = 250;
constexpr int progressSteps = 1000;
constexpr int longestName = 360; // points

} // namespace

FilmReading::FilmReading(QWidget& window)
    : m_window(window)
{
    m_timer.setInterval(progressMilliseconds);
    connect(&m_timer, &QTimer::timeout, this, &FilmReading::showProgress);
}

FilmReading::~FilmReading() = default;

FilmReading::State FilmReading::stateOf(const FileURL& video)
{
    const QFileInfo file(video.path());
    return {video, file.size(), file.lastModified()};
}

void FilmReading::read(const FileURL& video, FilmScan::Extent extent, const Completion& completion)
{
    ++m_number;
    m_completion = completion;
    m_timer.stop();
    m_scan.reset();
    const State state = stateOf(video);
    if (m_film && m_state == state && (extent == FilmScan::Extent::description || !m_film->frames.isEmpty())) {
        finish(m_film, {});
        return;
    }
    m_state = state;
    m_film.reset();
    try {
        m_scan = std::make_unique<FilmScan>(video, RuntimeResolver::resolve(), extent);
    } catch (const std::exception& error) {
        finish(std::nullopt, errorDescription(error));
        return;
    }
    m_scan->onEnd = [this](const auto& film, const QString& failure) {
        m_scan.release()->deleteLater(); // it is calling us
        m_film = film;
        finish(film, failure);
    };
    m_scan->start();
    m_timer.start();
    if (extent == FilmScan::Extent::allFrames && onBegin)
        onBegin(u"正在读取每幅画面的时间，请稍候..."_s);
}

void FilmReading::showProgress()
{
    if (!m_progress) {
        m_progress = new QProgressDialog(&m_window);
        m_progress->setObjectName(u"filmProgress"_s);
        m_progress->setAttribute(Qt::WA_DeleteOnClose);
        m_progress->setWindowTitle(u"Kestrel"_s);
        auto* label = new QLabel; // the dialog owns it
        label->setTextFormat(Qt::PlainText);
        const QString name = m_state.video.lastPathComponent();
        label->setText(u"正在读取“"_s +
                       label->fontMetrics().elidedText(name, Qt::ElideMiddle, longestName, Qt::TextSingleLine) +
                       u"”每幅画面的时间…"_s);
        m_progress->setLabel(label);
        m_progress->setCancelButtonText(u"取消"_s);
        m_progress->setAutoReset(false);
        m_progress->setRange(0, progressSteps);
        connect(m_progress, &QProgressDialog::canceled, this, [this] {
            m_scan.reset();
            finish(std::nullopt, {});
        });
        m_progress->show();
        keepOnScreen(m_progress);
    }
    const double share = m_scan->duration() > 0 ? m_scan->secondsReached() / m_scan->duration() : 0;
    m_progress->setValue(static_cast<int>(std::clamp(share, 0.0, 1.0) * progressSteps));
}

void FilmReading::finish(const std::optional<FilmTimes>& film, const QString& failure)
{
    m_timer.stop();
    if (m_progress) {
        m_progress->disconnect(this);
        m_progress->close();
        m_progress = nullptr;
    }
    // Never from inside the call that asked for it.
    QMetaObject::invokeMethod(
        this,
        [this, number = m_number, film, failure] {
            if (number == m_number)
                m_completion(film, failure);
        },
        Qt::QueuedConnection);
}
