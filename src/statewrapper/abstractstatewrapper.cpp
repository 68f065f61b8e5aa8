#include "statewrapper/abstractstatewrapper.h"

#include "threadsanitizer_p.h"

#include <QDebug>
#include <QJsonDocument>
#include <QMetaProperty>

using wexcor::VisibleLocker;

// The compiler initialises both as constants, so a static object of another library may use them at any time. They are
// destroyed in reverse order, so the lock still exists when the destructor of a wrapper sets a last value.
QMutex AbstractStateWrapper::_stateMutex;
QSharedPointer<AbstractStateWrapper> AbstractStateWrapper::_wrapper;

namespace {

/// Clears the pointer before the wrapper is destroyed. Otherwise a wrapper whose destructor uses the catcher would find
/// itself, and would be destroyed a second time when the catcher releases it.
struct ReleaseAtUnload
{
    ReleaseAtUnload() = default;

    ~ReleaseAtUnload() { AbstractStateWrapper::init({}); }
    Q_DISABLE_COPY_MOVE(ReleaseAtUnload)
};

const ReleaseAtUnload releaseAtUnload; // clazy:exclude=non-pod-global-static

} // namespace

AbstractStateWrapper::AbstractStateWrapper() = default;

AbstractStateWrapper::~AbstractStateWrapper() = default;

void AbstractStateWrapper::init(const QSharedPointer<AbstractStateWrapper>& wrapper)
{
    _wrapper = wrapper;
}

void AbstractStateWrapper::setValue(QString name, QVariant value)
{
    const VisibleLocker lock(_stateMutex);
    const int index = metaObject()->indexOfProperty(name.toLatin1().constData());
    // QObject's own property, its name, is no state.
    if (index < QObject::staticMetaObject.propertyCount()) {
        qWarning().noquote() << tr("There is no property %1").arg(name);
        return;
    }
    metaObject()->property(index).write(this, value);
}

QVariant AbstractStateWrapper::value(QString name)
{
    const VisibleLocker lock(_stateMutex);
    return property(name.toLatin1().constData());
}

QVariantMap AbstractStateWrapper::toMap() const
{
    const VisibleLocker lock(_stateMutex);
    QVariantMap map;
    for (int index = metaObject()->propertyOffset(); index < metaObject()->propertyCount(); ++index) {
        const QMetaProperty property = metaObject()->property(index);
        map.insert(QLatin1String(property.name()), property.read(this));
    }
    return map;
}

QByteArray AbstractStateWrapper::toByteArray() const
{
    return QJsonDocument::fromVariant(toMap()).toJson(QJsonDocument::Compact);
}

QString AbstractStateWrapper::toString() const
{
    return QString::fromUtf8(toByteArray());
}

void AbstractStateWrapper::commit()
{
    // Emitted under the lock on purpose: a slot that is called directly sees the committed values, because no other
    // thread can write the next ones yet.
    const VisibleLocker lock(_stateMutex);
    Q_EMIT stateChanged();
}
