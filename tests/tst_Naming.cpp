#include "Models/FileURL.h"
#include "Models/OutputNaming.h"
#include "Models/ShellQuoting.h"

#include <QtTest>

using namespace Qt::StringLiterals;

class Naming final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void prefix_data()
    {
        QTest::addColumn<QString>("raw");
        QTest::addColumn<QString>("fallback");
        QTest::addColumn<QString>("prefix");
        QTest::newRow("every separator") << u" a/b:c\\d\ne\rf\tg "_s << u"x"_s << u"a-b-c-d-e-f-g"_s;
        QTest::newRow("repeated and outer separators") << u"/a//b/"_s << u"x"_s << u"a-b"_s;
        QTest::newRow("inner blanks survive") << u"my  clip"_s << u"x"_s << u"my  clip"_s;
        QTest::newRow("only separators") << u"/"_s << u"holiday"_s << u"holiday"_s;
        QTest::newRow("only separators and blanks") << u"/ : /"_s << u"holiday"_s << u"holiday"_s;
        QTest::newRow("the fallback is split too") << u""_s << u"a:b"_s << u"a-b"_s;
        QTest::newRow("the fallback is not trimmed") << u""_s << u" a "_s << u" a "_s;
        QTest::newRow("both unusable") << u"\u3000"_s << u" :/ "_s << u"clip"_s;
        QTest::newRow("text that looks like a placeholder") << u"%1-%2"_s << u"x"_s << u"%1-%2"_s;
    }
    void prefix()
    {
        QFETCH(QString, raw);
        QFETCH(QString, fallback);
        QTEST(sanitizePrefix(raw, fallback), "prefix");
    }

    void outputName()
    {
        QCOMPARE(makeOutputFileName(u"clip"_s, 1, u"mp4"_s), u"clip-01.mp4"_s);
        QCOMPARE(makeOutputFileName(u""_s, 7, u"MOV"_s), u"07.MOV"_s);
        QCOMPARE(makeOutputFileName(u"clip"_s, 123, u""_s), u"clip-123"_s);
        QCOMPARE(makeOutputFileName(u"clip"_s, 0, u""_s), u"clip-00"_s);
        QCOMPARE(makeOutputFileName(u"clip"_s, -1, u""_s), u"clip--1"_s);
    }

    void quoting_data()
    {
        QTest::addColumn<QString>("word");
        QTest::addColumn<bool>("staysBare");
        QTest::newRow("path") << u"/tmp/media/clip_1:2-3.mp4"_s << true;
        QTest::newRow("option") << u"-y"_s << true;
        QTest::newRow("Chinese and accents, composed and not") << u"片段é\u0065\u0301.mp4"_s << true;
        QTest::newRow("letter beyond 16 bits") << u"𠮷.mp4"_s << true;
        QTest::newRow("other kinds of number") << u"Ⅷ½①"_s << true;
        QTest::newRow("emoji") << u"😀.mp4"_s << false;
        QTest::newRow("blank") << u"a b"_s << false;
        QTest::newRow("equals sign") << u"crop=1:2:3:4"_s << false;
        QTest::newRow("shell's own characters") << u"$`\\"_s << false;
        QTest::newRow("empty") << u""_s << false;
        QTest::newRow("half a surrogate pair") << QString(QChar(0xd842)) << false;
    }
    void quoting()
    {
        QFETCH(QString, word);
        QFETCH(bool, staysBare);
        QCOMPARE(shellQuoted(word), staysBare ? word : u'"' + word + u'"');
    }
    void quotingEscapesOnlyTheQuote() { QCOMPARE(shellQuoted(u"a\"b\\c"_s), u"\"a\\\"b\\c\""_s); }

    void pathPieces_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("baseName");
        QTest::addColumn<QString>("extension");
        QTest::addColumn<QString>("directory");
        QTest::newRow("plain") << u"/v/clip.mp4"_s << u"clip"_s << u"mp4"_s << u"/v"_s;
        QTest::newRow("two points") << u"/a.tar.gz"_s << u"a.tar"_s << u"gz"_s << u"/"_s;
        QTest::newRow("hidden") << u"/v/.hidden"_s << u".hidden"_s << u""_s << u"/v"_s;
        QTest::newRow("point last") << u"/v/name."_s << u"name."_s << u""_s << u"/v"_s;
        QTest::newRow("point in the folder only") << u"/v.d/name"_s << u"name"_s << u""_s << u"/v.d"_s;
        QTest::newRow("trailing separators") << u"/v/d.x//"_s << u"d"_s << u"x"_s << u"/v"_s;
        QTest::newRow("escapes are plain text") << u"/v/-x 100%20#.mp4"_s << u"-x 100%20#"_s << u"mp4"_s << u"/v"_s;
    }
    void pathPieces()
    {
        QFETCH(QString, path);
        const FileURL url(path);
        QTEST(url.baseName(), "baseName");
        QTEST(url.pathExtension(), "extension");
        QTEST(url.deletingLastPathComponent().path(), "directory");
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
