#include "programs.h"

#include <QElapsedTimer>
#include <QFile>

#include <memory>

namespace {

constexpr quint16 QUERY_PORT = 45535;
/// A request waits 30 s for its reply. Whoever stops a service kills it if it does not end much sooner.
constexpr int END_TIMEOUT_MS = 10000;

/// Whether a connection to \a port of this machine holds bytes that its server has not read.
bool hasUnread(quint16 port)
{
    QFile connections(u"/proc/net/tcp"_s);
    if (!connections.open(QIODevice::ReadOnly)) {
        return false;
    }
    const QByteArray server = ':' + QByteArray::number(port, 16).toUpper();
    const QList<QByteArray> lines = connections.readAll().split('\n');
    for (const QByteArray& line : lines) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        const QByteArray unread = fields.value(4).split(':').value(1);
        if (fields.value(1).endsWith(server) && fields.value(3) == "01" && unread.toInt(nullptr, 16) > 0) {
            return true;
        }
    }
    return false;
}

} // namespace

/// A bus that hangs: it does nothing any more, but its connections stay.
class TstHungbus : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void echo_inARequest_endsOnSignal();
    void echo_inTheHandshake_endsOnSignal();

private:
    void endEcho();

    std::unique_ptr<BusProgram> m_bus;
    std::unique_ptr<ChildProcess> m_echo;
};

void TstHungbus::init()
{
    m_bus = std::make_unique<BusProgram>(QStringList{u"--memory"_s, u"--trace"_s});
    m_echo = std::make_unique<ChildProcess>(QStringLiteral(ECHO_SERVICE));
}

void TstHungbus::echo_inARequest_endsOnSignal()
{
    m_echo->start();
    QTRY_VERIFY_WITH_TIMEOUT(!m_bus->errorLines().filter(u"query/echo REPLY loadSettings"_s).isEmpty(), 30000);
    m_bus->hang();
    // The next request is that of a log line or the next report of the state.
    QTRY_VERIFY_WITH_TIMEOUT(hasUnread(QUERY_PORT), 30000);
    endEcho();
}

void TstHungbus::echo_inTheHandshake_endsOnSignal()
{
    m_bus->hang();
    m_echo->start();
    QTRY_VERIFY_WITH_TIMEOUT(hasUnread(QUERY_PORT), 30000);
    endEcho();
}

void TstHungbus::endEcho()
{
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(m_echo->terminate(), 0);
    QVERIFY2(clock.elapsed() < END_TIMEOUT_MS, qPrintable(QString::number(clock.elapsed())));
    m_bus->resume();
    QCOMPARE(m_bus->terminate(), 0);
}

QTEST_GUILESS_MAIN(TstHungbus)
#include "tst_hungbus.moc"
