// A program that shows the messages to one client, without a controller and without threads. Needs a bus.
//
// Prints:
//   ticket_printer: Paper was changed

#include <supportedclients.h>
#include <tarvexmessagesreciever.h>
#include <tarvexqueryhandler.h>

#include <QCoreApplication>
#include <QTextStream>

using namespace tarvex;

namespace {

class Screen : public QObject
{
    Q_OBJECT
public Q_SLOTS:

    void show(Message message)
    {
        QTextStream(stdout) << message.sender() << ": " << message.message() << '\n';
        QCoreApplication::quit();
    }
};

/// Another client sends what the screen shows.
bool sendToScreen()
{
    Message message;
    message.setReciever(BUSNAME_MONITORING);
    message.setMessage(QStringLiteral("Paper was changed"));
    TarvexQueryHandler sender(BUSNAME_TICKET_PRINTER);
    return sender.open() && sender.sendMessage(message);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    Screen screen;
    //! [receiver]
    TarvexMessagesReciever receiver(BUSNAME_MONITORING);
    QObject::connect(&receiver, SIGNAL(incomingMessage(Message)), &screen, SLOT(show(Message)), Qt::QueuedConnection);
    if (!receiver.open()) {
        return 1; // There is no bus.
    }
    //! [receiver]
    return sendToScreen() ? QCoreApplication::exec() : 1;
}

#include "receiver.moc"
