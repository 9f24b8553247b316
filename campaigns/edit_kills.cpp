// Kills of a program that edits a list, or stores one: edit_kills COUNT [FIRST-SEED [store]]
// The copy that is found afterwards must be a whole state, at most two seconds older than the last one; a stored list
// must be the last one that was stored or the one that was about to take its place.

#include "CutLists/KestrelList.h"
#include "MainWindowController/EditRecovery.h"
#include "MainWindowController/ListFiles.h"
#include "Models/JsonObjectReader.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QThread>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

constexpr int rowCount = 400;
constexpr qint64 oldestMilliseconds = 2000;
constexpr int atATime = 8;

/// Edits without end, every row at each step, and tells the number of each state.
int editUntilKilled(const QString& folder)
{
    SegmentListEditor editor;
    const EditRecovery recovery(editor, RecoveryStore(folder + u"/edits"_s));
    DetectorPayload payload;
    payload.duration = 1e6;
    for (int i = 0; i < rowCount; ++i)
        payload.keepSegments.append({i, 0, 1, 1});
    editor.replace({FileURL(folder + u"/video"_s), payload, buildEditableSegments(payload)});
    QElapsedTimer clock;
    clock.start();
    QTimer timer;
    qint64 state = 0;
    QObject::connect(&timer, &QTimer::timeout, [&] {
        ++state;
        std::ignore = editor.edit(u"x"_s, [state](SegmentList& list) {
            for (EditableSegment& segment : list.segments)
                segment.end = static_cast<double>(state);
            return std::nullopt;
        });
        std::printf("%lld %lld\n", static_cast<long long>(state), static_cast<long long>(clock.elapsed()));
        std::fflush(stdout);
    });
    timer.start(7);
    return QCoreApplication::exec();
}

/// Stores a list under one name without end, each time in another state, and tells the number of each that is stored.
int storeUntilKilled(const QString& folder)
{
    KestrelList document;
    for (int i = 0; i < rowCount; ++i)
        document.list.segments.append({i, false, 0, 0, true});
    for (qint64 state = 1;; ++state) {
        for (EditableSegment& segment : document.list.segments)
            segment.end = static_cast<double>(state);
        writeListFile(FileURL(folder + u"/list.kestrel.json"_s), encodeKestrelList(document));
        std::printf("%lld\n", static_cast<long long>(state));
        std::fflush(stdout);
    }
}

/// The state that a document holds. Throws PayloadDecodingError when it holds none.
qint64 stateIn(const QByteArray& document)
{
    const QList<EditableSegment> rows = decodeKestrelList(document).list.segments;
    const auto state = static_cast<qint64>(rows.value(0).end);
    for (const EditableSegment& row : rows) {
        if (static_cast<qint64>(row.end) != state)
            throw PayloadDecodingError(u"a mixture"_s);
    }
    return state;
}

struct Trial
{
    QTemporaryDir folder;
    QProcess editing;
    qint64 killAfter = 0;
};

/// Why the copy is not what it must be; nothing when it is.
QString fault(const Trial& trial, const QByteArray& told)
{
    QList<qint64> times = {0}; // by state
    for (const QByteArray& line : told.split('\n')) {
        const QByteArrayList words = line.split(' ');
        if (words.size() == 2 && words[0].toLongLong() == times.size())
            times.append(words[1].toLongLong());
    }
    const qint64 last = times.size() - 1;
    const RecoveryStore store(trial.folder.filePath(u"edits"_s));
    const auto name = RecoveryStore::nameFor(FileURL(trial.folder.filePath(u"video"_s)));
    const auto copy = store.load(store.copiesOf(*name).value(0));
    qint64 state = 0;
    try {
        if (copy)
            state = stateIn(copy->document);
    } catch (const PayloadDecodingError& error) {
        return u"damaged: "_s + error.description();
    }
    if (state < last && times.last() - times.at(state + 1) > oldestMilliseconds)
        return u"%1 ms old"_s.arg(times.last() - times.at(state + 1));
    return {};
}

QString faultOfStored(const Trial& trial, const QByteArray& told)
{
    const qint64 last = told.left(told.lastIndexOf('\n')).split('\n').last().toLongLong();
    QFile file(trial.folder.filePath(u"list.kestrel.json"_s));
    if (!file.open(QIODevice::ReadOnly))
        return last == 0 ? QString() : u"gone"_s;
    try {
        const qint64 state = stateIn(file.readAll());
        return state == last || state == last + 1 ? QString() : u"state %1 after %2"_s.arg(state).arg(last);
    } catch (const PayloadDecodingError& error) {
        return u"damaged: "_s + error.description();
    }
}

int killMany(int count, quint32 seed, const QString& work)
{
    QRandomGenerator random(seed);
    int faults = 0;
    for (int done = 0; done < count; done += atATime) {
        std::vector<std::unique_ptr<Trial>> trials;
        QElapsedTimer clock;
        clock.start();
        for (int i = 0; i < std::min(atATime, count - done); ++i) {
            auto trial = std::make_unique<Trial>();
            QFile video(trial->folder.filePath(u"video"_s));
            if (!video.open(QIODevice::WriteOnly))
                return 2;
            trial->killAfter = work == u"edit" ? random.bounded(100, 5000) : random.bounded(30, 1500);
            trial->editing.start(QCoreApplication::applicationFilePath(), {work, trial->folder.path()});
            trials.push_back(std::move(trial));
        }
        for (bool anyRuns = true; anyRuns;) {
            anyRuns = false;
            for (const auto& trial : trials) {
                if (clock.elapsed() >= trial->killAfter)
                    trial->editing.kill();
                anyRuns |= !trial->editing.waitForFinished(1) && trial->editing.state() != QProcess::NotRunning;
            }
        }
        for (const auto& trial : trials) {
            const QByteArray told = trial->editing.readAllStandardOutput();
            const QString found = work == u"edit" ? fault(*trial, told) : faultOfStored(*trial, told);
            if (!found.isEmpty()) {
                ++faults;
                std::printf("killed after %lld ms: %s\n", static_cast<long long>(trial->killAfter), qPrintable(found));
            }
        }
    }
    std::printf("%d kills, %d faults\n", count, faults);
    return faults == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList words = QCoreApplication::arguments();
    if (words.value(1) == u"edit")
        return editUntilKilled(words.value(2));
    if (words.value(1) == u"store")
        return storeUntilKilled(words.value(2));
    return killMany(std::max(1, words.value(1).toInt()), words.value(2).toUInt(), words.value(3, u"edit"_s));
}
