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

/// The current state of a service: each Q_PROPERTY that the derived class declares is one value of it.
///
/// A service derives from it, makes one object, and hands it to init(). From then on any of its code sets and commits
/// values through StateCatcher, without a pointer to the object.
///
/// All operations but init() may be called from any thread. One lock, shared by all objects of this class and not
/// recursive, makes each of them whole: a value is never read half-written, and toMap() shows one moment. Two calls in
/// a row are two steps, between which another thread may write. The lock is held
/// - while setValue(), value() and toMap() call the properties' accessors,
/// - while setValue() logs that there is no such property, and
/// - while commit() emits stateChanged(),
///
/// and each call waits for it without limit. So an accessor, a slot that a property's NOTIFY signal calls directly, and
/// \b a \b slot \b connected \b directly \b to \b stateChanged() \b blocks \b forever when it calls one of these
/// operations. Connect with Qt::QueuedConnection; the default is not enough, since it calls directly whenever the value
/// is committed in the receiver's own thread. A log output or message handler that touches the state blocks forever as
/// well, when an unknown name is set.
///
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
///         state.setStateType(STATE_RUNNING);
///         state.setState(toString()); // {"coverOpen":false,"paperLeft":120}
///         return state;
///     }
///
/// private:
///     int m_paperLeft = 0;
///     bool m_coverOpen = false;
/// };
///
/// // Once, before the threads that use it are started:
/// const auto state = QSharedPointer<PrinterState>::create();
/// AbstractStateWrapper::init(state);
/// connect(state.data(), SIGNAL(stateChanged()), queryWorker, SLOT(sendState()), Qt::QueuedConnection);
///
/// // Then anywhere, from any thread:
/// StateCatcher() << catchvalue(QStringLiteral("paperLeft"), 119) << commitstate();
/// \endcode
class TARVEXLIB_EXPORT AbstractStateWrapper : public QObject
{
    Q_OBJECT
public:
    /// No parent: the object is held by shared pointers.
    AbstractStateWrapper();
    ~AbstractStateWrapper() override;

    /// Makes \a wrapper the process's current one and lets go of the one before; null leaves none. Takes no lock: call
    /// it once, early, before other threads use StateCatcher.
    ///
    /// The wrapper is destroyed with its last reference, in the thread that gives it up, at the latest when the library
    /// is unloaded; by then threads that use it must have ended. A service that wants it gone sooner, for instance
    /// before its QCoreApplication, calls init() with null.
    static void init(const QSharedPointer<AbstractStateWrapper>& wrapper);

    /// Writes a declared property, also one of an intermediate base class. The property's setter runs in the calling
    /// thread, under the lock.
    ///
    /// The value is converted as QMetaProperty::write() does; if that cannot be done, or the property is read-only, it
    /// keeps its value and nothing is logged. A \a name that is not declared (unknown, dynamic, or QObject's own
    /// "objectName") changes nothing and is logged as "There is no property ...". Names are Latin-1.
    virtual void setValue(QString name, QVariant value);

    /// Reads a property, in contrast to setValue() also a dynamic one or "objectName". \return an invalid variant, and
    /// logs nothing, if there is none of that name.
    virtual QVariant value(QString name);

    /// \return all properties that the object's own class declares, by name, as they are at one moment; without those
    /// of intermediate base classes, dynamic ones and "objectName".
    virtual QVariantMap toMap() const;

    /// \return toMap() as one compact JSON object in UTF-8, its keys sorted. Values that JSON does not know are written
    /// as QJsonValue::fromVariant() does: a date-time as text, a type of one's own or a QList<int> as null unless it
    /// has a converter to QString. An enumerator is a number until its type is registered, and from then on its name:
    /// register it (qRegisterMetaType) in the derived class's constructor.
    virtual QByteArray toByteArray() const;

    /// \return toByteArray() as a string.
    virtual QString toString() const;

    /// For the derived class: the record that describes this state. Usually its text is toString(). Called without the
    /// lock, in any thread. What saves it, TarvexQueryHandler::saveState(), fills in the owner and a missing date-time.
    virtual tarvex::ClientState toClientState() const = 0;

Q_SIGNALS:
    /// A consistent set of values has been written. Emitted by commit(), in the committing thread and under the lock:
    /// see above on how to connect.
    void stateChanged();

public Q_SLOTS:
    /// Emits stateChanged(), also when no value is different. Writers and readers in other threads wait until every
    /// directly connected slot has returned.
    void commit();

private:
    friend class StateCatcher;

    static QSharedPointer<AbstractStateWrapper> _wrapper;
    static QMutex _stateMutex;
};

#endif // ABSTRACTSTATEWRAPPER_H
