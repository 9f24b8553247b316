#pragma once

#include "Frames/PictureStore.h"
#include "Services/RuntimeConfiguration.h"

#include <QCache>
#include <QHash>
#include <QObject>
#include <QThreadPool>

#include <memory>
#include <vector>

class FrameFetch;

/// Frame times and pictures of one video, fetched from ffmpeg and kept. Main thread only, where it waits for nothing
/// but the end of the processes that it kills when it goes itself.
class FrameSource final : public QObject
{
    Q_OBJECT

public:
    /// `cacheBytes` is what kept pictures may take.
    explicit FrameSource(qsizetype cacheBytes = qsizetype(128) * 1024 * 1024);
    ~FrameSource() override;

    /// Where pictures are kept on disk from the next video on; by default nowhere.
    void setStore(const PictureStore& store) { m_store = store; }
    /// Another video, or another state of the same: forgets everything. `framesPerSecond` is a guess until ffmpeg has
    /// told its own number.
    void setVideo(const FileURL& videoURL, double framesPerSecond);
    /// Without tools nothing is fetched, and `reason` stands for every picture.
    void setRuntime(const std::optional<RuntimeConfiguration>& runtime, const QString& reason = {});
    /// The device pixels into which new pictures are fitted.
    void setBox(QSize box);
    [[nodiscard]] QSize box() const { return m_box; }
    /// How many processes may run at a time.
    void setProcessLimit(int limit);
    /// What failed may be tried again.
    void forgetFailures();

    /// What is wanted from now on, the most important first; `ahead` is fetched when nothing of `needs` is missing any
    /// more. A running process that serves none of them is stopped.
    void request(const QList<FrameNeed>& needs, const QList<FrameNeed>& ahead);

    [[nodiscard]] const VideoClock& clock() const { return m_clock; }
    [[nodiscard]] const FrameIndex& index() const { return m_index; }
    /// Valid until the event loop runs again; null when that frame is not kept.
    [[nodiscard]] const FramePicture* picture(qint64 ticks) const;
    /// Whether it is kept, large enough for that room. One on disk is believed to be sound until it is shown.
    [[nodiscard]] bool hasPicture(qint64 ticks, QSize room) const;
    /// Whether small copies of further pictures are kept, so that none is fetched twice for a box of the store's size.
    [[nodiscard]] bool keepsSmallPictures() const;
    /// The shape of the pictures, in any unit; the usual one until the first has come.
    [[nodiscard]] QSize shape() const { return m_shape; }
    /// Why a need is not met, when it was tried in vain.
    [[nodiscard]] std::optional<QString> failure(const FrameNeed& need) const;
    /// Processes that are not gone yet, the stopped ones included.
    [[nodiscard]] int processCount() const { return static_cast<int>(m_fetches.size()); }

Q_SIGNALS:
    /// More is known, or something failed.
    void changed();

private:
    struct Failure
    {
        FrameNeed need;
        QString text;
    };

    void startNext();
    [[nodiscard]] QList<FrameNeed> nextNeeds() const;
    [[nodiscard]] bool isBeingServed(const FrameNeed& need) const;
    void startFetch(const QList<FrameNeed>& needs);
    void take(const FrameQuery& query, const std::optional<FrameReply>& reply, const QString& failure);
    void learn(const FrameReply& reply);
    void learnShape(QSize size);
    void loadStored();
    void takeStored(const QList<StoredReply>& replies);
    void keepSmall(const QList<StoredPicture>& pictures);
    void store(const FrameReply& reply);
    void removeFetch(FrameFetch* fetch);
    void stopFetches();
    void stop(FrameFetch& fetch);
    void announceChange();

    FileURL m_videoURL;
    std::optional<RuntimeConfiguration> m_runtime;
    QString m_missingRuntimeReason;
    QSize m_box = QSize(240, 160);
    int m_processLimit = 2;

    VideoClock m_clock;
    bool m_isClockKnown = false;  ///< until then it is a guess
    bool m_mayReadPackets = true; ///< until they have told less than a decoder
    FrameIndex m_index;
    mutable QCache<qint64, FramePicture> m_pictures;
    mutable QHash<qint64, StoredPicture> m_stored; ///< small ones, not necessarily among the pictures
    qint64 m_storedBytes = 0;
    QSize m_shape;
    QList<Failure> m_failures;
    QList<FrameNeed> m_tried;

    QList<FrameNeed> m_needs;
    QList<FrameNeed> m_ahead;
    std::vector<std::unique_ptr<FrameFetch>> m_fetches;
    bool m_isChangeDue = false;

    std::optional<PictureStore> m_store;
    std::optional<QString> m_storeName; ///< of the video
    QThreadPool m_storeThread;          ///< one: the store's functions run one at a time
};
