#include "AppMain/KestrelApp.h"

#include "AppMain/CommandLineTool.h"
#include "Services/ProcessSurroundings.h"

#include <QApplication>
#include <QWidget>

using namespace Qt::StringLiterals;

int KestrelApp::main(int argc, char* argv[])
{
    repairProcessSurroundings();
    if (CommandLineTool::runIfNeeded(QByteArrayList(argv + std::min(argc, 1), argv + argc)))
        return 0;
    int programOnly = 1; // every other argument is ignored, those of Qt too
    QApplication application(programOnly, argv);
    QWidget window;
    window.setWindowTitle(u"Kestrel"_s);
    window.show();
    return QApplication::exec();
}
