// unloadinghost LIBRARY: loads a service and tarvexlib with it, unloads both, and logs. It links neither.

#include <QCoreApplication>
#include <QDebug>

#include <cstdio>
#include <dlfcn.h>

namespace {

/// The leak checker finds the object, which is never destroyed, through this pointer.
void* service = nullptr;

void console(QtMsgType, const QMessageLogContext&, const QString& text)
{
    std::printf("console: %s\n", text.toUtf8().constData());
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler(console);
    void* const library = ::dlopen(argc > 1 ? argv[1] : "", RTLD_NOW);
    if (library == nullptr) {
        std::puts(::dlerror());
        return 1;
    }
    service = reinterpret_cast<void* (*)()>(::dlsym(library, "makeService"))();
    ::dlclose(library);
    std::puts(::dlopen("libtarvexlib.so.5", RTLD_NOW | RTLD_NOLOAD) == nullptr ? "unloaded" : "still loaded");
    qWarning("after it");
    return 0;
}
