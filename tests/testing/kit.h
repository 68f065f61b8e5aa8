#ifndef KIT_H
#define KIT_H

#include "busclient.h"
#include "client/tarvexqueryhandler.h"
#include "samples.h"
#include "testbus.h"

#include <QTest>

#include <functional>
#include <memory>

using tarvex::ClientSettings;
using tarvex::ClientState;
using tarvex::Message;
using tarvex::TarvexError;
using tarvex::testing::TestBus;

/// A call of the kit. \return whether it has succeeded.
using Act = std::function<bool(TestBus& bus)>;

Q_DECLARE_METATYPE(Act)

constexpr int SHORT_MS = 100; ///< For waits that are to fail.

inline QString printer()
{
    return u"printer"_s;
}

inline QString cashbox()
{
    return u"cashbox"_s;
}

inline QString print()
{
    return u"print"_s;
}

/// A state without a time.
inline ClientState stateOf(const QString& owner, const QString& text)
{
    ClientState state;
    state.setOwner(owner);
    state.setStateType(static_cast<ClientState::EStateType>(1));
    state.setState(text);
    return state;
}

inline Message plainMessage(const QString& reciever, const QString& text)
{
    Message message;
    message.setReciever(reciever);
    message.setMessage(text);
    return message;
}

inline Message commandMessage(const QString& reciever, const QString& name, const QString& text = {})
{
    TarvexCommand command;
    command.setAgent(reciever);
    command.setName(name);
    command.setData({{u"text"_s, text}});
    return command.toOutgoingMessage();
}

/// The text in the data of such a command.
inline QString textOf(const std::optional<TarvexCommand>& command)
{
    return command ? command->data().value(u"text"_s).toString() : QString();
}

/// A client that connects to the query port when it is made.
class OpenClient : public tarvex::TarvexQueryHandler
{
public:
    explicit OpenClient(const QString& name = printer()) : TarvexQueryHandler(name) { open(); }
};

/// The base of the tests: each test function has a bus of its own, which is started.
class KitTest : public QObject
{
    Q_OBJECT
protected:
    std::unique_ptr<TestBus> m_bus;

private Q_SLOTS:

    void init()
    {
        m_bus = std::make_unique<TestBus>();
        QVERIFY2(m_bus->start(), qPrintable(m_bus->errorString()));
    }

    void cleanup() { m_bus.reset(); }
};

#endif // KIT_H
