#include "client/tarvexqueryhandler.h"
#include "testbus.h"

#include <QCoreApplication>
#include <QDebug>

/// A test without a framework: ends with 0 when the client's state has come to the bus.
int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    tarvex::testing::TestBus bus;
    tarvex::TarvexQueryHandler client(QStringLiteral("printer"));
    tarvex::ClientState state;
    state.setStateType(tarvex::ClientState::EStateType(1));
    if (bus.start() && client.open() && client.saveState(state) && bus.waitForState(QStringLiteral("printer"))) {
        return 0;
    }
    qCritical().noquote() << bus.errorString();
    return 1;
}
