#include "Models/FileURL.h"
#include "Models/OutputNaming.h"
#include "Models/ShellQuoting.h"

#include <QtTest>

using namespace Qt::StringLiterals;

class Naming final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    /// Every row is what was typed, the fallback and the prefix.
    void prefix()
    {
        const QList<QStringList> rows = {{u" a/b:c\\d\ne\rf\tg "_s, u"x"_s, u"a-b-c-d-e-f-g"_s},
                                         {u"/a//b/"_s, u"x"_s, u"a-b"_s},
                                         {u"/ : /"_s, u"holiday"_s, u"holiday"_s},
                                         {u""_s, u"a:b"_s, u"a-b"_s},
                                         {u""_s, u" a "_s, u" a "_s}, // the fallback is not trimmed
                                         {u"\u3000"_s, u" :/ "_s, u"clip"_s},
                                         {u"%1-%2 x"_s, u"x"_s, u"%1-%2 x"_s}};
        for (const QStringList& row : rows)
            QCOMPARE(sanitizePrefix(row[0], row[1]), row[2]);
    }

    void outputName()
    {
        QCOMPARE(makeOutputFileName(u"clip"_s, 1, u"mp4"_s), u"clip-01.mp4"_s);
        QCOMPARE(makeOutputFileName(u""_s, 7, u"MOV"_s), u"07.MOV"_s);
        QCOMPARE(makeOutputFileName(u"clip"_s, 123, u""_s), u"clip-123"_s);
        QCOMPARE(makeOutputFileName(u"clip"_s, -1, u""_s), u"clip--1"_s);
    }

    void quoting()
    {
        for (const QString& bare :
             {u"/tmp/media/clip_1:2-3.mp4"_s, u"-y"_s, u"片段é\u0065\u0301.mp4"_s, u"𠮷.mp4"_s, u"Ⅷ½①"_s})
            QCOMPARE(shellQuoted(bare), bare);
        for (const QString& word : {u"😀.mp4"_s, u"a b"_s, u"crop=1:2:3:4"_s, u"$`\\"_s, u""_s, QString(QChar(0xd842))})
            QCOMPARE(shellQuoted(word), u'"' + word + u'"');
        QCOMPARE(shellQuoted(u"a\"b\\c"_s), u"\"a\\\"b\\c\""_s);
    }

    void aShellReadsItsWordsBack()
    {
        const QStringList words = {u"-y"_s, u"a  b"_s, u"$(echo x)`echo y`!"_s, u"it's\n\"\\\""_s,
                                   u"~"_s,  u""_s,     u"片段*.mp4"_s};
        QStringList line = {u"printf '%s\\0'"_s};
        for (const QString& word : words)
            line << shellWord(word);
        QProcess shell;
        shell.start(u"sh"_s, {u"-c"_s, line.join(u' ')});
        QVERIFY(shell.waitForFinished());
        QCOMPARE(QString::fromUtf8(shell.readAllStandardOutput()), words.join(QChar(0)) + QChar(0));
    }

    /// Every row is a path, its base name, its extension and its folder.
    void pathPieces()
    {
        const QList<QStringList> rows = {{u"/v/clip.mp4"_s, u"clip"_s, u"mp4"_s, u"/v"_s},
                                         {u"/a.tar.gz"_s, u"a.tar"_s, u"gz"_s, u"/"_s},
                                         {u"/v/.hidden"_s, u".hidden"_s, u""_s, u"/v"_s},
                                         {u"/v/name."_s, u"name."_s, u""_s, u"/v"_s},
                                         {u"/v.d/name"_s, u"name"_s, u""_s, u"/v.d"_s},
                                         {u"/v/d.x//"_s, u"d"_s, u"x"_s, u"/v"_s},
                                         {u"/v/-x 100%20#.mp4"_s, u"-x 100%20#"_s, u"mp4"_s, u"/v"_s}};
        for (const QStringList& row : rows) {
            const FileURL url(row[0]);
            QCOMPARE(url.baseName(), row[1]);
            QCOMPARE(url.pathExtension(), row[2]);
            QCOMPARE(url.deletingLastPathComponent().path(), row[3]);
        }
    }

    void pathsAreJoinedWithOneSeparator()
    {
        QCOMPARE(FileURL(u"/"_s).appendingPathComponent(u"a"_s).path(), u"/a"_s);
        QCOMPARE(FileURL(u"/d"_s).appendingPathComponent(u"a"_s).path(), u"/d/a"_s);
        QCOMPARE(FileURL::fromUserPath(u"-x.mp4"_s).path(), QDir::currentPath() + u"/-x.mp4"_s);
        QCOMPARE(FileURL::fromUserPath(u"/~/./x"_s).path(), u"/~/./x"_s);
    }
};

QTEST_GUILESS_MAIN(Naming)
#include "tst_Naming.moc"
