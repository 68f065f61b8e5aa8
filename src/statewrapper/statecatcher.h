#ifndef STATECATCHER_H
#define STATECATCHER_H

#include "records/clientstate.h"
#include "statewrapper/abstractstatewrapper.h"
#include "tarvexlib_export.h"

#include <QDateTime>
#include <QSharedPointer>
#include <QString>
#include <QVariant>

/// A value on its way into the state: streamed into a StateCatcher, it writes the property \a name.
struct TARVEXLIB_EXPORT catchvalue
{
    catchvalue(const QString& propertyName, const QVariant& newValue);

    /// The date-time is kept as it is, with its time zone and its milliseconds.
    catchvalue(const QString& propertyName, const QDateTime& newValue);

    QString name;
    QVariant value;
};

/// Streamed into a StateCatcher, it announces that the values written before belong together.
struct commitstate
{
};

/// Sets and commits the service's state from anywhere, without a pointer to the state object.
///
/// Always works on the process's current wrapper, see AbstractStateWrapper::init(); it holds nothing itself and is made
/// on the spot. May be used from any thread once init() has been called. Each streamed item waits for the state's lock
/// and takes it for itself: other threads may write and read between two items of a chain. Do not use it where that
/// lock is held already, see AbstractStateWrapper: it would block forever.
///
/// \code
/// StateCatcher() << catchvalue(QStringLiteral("paperLeft"), 119)
///                << catchvalue(QStringLiteral("lastTicket"), QDateTime::currentDateTime()) << commitstate();
/// \endcode
class TARVEXLIB_EXPORT StateCatcher
{
public:
    /// \return the current wrapper, null if there is none. The copy keeps it alive: do not keep it for long.
    QSharedPointer<AbstractStateWrapper> wrapper();
    QSharedPointer<AbstractStateWrapper> wrapper() const;

    /// \return the current wrapper's value() of \a name; an invalid variant if there is no wrapper.
    QVariant property(const QString& name);

    /// \return the current wrapper's record; an invalid one if there is no wrapper.
    tarvex::ClientState toClientState() const;
};

/// Writes the value by the current wrapper's setValue(). Without a wrapper it is dropped and logged as "There is no any
/// state wrapper".
TARVEXLIB_EXPORT StateCatcher operator<<(const StateCatcher& catcher, const catchvalue& value);

/// Calls the current wrapper's commit(), which emits stateChanged(). Without a wrapper that is logged as "There is no
/// any state wrapper".
TARVEXLIB_EXPORT StateCatcher operator<<(const StateCatcher& catcher, const commitstate& commit);

#endif // STATECATCHER_H
