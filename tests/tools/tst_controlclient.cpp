#include "busprocess.h"
#include "fakebus.h"
#include "literals.h"
#include "programrun.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {

/// A control socket at the place where the program looks for it. It answers one request with these bytes. Then it
/// closes the connection, or it sends nothing more, or it repeats them for as long as anybody reads.
class ScriptedSocket
{
public:
    enum End {
        Close,
        Hold,
        Repeat
    };

    ScriptedSocket(const QByteArray& answer, End end) : m_answer(answer), m_end(end)
    {
        struct stat network
        {
        };

        ::stat("/proc/self/ns/net", &network);
        qputenv("XDG_RUNTIME_DIR", m_folder.path().toUtf8());
        const QByteArray path = m_folder.filePath(u"tarvex-devbus-%1.sock"_s.arg(network.st_ino)).toUtf8();
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, path.constData(), sizeof address.sun_path);
        m_listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the system's own way to pass an address
        m_isListening = ::bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0
            && ::listen(m_listener, 1) == 0;
        m_thread = std::thread([this] { serve(); });
    }

    ~ScriptedSocket()
    {
        ::shutdown(m_listener, SHUT_RDWR); // ends the wait for a client
        m_thread.join();
        ::close(m_client);
        ::close(m_listener);
    }

    Q_DISABLE_COPY_MOVE(ScriptedSocket)

    bool isListening() const { return m_isListening; }

private:
    void serve()
    {
        m_client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        char byte = 0;
        while (byte != '\n' && ::recv(m_client, &byte, 1, 0) == 1) { }
        bool isSent = false;
        do {
            isSent =
                ::send(m_client, m_answer.constData(), static_cast<std::size_t>(m_answer.size()), MSG_NOSIGNAL) > 0;
        } while (isSent && m_end == Repeat);
        if (m_end == Close) {
            ::shutdown(m_client, SHUT_RDWR);
        }
    }

    const QByteArray m_answer;
    const End m_end;
    QTemporaryDir m_folder;
    int m_listener = -1;
    int m_client = -1;
    bool m_isListening = false;
    std::thread m_thread;
};

QString send(const QString& receiver)
{
    return u"send %1 hello"_s.arg(receiver);
}

} // namespace

/// How the verbs ask the development bus about itself.
class TstControlClient : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void answer_wrong_endsTheVerb_data();
    void answer_wrong_endsTheVerb();
    void answer_withoutEnd_isNotWaitedFor();
    void folder_ofOthers_isNotTrusted();
    void send_toNameThatNeverWas_isToldEachTime();
    void send_toNameThatIsOrWas_isSilent_data();
    void send_toNameThatIsOrWas_isSilent();
    void send_busThatCannotTell_isSilent_data();
    void send_busThatCannotTell_isSilent();
    void send_refused_isNotTold();
};

void TstControlClient::answer_wrong_endsTheVerb_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("none") << QByteArray() << 3 << QByteArray("the bus closed the connection");
    QTest::newRow("cut") << QByteArray("{\"item\":{\"name\":\"a\"}}\n{\"done\"") << 3
                         << QByteArray("the bus closed the connection");
    QTest::newRow("no JSON") << QByteArray("hello\n") << 3 << QByteArray("what answered is no reply of the bus");
    QTest::newRow("error") << QByteArray("{\"error\":\"256 Invalid\\nstorage\"}\n") << 1
                           << QByteArray("refused by the bus: 256 Invalid\\nstorage");
}

void TstControlClient::answer_wrong_endsTheVerb()
{
    QFETCH(QByteArray, answer);
    QFETCH(int, status);
    QFETCH(QByteArray, words);
    const ScriptedSocket socket(answer, ScriptedSocket::Close);
    QVERIFY(socket.isListening());
    ProgramRun run(u"clients"_s);
    QCOMPARE(run.ending(), ended(status, {words}));
}

void TstControlClient::answer_withoutEnd_isNotWaitedFor()
{
    // It takes longer to read such an item than to send it, so there is always more.
    const QByteArray item = "{\"item\":{},\"more\":[" + QByteArray("0,").repeated(10000) + "0]}\n";
    const ScriptedSocket socket(item, ScriptedSocket::Repeat);
    QVERIFY(socket.isListening());
    ProgramRun run(u"complete fish -- send terminal"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QVERIFY2(run.out().contains("word\tterminal_gui\t"), run.out().constData());
}

void TstControlClient::folder_ofOthers_isNotTrusted()
{
    const FakeBus bus;
    const ScriptedSocket socket("{\"done\":true}\n", ScriptedSocket::Close);
    QVERIFY(QFile::setPermissions(qEnvironmentVariable("XDG_RUNTIME_DIR"), QFile::Permissions(0x7755)));
    ProgramRun run(u"clients"_s);
    QCOMPARE(run.status(), 1);
    QVERIFY2(run.err().contains("this bus cannot tell"), run.err().constData());
}

void TstControlClient::send_toNameThatNeverWas_isToldEachTime()
{
    const BusProcess bus;
    for (int round = 0; round < 2; ++round) {
        ProgramRun run(send(u"prnter"_s));
        QCOMPARE(run.status(), 0);
        const QByteArray words = told("nobody has ever been \"prnter\" on this bus, as far as it knows; it treats the "
                                      "message like one for any absent client");
        QVERIFY2(run.err().startsWith(words + "tarvexctl: sent to prnter"), run.err().constData());
    }
    QCOMPARE(bus.messages().size(), 2);
}

void TstControlClient::send_toNameThatIsOrWas_isSilent_data()
{
    QTest::addColumn<QString>("receiver");
    QTest::newRow("is there") << u"gui"_s;
    QTest::newRow("was there") << u"gone"_s;
    QTest::newRow("has stored something") << u"owner"_s;
    QTest::newRow("of the library") << u"updater"_s;
    QTest::newRow("oneself") << u"tarvexctl"_s;
}

void TstControlClient::send_toNameThatIsOrWas_isSilent()
{
    QFETCH(QString, receiver);
    const BusProcess bus;
    BusClient gui(BusClient::QUERY_PORT, u"gui"_s);
    QVERIFY(BusClient(BusClient::QUERY_PORT, u"gone"_s).isConnected());
    QCOMPARE(gui.ask(u"saveState"_s, {{u"owner"_s, u"owner"_s}}).code, 0);
    ProgramRun run(send(receiver));
    QCOMPARE(run.status(), 0);
    QVERIFY2(run.err().startsWith("tarvexctl: sent to "), run.err().constData());
}

void TstControlClient::send_busThatCannotTell_isSilent_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("hold");
    QTest::newRow("closes") << QByteArray() << false;
    QTest::newRow("no JSON") << QByteArray("hello\n") << false;
    QTest::newRow("does not know the request") << QByteArray("{\"error\":\"there is no such request\"}\n") << false;
    QTest::newRow("another answer") << QByteArray("{\"item\":{}}\n{\"done\":true}\n") << false;
    QTest::newRow("says nothing") << QByteArray() << true; // takes 5 s, because the program waits that long
}

void TstControlClient::send_busThatCannotTell_isSilent()
{
    QFETCH(QByteArray, answer);
    QFETCH(bool, hold);
    FakeBus bus;
    bus.willReply(u"sendMessage"_s);
    const ScriptedSocket socket(answer, hold ? ScriptedSocket::Hold : ScriptedSocket::Close);
    ProgramRun run(send(u"prnter"_s));
    QCOMPARE(run.status(), 0);
    QVERIFY2(run.err().startsWith("tarvexctl: sent to prnter"), run.err().constData());
}

void TstControlClient::send_refused_isNotTold()
{
    FakeBus bus;
    bus.willReply(u"sendMessage"_s, 512, u"Storage access error"_s);
    const ScriptedSocket socket("{\"item\":{\"isKnown\":false}}\n{\"done\":true}\n", ScriptedSocket::Close);
    ProgramRun run(send(u"prnter"_s));
    QCOMPARE(run.ending(), ended(1, {"refused by the bus: 512 Storage access error"}));
}

QTEST_GUILESS_MAIN(TstControlClient)
#include "tst_controlclient.moc"
