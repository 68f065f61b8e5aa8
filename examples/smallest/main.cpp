#include <supportedclients.h>
#include <tarvexqueryhandler.h>

#include <QCoreApplication>
#include <QDebug>
#include <QJsonDocument>

using namespace tarvex;

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    //! [records]
    ClientSettings settings;
    settings.setOwner(BUSNAME_TICKET_PRINTER);
    settings.setFormattedSettings({{QStringLiteral("paper"), QVariantMap{{QStringLiteral("width"), 80}}}}, true);
    ClientState state;
    state.setStateType(ClientState::EStateType(0));
    state.setState(QStringLiteral("ready"));
    Message message;
    message.setReciever(BUSNAME_MONITORING);
    message.setMessage(QStringLiteral("Paper was changed"));
    //! [records]

    //! [exchanges]
    TarvexQueryHandler bus(BUSNAME_TICKET_PRINTER);
    const bool done = bus.open() && bus.saveSettings(settings) && bus.saveState(state)
        && bus.loadSettings(QString(), settings) && bus.loadState(QString(), state) && bus.sendMessage(message);
    //! [exchanges]
    if (done) {
        const QJsonDocument stored = QJsonDocument::fromVariant(settings.formattedSettings());
        qInfo().noquote() << stored.toJson(QJsonDocument::Compact) << state.state();
    }
    return done ? 0 : 1;
}
