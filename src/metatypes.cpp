#include "cmdlayer/tarvexcommand.h"
#include "records/clientsettings.h"
#include "records/clientstate.h"
#include "records/message.h"
#include "records/tarvexerror.h"
#include "threadsanitizer_p.h"

#include <QAbstractSocket>
#include <QMetaType>
#include <QPair>

// Queued connections look up their argument types by the name in the signature. Inside the namespace that is the short
// name. A service must be able to connect before it has used any of our classes. So all types that cross threads are
// registered here, under both names, when the library is loaded.
namespace {

using wexcor::threadsanitizer::registerQueuedType;

template <typename Record>
void registerUnderBothNames(const char* shortName, const char* fullName)
{
    registerQueuedType<Record>(fullName);
    qRegisterMetaType<Record>(shortName);
    qRegisterMetaType<Record>(fullName);
}

struct MetaTypes
{
    MetaTypes()
    {
        using namespace tarvex;
        registerUnderBothNames<Message>("Message", "tarvex::Message");
        registerUnderBothNames<TarvexError>("TarvexError", "tarvex::TarvexError");
        registerUnderBothNames<ClientSettings>("ClientSettings", "tarvex::ClientSettings");
        registerUnderBothNames<ClientState>("ClientState", "tarvex::ClientState");
        registerUnderBothNames<QList<ClientSettings>>("QList<ClientSettings>", "QList<tarvex::ClientSettings>");
        qRegisterMetaType<QList<QPair<QString, qint32>>>("QList<QPair<QString,qint32> >");
        registerQueuedType<TarvexCommand>("TarvexCommand");
        qRegisterMetaType<TarvexCommand>("TarvexCommand");
        qRegisterMetaType<QAbstractSocket::SocketError>("QAbstractSocket::SocketError");
    }
};

const MetaTypes metaTypes; // clazy:exclude=non-pod-global-static

} // namespace
