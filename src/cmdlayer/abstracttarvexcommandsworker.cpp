#include "cmdlayer/abstracttarvexcommandsworker.h"

#include "logtools.h"
#include "records/repeatkey_p.h"
#include "shownlength_p.h"
#include "wire/busterms_p.h"

#include <QDebug>
#include <QJsonDocument>
#include <QLatin1String>
#include <QMetaMethod>
#include <QVariant>

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr int REPEAT_CACHE_SIZE = 100;

/// Names come from the wire, and Qt reads them as the beginning of a signature. Without this check Qt would cut a name
/// at a zero byte, leave out blanks, and read what follows a bracket as parameters.
bool isIdentifier(const QByteArray& name)
{
    return std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    });
}

/// The texts come from the wire, and may be of any length.
void logCommand(const QString& name, const QString& agent, const QString& uid)
{
    using wexcor::MAX_SHOWN_LENGTH;
    qWarning().noquote() << name.left(MAX_SHOWN_LENGTH) << agent.left(MAX_SHOWN_LENGTH) << uid.left(MAX_SHOWN_LENGTH);
}

/// The handler of a command; invalid if there is none. It is the method that QMetaObject::indexOfMethod() finds. That
/// operation also looks for the types that the signature names, in Qt's list of all types, which takes most of its
/// time.
QMetaMethod handlerOf(const QMetaObject& meta, const QByteArray& name, bool hasData)
{
    const std::array<int, 3> wanted = {QMetaType::QString, QMetaType::QString, QMetaType::QVariantMap};
    const int parameters = hasData ? 3 : 2;
    // The methods of a derived class come last, and hide those of its base.
    for (int index = meta.methodCount() - 1; index >= 0; --index) {
        const QMetaMethod method = meta.method(index);
        if (method.parameterCount() == parameters && method.name() == name) {
            std::array<int, 3> types{};
            method.getParameterTypes(types.data());
            if (std::equal(types.begin(), types.begin() + parameters, wanted.begin())) {
                return method;
            }
        }
    }
    return {};
}

} // namespace

/// One command that is offered to the executors, one after the other. It lives on the stack, because it must outlive a
/// worker that an executor destroys.
class AbstractTarvexCommandsWorker::Offer
{
public:
    explicit Offer(AbstractTarvexCommandsWorker* worker) : m_worker(worker), m_outer(worker->m_offer)
    {
        worker->m_offer = this;
    }

    ~Offer()
    {
        if (m_worker) {
            m_worker->m_offer = m_outer;
        }
        endCall();
    }

    Q_DISABLE_COPY_MOVE(Offer)

    bool hasWorker() const { return !m_worker.isNull(); }

    /// Offers \a cmd to \a executor, which must stay at its place until this returns. \return whether it was taken.
    bool isTaken(const QPointer<AbstractTarvexCommandExecutor>& executor, const TarvexCommand& cmd)
    {
        // An executor that was removed during an outer command still exists, but must not be asked any more.
        const Offer* const underWay = outermost(m_outer, executor);
        if (!executor || (underWay != nullptr && underWay->m_isRemoved)) {
            return false;
        }
        m_executor = &executor;
        // canExecute() may have destroyed the executor or the worker. A destroyed executor cannot execute, so the next
        // one is asked. Without the worker exec() drops the command.
        const bool isTaken = executor->canExecute(cmd) && executor && m_worker;
        if (isTaken) {
            executor->execute(cmd);
        }
        endCall();
        return isTaken;
    }

    /// The outermost call of \a executor that has not returned yet, from \a offer outwards.
    static Offer* outermost(Offer* offer, const QPointer<AbstractTarvexCommandExecutor>& executor)
    {
        Offer* found = nullptr;
        for (; offer != nullptr; offer = offer->m_outer) {
            if (offer->m_executor != nullptr && *offer->m_executor == executor) {
                found = offer;
            }
        }
        return found;
    }

    void setRemoved() { m_isRemoved = true; }

private:
    void endCall()
    {
        const auto* const executor = std::exchange(m_executor, nullptr);
        if (std::exchange(m_isRemoved, false)) {
            delete *executor;
        }
    }

    const QPointer<AbstractTarvexCommandsWorker> m_worker;
    Offer* const m_outer;
    const QPointer<AbstractTarvexCommandExecutor>* m_executor = nullptr; ///< The one that is being called.
    bool m_isRemoved = false; ///< \a m_executor is to be destroyed at the end of its call.
};

AbstractTarvexCommandsWorker::AbstractTarvexCommandsWorker() : m_repeatCache(REPEAT_CACHE_SIZE) { }

AbstractTarvexCommandsWorker::~AbstractTarvexCommandsWorker() = default;

void AbstractTarvexCommandsWorker::prepareError(const QString& agent, const QString& uid, const QString& name,
                                                const QString& errorText, const QVariantMap& data)
{
    TarvexCommand error;
    error.setAgent(agent);
    error.setUid(uid);
    error.setName(tarvex::busterms::COMMAND_ERROR);
    error.setData({{tarvex::busterms::KEY_ERROR_COMMAND, name},
                   {tarvex::busterms::KEY_ERROR_DATA, data},
                   {tarvex::busterms::KEY_ERROR_TEXT, errorText}});
    Q_EMIT sendCommand(error);
}

void AbstractTarvexCommandsWorker::doExec(TarvexCommand cmd)
{
    const QString name = cmd.name();
    const QString agent = cmd.agent();
    const QString uid = cmd.uid();
    const QVariantMap data = cmd.data();
    logCommand(name, agent, uid);
    const QString key = tarvex::repeatkey::remembered(cmd.cmdKey());
    // contains() is used, because object() would make the entry the youngest.
    if (m_repeatCache.contains(key)) {
        logRepeat(cmd);
        return;
    }
    // The value is an empty command, because only the key is needed, and a hundred commands may have hundreds of MiB.
    m_repeatCache.insert(key, new TarvexCommand);
    logCommand(name, agent, uid);
    const QPointer<AbstractTarvexCommandsWorker> self(this);
    if (invokeHandler(name, agent, uid, data).isValid() || !self) {
        return;
    }
    const QString errorText = tr("No such method (%1)").arg(name);
    prepareError(agent, uid, name, errorText, data);
    qWarning().noquote() << errorText;
}

void AbstractTarvexCommandsWorker::addExecutor(AbstractTarvexCommandExecutor* executor)
{
    if (executor == nullptr) {
        return;
    }
    // Guarded at once, because the former executor may be the parent of the new one, or the same object.
    const QPointer<AbstractTarvexCommandExecutor> added(executor);
    const QString name = executor->name();
    // A loop, because the destructor of an executor may add another one under the same name.
    while (m_executors.contains(name)) {
        destroyExecutor(m_executors.take(name));
    }
    m_executors.insert(name, added);
}

void AbstractTarvexCommandsWorker::removeExecutor(const QString& name)
{
    // Taken out of the map first, because the executor's destructor may call this function again.
    destroyExecutor(m_executors.take(name));
}

void AbstractTarvexCommandsWorker::exec(TarvexCommand cmd)
{
    if (!offer(cmd)) {
        doExec(std::move(cmd));
    }
}

/// \return whether an executor took \a cmd, or destroyed the worker.
bool AbstractTarvexCommandsWorker::offer(const TarvexCommand& cmd)
{
    if (m_executors.isEmpty()) {
        return false;
    }
    // A copy, because any call below may change the registry. It shares its data until then, so it costs nothing.
    const auto executors = m_executors;
    Offer current(this);
    for (const auto& executor : executors) {
        if (current.isTaken(executor, cmd) || !current.hasWorker()) {
            return true;
        }
    }
    return false;
}

void AbstractTarvexCommandsWorker::destroyExecutor(const QPointer<AbstractTarvexCommandExecutor>& executor)
{
    if (Offer* const underWay = Offer::outermost(m_offer, executor)) {
        underWay->setRemoved();
    } else {
        delete executor;
    }
}

void AbstractTarvexCommandsWorker::logRepeat(const TarvexCommand& cmd)
{
    const QString data = QString::fromUtf8(QJsonDocument::fromVariant(cmd.data()).toJson(QJsonDocument::Indented));
    qWarning().noquote() << tr("Cmd repeating: ") << logtab
                         << loglist(QStringList{cmd.agent() + QLatin1Char('\t') + cmd.name() + QLatin1Char('\t')
                                                + cmd.uid()})
                         << logtab << loglist(QStringList{data});
}

QVariant AbstractTarvexCommandsWorker::invokeHandler(const QString& name, const QString& agent, const QString& uid,
                                                     const QVariantMap& data)
{
    const QByteArray method = name.toLatin1();
    if (!isIdentifier(method)) {
        return {};
    }
    const QGenericArgument agentArgument = Q_ARG(QString, agent);
    const QGenericArgument uidArgument = Q_ARG(QString, uid);
    const QGenericArgument dataArgument = data.isEmpty() ? QGenericArgument() : Q_ARG(QVariantMap, data);
    QVariant result;
    // The return value of the call is not needed: without a method the variant stays invalid.
    const QMetaMethod handler = handlerOf(*metaObject(), method, !data.isEmpty());
    if (handler.isValid()) {
        handler.invoke(this, Qt::DirectConnection, Q_RETURN_ARG(QVariant, result), agentArgument, uidArgument,
                       dataArgument);
    } else {
        // It logs which methods there are.
        QMetaObject::invokeMethod(this, method.constData(), Qt::DirectConnection, Q_RETURN_ARG(QVariant, result),
                                  agentArgument, uidArgument, dataArgument);
    }
    return result;
}
