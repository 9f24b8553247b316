#pragma once

#include <QApplication>
#include <QLoggingCategory>

/// The application of a benchmark: it needs no display, but uses the one that QT_QPA_PLATFORM asks for.
class BenchApplication final : public QApplication
{
public:
    BenchApplication(int& argc, char** argv)
        : QApplication(offscreenUnlessTold(argc), argv)
    {
        setQuitOnLastWindowClosed(false);
    }

private:
    static int& offscreenUnlessTold(int& argc)
    {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        QLoggingCategory::setFilterRules(QStringLiteral("default.warning=false")); // of what that cannot do
        return argc;
    }
};
