#ifndef PROGRAMS_H
#define PROGRAMS_H

#include "childprocess.h"
#include "literals.h"

#include <QTest>

#include <optional>

/// The development bus as a program. It is ready when the constructor returns.
class BusProgram : public ChildProcess
{
public:
    explicit BusProgram(const QStringList& arguments = {u"--memory"_s})
        : ChildProcess(QStringLiteral(DEVBUS), arguments)
    {
        QVERIFY2(start() && waitForLine(QString()), "the bus does not start");
    }
};

/// Runs the command-line client to its end. \return what it has printed; nothing if it did not end with 0.
inline std::optional<QByteArray> tarvexctl(const QStringList& arguments)
{
    ChildProcess process(QStringLiteral(TARVEXCTL), arguments);
    process.start();
    return process.status() == 0 ? std::optional<QByteArray>(process.out()) : std::nullopt;
}

#endif // PROGRAMS_H
