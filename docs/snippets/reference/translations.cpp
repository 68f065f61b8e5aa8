// The languages of a service. Needs no bus.
//
// Prints:
//   tarvexlib
//   English again

#include <translations.h>

#include <tarvexlib.h>

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char** argv)
{
    qputenv("LC_ALL", "de_DE.UTF-8"); // as the user's session does
    QTextStream out(stdout);
    //! [install]
    QCoreApplication application(argc, argv);
    const QStringList translated = wexcor::Translations::install(); // of each library that has registered its texts
    //! [install]
    out << translated.join(QLatin1Char(' ')) << '\n';
    if (bus::TarvexLib::version().isValid()) {
        wexcor::Translations::remove();
        out << "English again\n";
    }
    return 0;
}
