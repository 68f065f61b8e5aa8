// Replaces the fuzzing engine where there is none: runs every file of the folders named on the command line.

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <cstddef>
#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

bool replay(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    const QByteArray bytes = file.readAll();
    // If an input fails, its name is the last one that was printed.
    std::printf("%s\n", qPrintable(path));
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.constData()), static_cast<size_t>(bytes.size()));
    return true;
}

/// \return how many files were run, -1 when one could not be read.
int replayFolder(const QDir& folder)
{
    const QStringList names = folder.entryList(QDir::Files, QDir::Name);
    for (const QString& name : names) {
        if (!replay(folder.filePath(name))) {
            return -1;
        }
    }
    return names.size();
}

} // namespace

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        if (replayFolder(QDir(QFile::decodeName(argv[i]))) <= 0) {
            std::fprintf(stderr, "%s: no corpus to be read\n", argv[i]);
            return 1;
        }
    }
    return argc > 1 ? 0 : 1;
}
