#ifndef BRIDGEEND_H
#define BRIDGEEND_H

#include "cmdlayer/tarvexcommand.h"
#include "literals.h"
#include "logging/tarvexlogcreator.h"

#include <QList>
#include <QMessageLogContext>
#include <QObject>
#include <QPointer>

using tarvex::Message;

inline const QString CLIENT = u"ticket_printer"_s;

inline void store(const QString& text, QtMsgType type = QtWarningMsg)
{
    TarvexLogCreator::humanKivLog(type, QMessageLogContext(), text);
}

inline void show(const QString& text, QtMsgType type = QtWarningMsg)
{
    TarvexLogCreator::guiKivLog(type, QMessageLogContext(), text);
}

inline bool passes(const QString& text)
{
    return TarvexLogCreator::checkMessage(text);
}

inline QString fieldIn(const Message& message, const QString& key)
{
    TarvexCommand cmd;
    TarvexCommand::incomingMessageToCmd(message, cmd);
    return cmd.data().value(key).toString();
}

inline QString textIn(const Message& message)
{
    return fieldIn(message, u"text"_s);
}

inline QString prefixIn(const Message& message)
{
    return fieldIn(message, u"prefix"_s);
}

/// Where the bridge sends the log lines of a test.
class Receiver : public QObject
{
    Q_OBJECT
public:
    /// Sets the bridge up to send to onMessage().
    void setUp(int repeatInterval = 0) { setUp(SLOT(onMessage(Message)), repeatInterval); }

    void setUp(const QByteArray& method, int repeatInterval = 0)
    {
        TarvexLogCreator::init(this, method, CLIENT, repeatInterval);
    }

    QList<Message> messages;
    QList<QPointer<QObject>> creators;
    int calls = 0;

Q_SIGNALS:
    void forwarded(Message msg);

public Q_SLOTS:

    void onMessage(Message msg)
    {
        messages.append(msg);
        creators.append(QPointer<QObject>(sender()));
    }

    void onText(QString text) { Q_UNUSED(text) }

    void onAnything() { ++calls; }
};

#endif // BRIDGEEND_H
