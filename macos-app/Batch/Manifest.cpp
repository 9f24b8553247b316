#include "Batch/Manifest.h"

#include "Services/MessageError.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cerrno>
#include <cstdio>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr QByteArrayView heading = "{\"kestrel_batch\":1,\"videos\":[";
constexpr QByteArrayView ending = "]}";
/// Every line begins with the name of a video's folder, so that it is found without reading the rest.
constexpr QByteArrayView lineStart = "{\"folder\":\"";
constexpr qint64 smallestLarge = 4'000'000; ///< bytes

QByteArray jsonText(const QString& text)
{
    const QByteArray list = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return list.sliced(1, list.size() - 2);
}

QByteArray lineOf(const QString& videoFolder, QJsonObject object)
{
    object.remove(u"folder"_s);
    return "{\"folder\":" + jsonText(videoFolder) + ',' +
           QJsonDocument(object).toJson(QJsonDocument::Compact).sliced(1);
}

/// The name at the beginning of a line, with its quotation marks, as it is written; empty for any other line.
QByteArray nameIn(const QByteArray& line)
{
    if (!line.startsWith(lineStart))
        return {};
    for (qsizetype at = lineStart.size(); at < line.size(); ++at) {
        if (line[at] == '\\')
            ++at;
        else if (line[at] == '"')
            return line.sliced(lineStart.size() - 1, at - lineStart.size() + 2);
    }
    return {};
}

QByteArray withoutComma(QByteArray line)
{
    while (line.endsWith('\n') || line.endsWith(','))
        line.chop(1);
    return line;
}

/// One line of the journal, on what came before it.
void applyLine(const QJsonObject& object, std::optional<VideoRecord>& record)
{
    if (object.contains(u"clips"_s)) {
        record = VideoRecord::fromJson(object);
        return;
    }
    const auto source = FileMark::fromText(object.value(u"source"_s).toString());
    if (!object.contains(u"clip"_s) || !source)
        return;
    if (!record || record->source != source)
        record = VideoRecord::fromJson(object); // clips of another video have no place here any more
    record->put(ClipRecord::fromJson(object.value(u"clip"_s).toObject()));
}

OutputError manifestError(const FileURL& url, const QString& reason)
{
    return OutputError(u"无法写入 "_s + url.path() + u"："_s + reason);
}

QByteArray lineOf(const VideoRecord& record, const ClipRecord& clip)
{
    return lineOf(record.folder, {{u"video"_s, record.video.path()},
                                  {u"source"_s, record.source ? record.source->text() : QString()},
                                  {u"clip"_s, clip.json()}});
}

/// Where the line begins. It follows a line's end, so that one which was cut off spoils no other.
qint64 appendLine(const BatchFolder& folder, const QByteArray& line)
{
    const QByteArray text = '\n' + line + '\n';
    folder.lockJournal();
    const qint64 end = ::lseek(folder.journalDescriptor(), 0, SEEK_END);
    const qint64 written = ::write(folder.journalDescriptor(), text.constData(), static_cast<std::size_t>(text.size()));
    const int error = written < 0 ? errno : ENOSPC;
    folder.unlockJournal();
    if (written != text.size())
        throw manifestError(BatchFolder::journal(folder.url()), qt_error_string(error));
    return end + 1;
}

} // namespace

Manifest::Manifest(const FileURL& folder)
    : m_folder(folder)
    , m_document(BatchFolder::manifest(folder).path())
    , m_journal(BatchFolder::journal(folder).path())
{
    // Another process may make one of both in between: what was in the journal is in the document then.
    if (m_journal.open(QIODevice::ReadOnly))
        m_journalSize = m_journal.size();
    if (m_document.open(QIODevice::ReadOnly)) {
        if (withoutComma(m_document.readLine()) != heading)
            throw OutputError(u"%1 不是 kestrel-batch 的清单，没有改动它。"_s.arg(m_document.fileName()));
        readPlaces(m_document, false);
    }
    if (m_journal.isOpen())
        readPlaces(m_journal, true);
}

void Manifest::readPlaces(QFile& file, bool isJournal)
{
    while (!file.atEnd()) {
        const qint64 position = file.pos();
        const QByteArray line = file.readLine();
        note(line, {isJournal, position, line.size()});
    }
}

void Manifest::note(const QByteArray& line, const Line& place)
{
    const QByteArray name = nameIn(line);
    if (name.isEmpty() || !line.endsWith('\n')) // a line that was cut off
        return;
    auto number = m_videoNumbers.constFind(name);
    if (number == m_videoNumbers.cend()) {
        number = m_videoNumbers.insert(name, static_cast<int>(m_lines.size()));
        m_videoNames.append(name);
        m_lines.append(QList<Line>());
    }
    m_lines[*number].append(place);
}

QByteArray Manifest::bytes(const Line& line) const
{
    const QFile& file = line.isInJournal ? m_journal : m_document;
    QByteArray text(line.length, '\0'); // past the file's own buffer, which the journal's end outgrows
    text.truncate(std::max<qint64>(0, ::pread(file.handle(), text.data(), static_cast<std::size_t>(text.size()),
                                              static_cast<off_t>(line.position))));
    return withoutComma(text);
}

QStringList Manifest::videos() const
{
    QStringList names;
    for (const QByteArray& name : m_videoNames)
        names << QJsonDocument::fromJson('[' + name + ']').array().first().toString();
    return names;
}

std::optional<VideoRecord> Manifest::record(const QString& videoFolder)
{
    std::optional<VideoRecord> record;
    const auto number = m_videoNumbers.constFind(jsonText(videoFolder));
    if (number == m_videoNumbers.cend())
        return record;
    for (const Line& line : std::as_const(m_lines[*number]))
        applyLine(QJsonDocument::fromJson(bytes(line)).object(), record);
    return record;
}

void Manifest::put(const BatchFolder& folder, const VideoRecord& record)
{
    add(folder, lineOf(record.folder, record.json()));
}

void Manifest::put(const BatchFolder& folder, const VideoRecord& record, const ClipRecord& clip)
{
    add(folder, lineOf(record, clip));
}

void Manifest::append(const BatchFolder& folder, const VideoRecord& record, const ClipRecord& clip)
{
    appendLine(folder, lineOf(record, clip));
}

void Manifest::add(const BatchFolder& folder, const QByteArray& line)
{
    const qint64 position = appendLine(folder, line);
    const qint64 length = line.size() + 1;
    m_journalSize = position + length;
    if (!m_journal.isOpen() && !m_journal.open(QIODevice::ReadOnly))
        throw manifestError(BatchFolder::journal(m_folder), m_journal.errorString());
    note(line + '\n', {true, position, length});
}

bool Manifest::isLarge() const
{
    return m_journalSize > std::max(smallestLarge, m_document.isOpen() ? m_document.size() : 0);
}

/// Where clips are begun too, so that nothing else is left when it is not finished.
void Manifest::writeDocument(const BatchFolder& folder)
{
    const FileURL document = BatchFolder::manifest(m_folder);
    QFile file(folder.newUnfinished(u"json"_s).path());
    bool isWritten = file.open(QIODevice::WriteOnly) && file.write(heading.toByteArray()) > 0;
    QByteArray separator = "\n";
    for (const QString& name : videos()) {
        const auto known = record(name);
        if (known)
            isWritten = file.write(separator + lineOf(name, known->json())) > 0 && isWritten;
        separator = known ? ",\n" : separator;
    }
    isWritten =
        file.write("\n" + ending.toByteArray() + "\n") > 0 && file.flush() && isWritten && ::fsync(file.handle()) == 0;
    if (isWritten && ::rename(QFile::encodeName(file.fileName()), QFile::encodeName(document.path())) == 0)
        return;
    const QString reason = file.error() == QFileDevice::NoError ? qt_error_string(errno) : file.errorString();
    file.remove();
    throw manifestError(document, reason);
}

void Manifest::compact(const BatchFolder& folder)
{
    if (m_journalSize == 0)
        return;
    writeDocument(folder);
    // Killed before this, the journal says again what the document says.
    if (::ftruncate(folder.journalDescriptor(), 0) != 0)
        throw manifestError(BatchFolder::journal(m_folder), qt_error_string(errno));
    m_document.close();
    m_videoNumbers.clear();
    m_videoNames.clear();
    m_lines.clear();
    m_journalSize = 0;
    if (m_document.open(QIODevice::ReadOnly)) {
        m_document.readLine();
        readPlaces(m_document, false);
    }
}
