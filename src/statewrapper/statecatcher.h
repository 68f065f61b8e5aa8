#ifndef STATECATCHER_H
#define STATECATCHER_H

#include "records/clientstate.h"
#include "statewrapper/abstractstatewrapper.h"
#include "tarvexlib_export.h"

#include <QDateTime>
#include <QSharedPointer>
#include <QString>
#include <QVariant>

/// A value for the state. When it is streamed into a StateCatcher, it is written to the property \a name.
///
/// <!-- quote: docs/snippets/reference/state.cpp#value -->
/// \code
/// StateCatcher() << catchvalue(QStringLiteral("coverOpen"), true);
/// \endcode
struct TARVEXLIB_EXPORT catchvalue
{
    /// The value is kept unchanged. The property's type decides later whether it can be written.
    catchvalue(const QString& propertyName, const QVariant& newValue);

    /// The date-time is kept unchanged, with its time zone and its milliseconds.
    catchvalue(const QString& propertyName, const QDateTime& newValue);

    QString name;   ///< Of the property.
    QVariant value; ///< What is written to it.
};

/// When it is streamed into a StateCatcher, it announces that the values written before belong together.
///
/// <!-- quote: docs/snippets/reference/state.cpp#commit -->
/// \code
/// StateCatcher() << commitstate(); // announces what was set before, also elsewhere
/// \endcode
struct commitstate
{
};

/// Sets and commits the service's state from anywhere, without a pointer to the state object.
///
/// It always works on the process's current wrapper, see AbstractStateWrapper::init(). It holds no data, so make one
/// wherever you need it. It may be used from any thread once init() has been called. Each streamed item waits for the
/// state's lock and takes it separately, so other threads may write and read between two items of a chain. Do not use
/// it where the lock is held already, see AbstractStateWrapper: it would block forever.
///
/// <!-- quote: docs/snippets/reference/state.cpp#catcher -->
/// \code
/// StateCatcher() << catchvalue(QStringLiteral("paperLeft"), 119) << commitstate();
///
/// const int paperLeft = StateCatcher().property(QStringLiteral("paperLeft")).toInt();
/// \endcode
class TARVEXLIB_EXPORT StateCatcher
{
public:
    /// \return the current wrapper, null if there is none. The returned pointer keeps the wrapper alive, so do not keep
    /// the pointer for long.
    QSharedPointer<AbstractStateWrapper> wrapper();
    QSharedPointer<AbstractStateWrapper> wrapper() const; ///< The same.

    /// \return the current wrapper's value() of \a name, an invalid variant if there is no wrapper.
    QVariant property(const QString& name);

    /// \return the current wrapper's record, an invalid one if there is no wrapper.
    tarvex::ClientState toClientState() const;
};

/// Writes the value with the current wrapper's setValue(). Without a wrapper the value is dropped, and "There is no any
/// state wrapper" is logged. \relates StateCatcher
TARVEXLIB_EXPORT StateCatcher operator<<(const StateCatcher& catcher, const catchvalue& value);

/// Calls the current wrapper's commit(), which emits stateChanged(). Without a wrapper "There is no any state wrapper"
/// is logged. \relates StateCatcher
TARVEXLIB_EXPORT StateCatcher operator<<(const StateCatcher& catcher, const commitstate& commit);

#endif // STATECATCHER_H
