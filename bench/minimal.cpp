#include <QApplication>

/// Links what Kestrel links and does nothing: the floor below which no start can go. With an argument it would start
/// an application, which keeps the linker from leaving the libraries out.
int main(int argc, char* argv[])
{
    if (argc > 1) {
        const QApplication application(argc, argv);
        return QApplication::exec();
    }
    return 0;
}
