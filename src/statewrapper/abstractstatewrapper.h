#ifndef ABSTRACTSTATEWRAPPER_H
#define ABSTRACTSTATEWRAPPER_H

#include "records/clientstate.h"
#include "tarvexlib_export.h"

#include <QByteArray>
#include <QMutex>
#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <QVariant>
#include <QVariantMap>

/// The current state of a service. Each Q_PROPERTY that the derived class declares is one value of the state.
///
/// A service derives from it, makes one object, and hands the object to init(). From then on any part of its
/// code can set and commit values through StateCatcher, without a pointer to the object.
///
/// All operations except init() may be called from any thread. One lock protects each operation. All objects of this
/// class share it, and it is not recursive. A value is never read half-written, and toMap() shows the values of one
/// moment. Between two calls another thread may write. The lock is held
/// - while setValue(), value() and toMap() call the properties' accessors,
/// - while setValue() logs that there is no such property, and
/// - while commit() emits stateChanged(),
///
/// and each call waits for it without limit. So \b a \b slot \b that \b is \b connected \b directly \b to
/// \b stateChanged() \b blocks \b forever when it calls one of these operations. So do an accessor, and a slot that a
/// property's NOTIFY signal calls directly. Connect with Qt::QueuedConnection. The default connection is not enough,
/// because it calls the slot directly when the value is committed in the receiver's own thread. A log output or message
/// handler that uses the state also blocks forever when an unknown name is set.
///
/// <!-- quote: docs/snippets/reference/state.cpp#wrapper -->
/// \code
/// class PrinterState : public AbstractStateWrapper
/// {
///     Q_OBJECT
///     Q_PROPERTY(int paperLeft MEMBER m_paperLeft)
///     Q_PROPERTY(bool coverOpen MEMBER m_coverOpen)
/// public:
///     tarvex::ClientState toClientState() const override
///     {
///         tarvex::ClientState state;
///         state.setStateType(tarvex::ClientState::EStateType(1)); // The services agree on the numbers.
///         state.setState(toString());                             // {"coverOpen":false,"paperLeft":120}
///         return state;
///     }
///
/// private:
///     int m_paperLeft = 120;
///     bool m_coverOpen = false;
/// };
/// \endcode
///
/// Then it is made known:
///
/// <!-- quote: docs/snippets/reference/state.cpp#init -->
/// \code
/// // Once, before the threads that use it are started. The connection must be queued.
/// const auto state = QSharedPointer<PrinterState>::create();
/// AbstractStateWrapper::init(state);
/// QObject::connect(state.data(), SIGNAL(stateChanged()), &queryWorker, SLOT(sendState()), Qt::QueuedConnection);
/// \endcode
///
/// From then on any part of the service sets values, in any thread, see StateCatcher.
///
/// \see docs/state.md
class TARVEXLIB_EXPORT AbstractStateWrapper : public QObject
{
    Q_OBJECT
public:
    /// The object has no parent, because shared pointers hold it.
    AbstractStateWrapper();
    ~AbstractStateWrapper() override;

    /// Makes \a wrapper the process's current wrapper and releases the former one. With null there is none. It takes no
    /// lock, so call it once, early, before other threads use StateCatcher.
    ///
    /// The wrapper is destroyed with its last reference, in the thread that releases that reference. The process's own
    /// reference is released when the library is unloaded. Threads that use the wrapper must have ended by then. A
    /// service that wants it to be destroyed sooner, for instance before its QCoreApplication, calls init() with null.
    static void init(const QSharedPointer<AbstractStateWrapper>& wrapper);

    /// Writes a declared property, also one that an intermediate base class declares. The property's setter runs in the
    /// calling thread, under the lock.
    ///
    /// QMetaProperty::write() converts the value. If it cannot, or if the property is read-only, the property keeps its
    /// value and nothing is logged. A \a name that is not declared (unknown, dynamic, or QObject's own "objectName")
    /// changes nothing and is logged as "There is no property ...". Names are Latin-1.
    virtual void setValue(QString name, QVariant value);

    /// Reads a property. In contrast to setValue(), it also finds dynamic properties and "objectName". \return the
    /// value; an invalid variant, without a log line, if there is no property of that name.
    virtual QVariant value(QString name);

    /// \return all properties that the object's own class declares, by name, as they are at one moment. It does not
    /// contain properties of intermediate base classes, dynamic properties or "objectName".
    virtual QVariantMap toMap() const;

    /// \return toMap() as one compact JSON object in UTF-8, with sorted keys. Values that JSON does not know are
    /// written as QJsonValue::fromVariant() does: a date-time as text; a type of the service's own, or a QList<int>, as
    /// null unless it has a converter to QString. An enumerator is a number until its type is registered, and its name
    /// from then on. So register the type (qRegisterMetaType) in the derived class's constructor.
    virtual QByteArray toByteArray() const;

    /// \return toByteArray() as a string.
    virtual QString toString() const;

    /// The derived class returns the record that describes this state. Usually the record's text is toString(). The
    /// function is called without the lock, in any thread. TarvexQueryHandler::saveState() sets the owner, and the
    /// date-time if it is missing.
    virtual tarvex::ClientState toClientState() const = 0;

Q_SIGNALS:
    /// A consistent set of values has been written. Emitted by commit(), in the committing thread and under the lock.
    /// How to connect it is described above.
    void stateChanged();

public Q_SLOTS:
    /// Emits stateChanged(), even when no value has changed. Writers and readers in other threads wait until every
    /// directly connected slot has returned.
    void commit();

private:
    friend class StateCatcher;

    static QSharedPointer<AbstractStateWrapper> _wrapper;
    static QMutex _stateMutex;
};

#endif // ABSTRACTSTATEWRAPPER_H
