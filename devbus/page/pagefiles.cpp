#include "pagefiles.h"

#include <QDir>
#include <QFile>

/// The resources of a static library are there only after this. It must not stand in a namespace.
static void makeFilesKnown()
{
    Q_INIT_RESOURCE(page);
}

namespace tarvex::devbus {

namespace {

const char* typeOf(const QString& name)
{
    if (name.endsWith(QLatin1String(".js"))) {
        return "text/javascript; charset=utf-8";
    }
    if (name.endsWith(QLatin1String(".css"))) {
        return "text/css; charset=utf-8";
    }
    return name.endsWith(QLatin1String(".svg")) ? "image/svg+xml" : "text/html; charset=utf-8";
}

} // namespace

std::vector<PageFile> pageFiles()
{
    makeFilesKnown();
    std::vector<PageFile> files;
    const QDir folder(QStringLiteral(":/page"));
    const QStringList names = folder.entryList();
    for (const QString& name : names) {
        QFile file(folder.filePath(name));
        if (file.open(QIODevice::ReadOnly)) {
            const bool isIndex = name == QLatin1String("index.html");
            files.push_back(
                {isIndex ? std::string("/") : '/' + name.toStdString(), typeOf(name), file.readAll().toStdString()});
        }
    }
    return files;
}

} // namespace tarvex::devbus
