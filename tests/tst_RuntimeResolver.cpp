#include "FakeTool.h"
#include "Services/RuntimeResolver.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

QStringList paths(const QList<FileURL>& urls)
{
    QStringList result;
    for (const FileURL& url : urls)
        result << url.path();
    return result;
}

} // namespace

class RuntimeResolverTest final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void candidatesInTheirOrder()
    {
        const SearchRoots roots = {FileURL(u"/res"_s), FileURL(u"/parent"_s), FileURL(u"/"_s)};
        QCOMPARE(paths(RuntimeResolver::pythonCandidates(roots)),
                 QStringList({u"/res/venv/bin/python"_s, u"/parent/.venv/bin/python"_s, u"/.venv/bin/python"_s,
                              u"/opt/homebrew/bin/python3"_s, u"/usr/local/bin/python3"_s, u"/usr/bin/python3"_s}));
        QCOMPARE(paths(RuntimeResolver::detectorScriptCandidates(roots)),
                 QStringList({u"/res/detect_scene_changes.py"_s, u"/parent/detect_scene_changes.py"_s,
                              u"/detect_scene_changes.py"_s}));
        QCOMPARE(paths(RuntimeResolver::ffmpegCandidates()),
                 QStringList({u"/opt/homebrew/bin/ffmpeg"_s, u"/usr/local/bin/ffmpeg"_s, u"/usr/bin/ffmpeg"_s}));
        QCOMPARE(paths(RuntimeResolver::detectorScriptCandidates({std::nullopt, FileURL(u"/p"_s), std::nullopt})),
                 QStringList(u"/p/detect_scene_changes.py"_s));
    }

    void theFirstUsableCandidateWinsAsItWasFormed()
    {
        const QTemporaryDir directory;
        const FileURL plain(directory.filePath(u"plain"_s));
        QFile file(plain.path());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
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
