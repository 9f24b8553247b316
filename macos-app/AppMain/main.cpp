#include "AppMain/KestrelApp.h"

int main(int argc, char* argv[])
{
    return KestrelApp::main(argc, argv);
}
