#include "cmdlayer/tarvexcommand.h"
#include "records/clientsettings.h"
#include "records/clientstate.h"
#include "records/message.h"
#include "records/tarvexerror.h"

#include <QAbstractSocket>
#include <QMetaType>
#include <QPair>

#if defined(__SANITIZE_THREAD__)
#    include <sanitizer/tsan_interface.h>
#endif

// Queued connections look their argument types up by the name that stands in the signature, and inside the namespace
// that is the short name. A service must be able to connect before it has touched any of our classes, so all types that
// cross threads are entered here, under both names, when the library is loaded.
namespace {

#if defined(__SANITIZE_THREAD__)

// A queued signal carries copies that one thread makes and another one reads. What orders the two is the lock of Qt's
// event queue, into which the thread sanitizer cannot see: it would take every message between two threads for a race.
// So it is told of the three moments. It takes any delivered event for one that comes after every copy made by then.
char queuedCopies;

template <typename Record>
void* constructVisibly(void* where, const void* original)
{
    void* const copy = QtMetaTypePrivate::QMetaTypeFunctionHelper<Record>::Construct(where, original);
    __tsan_release(&queuedCopies);
    return copy;
}

template <typename Record>
void destructVisibly(void* copy)
{
    __tsan_acquire(&queuedCopies);
    QtMetaTypePrivate::QMetaTypeFunctionHelper<Record>::Destruct(copy);
}

bool acquireCopies(void** event)
{
    Q_UNUSED(event)
    __tsan_acquire(&queuedCopies);
    return false; // The event is still to be delivered.
}

template <typename Record>
void registerVisibly(const char* fullName)
{
    // What comes first under a name stays: later registrations, also those of other modules, find this one.
    QMetaType::registerNormalizedType(
        fullName, destructVisibly<Record>, constructVisibly<Record>, sizeof(Record),
        QMetaType::TypeFlags(QtPrivate::QMetaTypeTypeFlags<Record>::Flags) | QMetaType::WasDeclaredAsMetaType, nullptr);
}

#endif

template <typename Record>
void registerUnderBothNames(const char* shortName, const char* fullName)
{
#if defined(__SANITIZE_THREAD__)
    registerVisibly<Record>(fullName);
#endif
    qRegisterMetaType<Record>(shortName);
    qRegisterMetaType<Record>(fullName);
}

struct MetaTypes
{
    MetaTypes()
    {
        using namespace tarvex;
#if defined(__SANITIZE_THREAD__)
        QInternal::registerCallback(QInternal::EventNotifyCallback, acquireCopies);
        registerVisibly<TarvexCommand>("TarvexCommand");
#endif
        registerUnderBothNames<Message>("Message", "tarvex::Message");
        registerUnderBothNames<TarvexError>("TarvexError", "tarvex::TarvexError");
        registerUnderBothNames<ClientSettings>("ClientSettings", "tarvex::ClientSettings");
        registerUnderBothNames<ClientState>("ClientState", "tarvex::ClientState");
        registerUnderBothNames<QList<ClientSettings>>("QList<ClientSettings>", "QList<tarvex::ClientSettings>");
        qRegisterMetaType<QList<QPair<QString, qint32>>>("QList<QPair<QString,qint32> >");
        qRegisterMetaType<TarvexCommand>("TarvexCommand");
        qRegisterMetaType<QAbstractSocket::SocketError>("QAbstractSocket::SocketError");
    }
};

const MetaTypes metaTypes; // clazy:exclude=non-pod-global-static

} // namespace
