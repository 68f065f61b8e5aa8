#include "chaosring.h"

#include "literals.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QRegularExpression>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTcpSocket>
#include <QTimer>
#include <QVariant>

#include <algorithm>
#include <numeric>

namespace {

constexpr quint16 QUERY_PORT = 45535;
constexpr int PATIENCE_MS = 30000;
/// The bursts are short, so that a service that is ended in the middle of one has something on its way. The pauses are
/// long enough that the service can work this off in the time that it has for its end, on a busy machine as well.
constexpr int BURST = 8;
constexpr int PAUSE_MS = 1000;
constexpr int HANDLING_MS = 10;

QString storagePath(const QTemporaryDir& folder)
{
    return folder.filePath(u"bus.sqlite"_s);
}

QString flowName(const char* kind, const QString& from, const QString& to)
{
    return u"%1 %2 %3"_s.arg(QLatin1String(kind), from, to);
}

QString endOf(const QString& service)
{
    return service + QLatin1String(" ended");
}

/// How much a service has dropped at its end, as it warned. If the warning does not say how much, it may be all.
int droppedIn(const QStringList& errorLines)
{
    static const QRegularExpression counted(
        u"(?:Dropped|Stopped a worker ahead of) ([0-9]+) queued messages and calls"_s);
    constexpr int ALL = 1000000;
    int sum = 0;
    for (const QString& line : errorLines) {
        sum += counted.match(line).captured(1).toInt();
        sum += line.contains(QLatin1String("did not stop in time: what is queued for it may be lost")) ? ALL : 0;
    }
    return sum;
}

QString listed(const QStringList& items)
{
    constexpr int MAX_LISTED = 20;
    return items.size() <= MAX_LISTED ? items.join(QLatin1String(", "))
                                      : u"%1 and %2 more"_s.arg(items.mid(0, MAX_LISTED).join(QLatin1String(", ")),
                                                                QString::number(items.size() - MAX_LISTED));
}

} // namespace

ChaosRing::ChaosRing(int serviceCount)
{
    for (int i = 0; i < serviceCount; ++i) {
        Service service;
        service.name = u"s%1"_s.arg(i);
        service.receiver = u"s%1"_s.arg((i + 1) % serviceCount);
        service.hasCommandsWorker = i % 2 == 0;
        m_services.push_back(std::move(service));
    }
}

ChaosRing::~ChaosRing() = default;

bool ChaosRing::start()
{
    if (!startBus()) {
        return false;
    }
    for (Service& service : m_services) {
        startProcess(service, true);
    }
    return waitFor(
        [this] {
            return std::all_of(m_services.cbegin(), m_services.cend(),
                               [](const Service& service) { return service.lastGot > 0; });
        },
        u"a first number for each service"_s, PATIENCE_MS);
}

bool ChaosRing::killBus(int pauseMs)
{
    beginStep(u"bus killed"_s);
    if (!m_bus->killHard()) {
        return fail(u"the bus had ended by itself: "_s
                    + m_bus->errorLines().mid(qMax(0, m_bus->errorLines().size() - 3)).join(QLatin1Char('\n')));
    }
    // From here on nothing reaches the dead bus, so the services have already said all that they have sent to it.
    readLines();
    for (int i = 0; i < size(); ++i) {
        m_services[static_cast<size_t>(i)].lastSentToItAtKill = senderTo(i).lastSent;
    }
    goOn(pauseMs);
    return startBus();
}

QList<int> ChaosRing::endable() const
{
    QList<int> indexes;
    for (int i = 0; i < size(); ++i) {
        const Service& service = m_services[static_cast<size_t>(i)];
        if (service.isStarted && service.lastGot > service.lastSentToItAtKill) {
            indexes.append(i);
        }
    }
    return indexes;
}

bool ChaosRing::waitForEndable()
{
    return waitFor([this] { return !endable().isEmpty(); }, u"a service to get a new number"_s, PATIENCE_MS);
}

bool ChaosRing::waitForMore(int index, int timeoutMs)
{
    const Service& service = m_services[static_cast<size_t>(index)];
    const int before = service.lastGot;
    return waitFor([&service, before] { return service.lastGot > before; }, u"one more number for "_s + service.name,
                   timeoutMs);
}

bool ChaosRing::endService(int index)
{
    Service& service = m_services[static_cast<size_t>(index)];
    beginStep(endOf(service.name));
    return endAndRestart(service, true);
}

void ChaosRing::goOn(int milliseconds)
{
    waitFor([] { return false; }, u"nothing"_s, milliseconds);
}

bool ChaosRing::finish()
{
    for (int i = 0; i < size(); ++i) {
        if (!waitFor([this, i] { return endable().contains(i); },
                     m_services[static_cast<size_t>(i)].name + QLatin1String(" to get a new number"), PATIENCE_MS)) {
            return false;
        }
    }
    for (Service& service : m_services) {
        beginStep(endOf(service.name));
        if (!endAndRestart(service, false)) {
            return false;
        }
    }
    if (!waitFor([this] { return waitingAtBus() == 0; }, u"the bus to deliver all it has"_s, PATIENCE_MS)) {
        return false;
    }
    // A service may still work on what it has acknowledged. What has not come after this wait is lost.
    waitFor([this] { return hasEverything(); }, QString(), PATIENCE_MS / 3);
    for (Service& service : m_services) {
        if (!endProcess(service)) {
            return false;
        }
    }
    return m_bus->terminate() == 0 || fail(u"the bus did not end with 0"_s);
}

QStringList ChaosRing::violations() const
{
    QMap<QString, int> warnedOf;
    for (const Service& service : m_services) {
        warnedOf.insert(service.name, std::accumulate(service.dropped.cbegin(), service.dropped.cend(), 0));
    }
    QStringList found;
    const auto judge = [&found, &warnedOf](const QString& text, const QStringList& lost, const QString& service) {
        int& left = warnedOf[service];
        if (lost.size() <= left) {
            left -= lost.size();
        } else {
            found.append(u"%1: %2"_s.arg(text, listed(lost)));
        }
    };
    for (auto flow = m_flows.cbegin(); flow != m_flows.cend(); ++flow) {
        const QStringList words = flow.key().split(QLatin1Char(' '));
        const QString title = u"%1 of %2 to %3"_s.arg(words.at(0), words.at(1), words.at(2));
        judge(title + QLatin1String(" lost"), lostIn(flow.value(), words.at(2)), words.at(2));
        found += disorder(title, flow.value());
    }
    for (const Service& service : m_services) {
        judge(service.name + QLatin1String(" handled and has sent no answer"), unansweredBy(service), service.name);
    }
    return found;
}

int ChaosRing::endsWithWarning() const
{
    return std::accumulate(m_services.cbegin(), m_services.cend(), 0, [](int sum, const Service& service) {
        return sum + int(service.dropped.size()) - int(service.dropped.count(0));
    });
}

QString ChaosRing::figures() const
{
    int accepted = 0;
    int refused = 0;
    int delivered = 0;
    for (const Flow& flow : m_flows) {
        accepted += flow.accepted.size();
        refused += flow.refused.size();
        delivered += flow.delivered.size();
    }
    return u"%1 accepted, %2 not, %3 delivered"_s.arg(QString::number(accepted), QString::number(refused),
                                                      QString::number(delivered));
}

bool ChaosRing::startBus()
{
    m_bus = std::make_unique<ChildProcess>(QStringLiteral(DEVBUS), QStringList{u"--storage"_s, storagePath(m_folder)});
    return (m_bus->start() && m_bus->waitForLine(QString())) || fail(u"the bus does not start"_s);
}

/// Waits until the bus has read all that has reached it by now. It does so before it answers a new connection. If the
/// bus were killed before that, the last acknowledgements of a service that has ended would be lost with it.
bool ChaosRing::waitForBus()
{
    QTcpSocket socket;
    socket.connectToHost(u"127.0.0.1"_s, QUERY_PORT);
    const bool isAnswered = socket.waitForConnected(PATIENCE_MS) && socket.write("no header of a frame\r\n") > 0
        && socket.waitForReadyRead(PATIENCE_MS);
    return isAnswered || fail(u"the bus does not answer: "_s + socket.errorString());
}

void ChaosRing::startProcess(Service& service, bool isSending)
{
    QStringList arguments{service.name, u"--look"_s, u"--handling"_s, QString::number(HANDLING_MS)};
    if (service.hasCommandsWorker) {
        arguments += u"--commands"_s;
    }
    if (isSending) {
        arguments +=
            QStringList{u"--to"_s,    service.receiver,       u"--first"_s, QString::number(service.lastSent + 1),
                        u"--burst"_s, QString::number(BURST), u"--pause"_s, QString::number(PAUSE_MS)};
    }
    service.isStarted = false;
    // The new process has got nothing yet that could come again.
    service.lastSentToItAtKill = -1;
    service.process = std::make_unique<ChildProcess>(QStringLiteral(CHAOS_SERVICE), arguments);
    service.process->start();
}

bool ChaosRing::endProcess(Service& service)
{
    const int status = service.process->terminate();
    readLines(service);
    service.dropped.append(droppedIn(service.process->errorLines()));
    if (status != 0) {
        return fail(u"%1 ended with %2"_s.arg(service.name, QString::number(status)));
    }
    return waitForBus();
}

bool ChaosRing::endAndRestart(Service& service, bool isSending)
{
    if (!endProcess(service)) {
        return false;
    }
    startProcess(service, isSending);
    return true;
}

ChaosRing::Service& ChaosRing::senderTo(int index)
{
    return m_services[static_cast<size_t>((index + size() - 1) % size())];
}

void ChaosRing::beginStep(const QString& what)
{
    readLines(); // these lines belong to the steps before
    m_steps.append(what);
}

void ChaosRing::readLines()
{
    for (Service& service : m_services) {
        readLines(service);
    }
}

void ChaosRing::readLines(Service& service)
{
    const QStringList lines = service.process->takeNewLines();
    for (const QString& line : lines) {
        note(service, line.split(QLatin1Char(' ')));
    }
}

void ChaosRing::note(Service& service, const QStringList& words)
{
    const QString& what = words.constFirst();
    const int number = words.constLast().toInt();
    const QString other = words.value(1); // if the line names another service
    Flow& numbers = m_flows[flowName("numbers", service.name, service.receiver)];
    if (what == QLatin1String("started")) {
        service.isStarted = true;
    } else if (what == QLatin1String("sending")) {
        service.lastSent = number;
    } else if (what == QLatin1String("accepted")) {
        numbers.accepted.append({number, m_steps.size()});
    } else if (what == QLatin1String("failed")) {
        numbers.refused.append(number);
    } else if (what == QLatin1String("got")) {
        service.lastGot = number;
        service.handled.append(other + QLatin1Char(' ') + words.constLast());
        m_flows[flowName("numbers", other, service.name)].delivered.append(number);
    } else if (what == QLatin1String("answering")) {
        service.answered.append(other + QLatin1Char(' ') + words.constLast());
    } else if (what == QLatin1String("answered")) {
        m_flows[flowName("answers", service.name, other)].accepted.append({number, m_steps.size()});
    } else if (what == QLatin1String("unanswered")) {
        m_flows[flowName("answers", service.name, other)].refused.append(number);
    } else if (what == QLatin1String("heard")) {
        m_flows[flowName("answers", other, service.name)].delivered.append(number);
    }
}

/// Looks at the condition again whenever a process has printed something.
bool ChaosRing::waitFor(const std::function<bool()>& condition, const QString& what, int timeoutMs)
{
    QTimer alarm; // wakes the loop up when the time is over
    alarm.setSingleShot(true);
    alarm.setTimerType(Qt::PreciseTimer);
    alarm.start(qMax(0, timeoutMs));
    readLines();
    while (!condition()) {
        if (!alarm.isActive()) {
            return fail(u"waited in vain for %1, %2 ms"_s.arg(what, QString::number(timeoutMs)));
        }
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        readLines();
    }
    return true;
}

bool ChaosRing::hasEverything() const
{
    return std::all_of(m_flows.cbegin(), m_flows.cend(), [](const Flow& flow) {
        return flow.accepted.isEmpty() || flow.delivered.contains(flow.accepted.constLast().number);
    });
}

/// The log lines are not counted. They wait at the bus for ever, because there is no log service.
int ChaosRing::waitingAtBus() const
{
    int count = -1;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"look"_s);
        database.setDatabaseName(storagePath(m_folder));
        database.setConnectOptions(u"QSQLITE_OPEN_READONLY"_s);
        QSqlQuery answer(database);
        if (database.open() && answer.exec(u"SELECT count(*) FROM messages WHERE client LIKE 's_'"_s)
            && answer.next()) {
            count = answer.value(0).toInt();
        }
    }
    QSqlDatabase::removeDatabase(u"look"_s);
    return count;
}

QStringList ChaosRing::lostIn(const Flow& flow, const QString& receiver) const
{
    QStringList lost;
    for (const Flow::Sending& sending : flow.accepted) {
        if (!flow.delivered.contains(sending.number)) {
            lost.append(u"%1 (%2)"_s.arg(QString::number(sending.number), endAfter(sending, receiver)));
        }
    }
    return lost;
}

QStringList ChaosRing::disorder(const QString& title, const Flow& flow)
{
    QStringList twice;
    QStringList early;
    QSet<int> seen;
    int highest = 0;
    for (const int number : flow.delivered) {
        if (seen.contains(number)) {
            twice.append(QString::number(number));
        } else if (number < highest) {
            early.append(u"%1 after %2"_s.arg(QString::number(number), QString::number(highest)));
        }
        seen.insert(number);
        highest = qMax(highest, number);
    }
    QStringList found;
    if (!twice.isEmpty()) {
        found.append(u"%1 delivered twice: %2"_s.arg(title, listed(twice)));
    }
    if (!early.isEmpty()) {
        found.append(u"%1 out of order: %2"_s.arg(title, listed(early)));
    }
    return found;
}

QStringList ChaosRing::unansweredBy(const Service& service)
{
    QStringList unanswered;
    for (const QString& number : service.handled) {
        if (service.hasCommandsWorker && !service.answered.contains(number)) {
            unanswered.append(number);
        }
    }
    return unanswered;
}

/// The end that most likely lost the number. The step may be too high by one, because a line may be read only after the
/// step in which the service has printed it.
QString ChaosRing::endAfter(const Flow::Sending& sending, const QString& receiver) const
{
    const int step = m_steps.indexOf(endOf(receiver), qMax(0, sending.step - 1));
    const QString accepted = u"accepted at step %1"_s.arg(sending.step);
    return step < 0 ? accepted : u"%1, %2 in step %3"_s.arg(accepted, m_steps.at(step), QString::number(step + 1));
}

bool ChaosRing::fail(const QString& text)
{
    m_errorString = text;
    return false;
}
