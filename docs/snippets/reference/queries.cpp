// A small program that asks the bus: settings, and a message that is worth repeating or not. Needs a bus.
//
// Prints:
//   refused: 5 There are no settings for client
//   width 80
//   sent, 0 to be sent later

#include <supportedclients.h>
#include <tarvexqueryhandler.h>

#include <QCoreApplication>
#include <QTextStream>

using namespace tarvex;

namespace {

/// Stores the settings that the example loads.
bool storeSettings(TarvexQueryHandler& bus)
{
    ClientSettings settings;
    settings.setOwner(bus.clientName());
    settings.setFormattedSettings({{QStringLiteral("paper"), QVariantMap{{QStringLiteral("width"), 80}}}}, true);
    return bus.saveSettings(settings);
}

void apply(const QVariantMap& settings)
{
    const QVariantMap paper = settings.value(QStringLiteral("paper")).toMap();
    QTextStream(stdout) << "width " << paper.value(QStringLiteral("width")).toInt() << '\n';
}

void load()
{
    //! [handler]
    TarvexQueryHandler bus(BUSNAME_TICKET_PRINTER);
    ClientSettings settings;
    if (bus.open() && bus.loadSettings(QString(), settings)) {
        apply(settings.formattedSettings());
    } else {
        QTextStream(stdout) << bus.lastOutcome().toString() << '\n';
    }
    //! [handler]
}

void send(TarvexQueryHandler& bus)
{
    Message message;
    message.setReciever(BUSNAME_MONITORING);
    message.setMessage(QStringLiteral("Paper was changed"));
    QList<Message> unsent;
    //! [outcome]
    if (!bus.sendMessage(message) && bus.lastOutcome().kind() != QueryOutcome::Refused) {
        unsent.append(message); // to be sent when the connection is there again
    }
    //! [outcome]
    QTextStream(stdout) << (bus.lastOutcome().isDone() ? "sent, " : "not sent, ") << unsent.size()
                        << " to be sent later\n";
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    load(); // The bus has no settings yet.
    TarvexQueryHandler bus(BUSNAME_TICKET_PRINTER);
    if (!bus.open() || !storeSettings(bus)) {
        return 1;
    }
    bus.close();
    load();
    if (!bus.open()) {
        return 1;
    }
    send(bus);
    return 0;
}
