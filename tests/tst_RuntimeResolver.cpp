#include "FakeTool.h"
#include "Services/RuntimeResolver.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace Qt::StringLiterals;

class RuntimeResolverTest final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void absentPlacesGiveNoCandidates()
    {
        QCOMPARE(RuntimeResolver::detectorScriptCandidates({std::nullopt, FileURL(u"/p"_s), std::nullopt}),
                 QList{FileURL(u"/p/detect_scene_changes.py"_s)});
    }

    void theFirstUsableCandidateWinsAsItWasFormed()
    {
        const QTemporaryDir directory;
        const FileURL plain(directory.filePath(u"plain"_s));
        writeFile(plain.path(), {});
        const FileURL tool = writeFakeTool(directory.path(), u"tool"_s, "");
        const FileURL link(directory.filePath(u"link"_s));
        QVERIFY(QFile::link(tool.path(), link.path()));
        const FileURL missing(directory.filePath(u"missing"_s));

        QCOMPARE(RuntimeResolver::firstExecutable({missing, plain, link, tool}), std::optional(link));
        QCOMPARE(RuntimeResolver::firstReadableFile({missing, plain, link}), std::optional(plain));
        QVERIFY(!RuntimeResolver::firstExecutable({missing, plain}));
    }

    void searchPathOfChildren()
    {
        const auto path = [](const QString& inherited) {
            return subprocessPath(FileURL(u"/proj/.venv/bin/python"_s), FileURL(u"/opt/homebrew/bin/ffmpeg"_s),
                                  inherited);
        };
        const QString fixed = u"/proj/.venv/bin:/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin"_s;
        QCOMPARE(path(QString()), fixed);
        QCOMPARE(path(u"/usr/bin::/custom/bin:/opt/homebrew/bin"_s), fixed + u":/custom/bin"_s);
        QCOMPARE(path(u"/usr/bin/:."_s), fixed + u":/usr/bin/:."_s); // compared as text
    }
};

QTEST_GUILESS_MAIN(RuntimeResolverTest)
#include "tst_RuntimeResolver.moc"
