#include "AppMain/KestrelApp.h"

#include "AppMain/AppDelegate.h"
#include "AppMain/CommandLineTool.h"
#include "Services/DetectorService.h"
#include "Services/ProcessSurroundings.h"

#include <QApplication>
#include <QIcon>
#include <QLibraryInfo>
#include <QTranslator>

#include <clocale>

using namespace Qt::StringLiterals;

namespace {

/// Qt's own buttons, context menus and dialogs speak the window's language, whatever the system's is.
void installChinese(QApplication& application)
{
    auto* translator = new QTranslator(&application);
    if (translator->load(u"qtbase_zh_CN"_s, QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(translator);
}

int runDelegate()
{
    AppDelegate delegate;
    delegate.applicationDidFinishLaunching();
    const int status = QApplication::exec();
    DetectorService::stopAll();
    return status;
}

int run(int argc, char* argv[])
{
    QApplication application(argc, argv);
    std::setlocale(LC_NUMERIC, "C"); // the application object has taken over the user's decimal point
    installChinese(application);
    QApplication::setDesktopFileName(u"org.kestrel.kestrel"_s); // so that a desktop shows the entry's name and icon
    QApplication::setWindowIcon(QIcon::fromTheme(u"kestrel"_s));
    const int status = runDelegate();
    DetectorService::waitForAll(); // their windows are gone, they themselves may take a moment
    return status;
}

} // namespace

int KestrelApp::main(int argc, char* argv[])
{
    repairProcessSurroundings();
    if (CommandLineTool::runIfNeeded(QByteArrayList(argv + std::min(argc, 1), argv + argc)))
        return 0;
    const int programOnly = 1; // every other argument is ignored, those of Qt too
    return run(programOnly, argv);
}
