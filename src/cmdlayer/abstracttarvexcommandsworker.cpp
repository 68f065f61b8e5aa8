#include "cmdlayer/abstracttarvexcommandsworker.h"

#include "logtools.h"
#include "records/repeatkey_p.h"
#include "shownlength_p.h"
#include "wire/busterms_p.h"

#include <QDebug>
#include <QJsonDocument>
#include <QLatin1String>
#include <QVariant>

#include <algorithm>

namespace {

constexpr int REPEAT_CACHE_SIZE = 100;

/// Names come from the wire, and Qt takes what it gets for the beginning of a signature: it would cut the name at a
/// zero byte, leave out blanks, and read parameters of its own behind a bracket.
bool isIdentifier(const QByteArray& name)
{
    return std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    });
}

/// They come from the wire, and may be of any length.
void logCommand(const QString& name, const QString& agent, const QString& uid)
{
    using wexcor::MAX_SHOWN_LENGTH;
    qWarning().noquote() << name.left(MAX_SHOWN_LENGTH) << agent.left(MAX_SHOWN_LENGTH) << uid.left(MAX_SHOWN_LENGTH);
}

} // namespace

/// One executor's dealing with one command, from the question to the end of the execution. It lives on the stack: it
/// outlives the worker if the executor destroys that.
class AbstractTarvexCommandsWorker::Offer
{
public:
    Offer(AbstractTarvexCommandsWorker* worker, const QPointer<AbstractTarvexCommandExecutor>& executor)
        : m_worker(worker), m_outer(worker->m_offer), m_executor(executor)
    {
        worker->m_offer = this;
    }

    ~Offer()
    {
        if (m_worker) {
            m_worker->m_offer = m_outer;
        }
        if (m_isRemoved) {
            delete m_executor;
        }
    }

    Q_DISABLE_COPY_MOVE(Offer)

    bool isTaken(const TarvexCommand& cmd)
    {
        // An executor that is gone after its answer cannot execute, and without the worker nothing is to be done.
        if (!m_executor->canExecute(cmd) || !m_executor || !m_worker) {
            return false;
        }
        m_executor->execute(cmd);
        return true;
    }

    /// The outermost of the calls of \a executor that are under way, from \a offer outwards.
    static Offer* outermost(Offer* offer, const QPointer<AbstractTarvexCommandExecutor>& executor)
    {
        Offer* found = nullptr;
        for (; offer != nullptr; offer = offer->m_outer) {
            if (offer->m_executor == executor) {
                found = offer;
            }
        }
        return found;
    }

    bool isRemoved() const { return m_isRemoved; }

    void setRemoved() { m_isRemoved = true; }

private:
    const QPointer<AbstractTarvexCommandsWorker> m_worker;
    Offer* const m_outer;
    const QPointer<AbstractTarvexCommandExecutor> m_executor;
    bool m_isRemoved = false; ///< Destroyed at the end of this call.
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
    if (isRepeat(cmd)) {
        return;
    }
    // The key is all that is asked for; a hundred commands may be hundreds of MiB.
    m_repeatCache.insert(tarvex::repeatkey::remembered(cmd.cmdKey()), new TarvexCommand);
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
    // Guarded at once: the former executor may take the new one with it, or even be the same.
    const QPointer<AbstractTarvexCommandExecutor> added(executor);
    const QString name = executor->name();
    // More than once only when the destructor of one enters another in its place.
    while (m_executors.contains(name)) {
        destroyExecutor(m_executors.take(name));
    }
    m_executors.insert(name, added);
}

void AbstractTarvexCommandsWorker::removeExecutor(const QString& name)
{
    // Taken out first, since the executor's destructor may come back here.
    destroyExecutor(m_executors.take(name));
}

void AbstractTarvexCommandsWorker::exec(TarvexCommand cmd)
{
    const QPointer<AbstractTarvexCommandsWorker> self(this);
    // Any call below may change the registry: what is walked through is a copy, which costs nothing until then.
    const auto executors = m_executors;
    for (const auto& executor : executors) {
        if (offer(executor, cmd) || !self) {
            return;
        }
    }
    doExec(cmd);
}

bool AbstractTarvexCommandsWorker::offer(const QPointer<AbstractTarvexCommandExecutor>& executor,
                                         const TarvexCommand& cmd)
{
    if (!executor) {
        return false;
    }
    // Removed in the middle of an outer command, it is still there, but no longer to be asked.
    const Offer* const underWay = Offer::outermost(m_offer, executor);
    if (underWay != nullptr && underWay->isRemoved()) {
        return false;
    }
    return Offer(this, executor).isTaken(cmd);
}

void AbstractTarvexCommandsWorker::destroyExecutor(const QPointer<AbstractTarvexCommandExecutor>& executor)
{
    if (Offer* const underWay = Offer::outermost(m_offer, executor)) {
        underWay->setRemoved();
    } else {
        delete executor;
    }
}

bool AbstractTarvexCommandsWorker::isRepeat(const TarvexCommand& cmd) const
{
    // contains() and not object(), which would make the entry the youngest.
    if (!m_repeatCache.contains(tarvex::repeatkey::remembered(cmd.cmdKey()))) {
        return false;
    }
    const QString data = QString::fromUtf8(QJsonDocument::fromVariant(cmd.data()).toJson(QJsonDocument::Indented));
    qWarning().noquote() << tr("Cmd repeating: ") << logtab
                         << loglist(QStringList{cmd.agent() + QLatin1Char('\t') + cmd.name() + QLatin1Char('\t')
                                                + cmd.uid()})
                         << logtab << loglist(QStringList{data});
    return true;
}

QVariant AbstractTarvexCommandsWorker::invokeHandler(const QString& name, const QString& agent, const QString& uid,
                                                     const QVariantMap& data)
{
    const QByteArray method = name.toLatin1();
    if (!isIdentifier(method)) {
        return {};
    }
    const QGenericArgument dataArgument = data.isEmpty() ? QGenericArgument() : Q_ARG(QVariantMap, data);
    QVariant result;
    // Its result says nothing that an invalid variant does not say too: without a method the variant stays invalid.
    QMetaObject::invokeMethod(this, method.constData(), Qt::DirectConnection, Q_RETURN_ARG(QVariant, result),
                              Q_ARG(QString, agent), Q_ARG(QString, uid), dataArgument);
    return result;
}
