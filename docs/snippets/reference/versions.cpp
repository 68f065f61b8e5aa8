// The versions of a process. Needs no bus.
//
// Prints:
//   printer 1.4.0 of 2026-03-01T10:11:12
//   the library is registered
//   translations of tarvexlib

#include <appversionmanager.h>
#include <tarvexlib.h>

#include <QTextStream>

using wexcor::AppVersion;
using wexcor::AppVersionManager;

int main()
{
    QTextStream out(stdout);
    //! [manager]
    AppVersionManager::addVersion(QStringLiteral("printer"),
                                  AppVersion(QStringLiteral("1.4.0"), QStringLiteral("2026-03-01T10:11:12")));
    const QMap<QString, AppVersion> versions = AppVersionManager::versions(); // "printer" and "tarvexlib"
    //! [manager]

    //! [version]
    const AppVersion printer = AppVersionManager::version(QStringLiteral("printer"));
    if (printer.isValid()) {
        out << "printer " << printer.version() << " of " << printer.buildTime() << '\n';
    }
    //! [version]

    //! [library]
    const AppVersion library = bus::TarvexLib::version(); // "5.0.28"
    //! [library]
    if (versions.value(QStringLiteral("tarvexlib")).version() == library.version()) {
        out << "the library is registered\n";
    }
    if (AppVersionManager::localisations().contains(QStringLiteral("tarvexlib"))) {
        out << "translations of tarvexlib\n";
    }
    return 0;
}
