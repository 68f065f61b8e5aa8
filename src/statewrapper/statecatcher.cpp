#include "statewrapper/statecatcher.h"

#include <QDebug>
#include <QObject>

namespace {

void warnOfNoWrapper()
{
    qWarning().noquote() << QObject::tr("There is no any state wrapper");
}

} // namespace

catchvalue::catchvalue(const QString& propertyName, const QVariant& newValue) : name(propertyName), value(newValue) { }

catchvalue::catchvalue(const QString& propertyName, const QDateTime& newValue) : name(propertyName), value(newValue) { }

QSharedPointer<AbstractStateWrapper> StateCatcher::wrapper()
{
    return AbstractStateWrapper::_wrapper;
}

QSharedPointer<AbstractStateWrapper> StateCatcher::wrapper() const
{
    return AbstractStateWrapper::_wrapper;
}

QVariant StateCatcher::property(const QString& name)
{
    const QSharedPointer<AbstractStateWrapper> current = wrapper();
    return current ? current->value(name) : QVariant();
}

tarvex::ClientState StateCatcher::toClientState() const
{
    const QSharedPointer<AbstractStateWrapper> current = wrapper();
    return current ? current->toClientState() : tarvex::ClientState();
}

// Both operators hold a reference of their own during the call. So the wrapper lives until the call has returned, even
// when the call reaches a slot that sets another wrapper.

StateCatcher operator<<(const StateCatcher& catcher, const catchvalue& value)
{
    const QSharedPointer<AbstractStateWrapper> current = catcher.wrapper();
    if (current) {
        current->setValue(value.name, value.value);
    } else {
        warnOfNoWrapper();
    }
    return catcher;
}

StateCatcher operator<<(const StateCatcher& catcher, const commitstate& commit)
{
    Q_UNUSED(commit)
    const QSharedPointer<AbstractStateWrapper> current = catcher.wrapper();
    if (current) {
        current->commit();
    } else {
        warnOfNoWrapper();
    }
    return catcher;
}
