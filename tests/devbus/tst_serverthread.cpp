#include "busclient.h"
#include "literals.h"
#include "serverthread.h"

#include <QTest>
#include <QThread>

#include <memory>
#include <thread>
#include <vector>

using tarvex::devbus::BusServer;
using tarvex::devbus::ServerThread;

class TstServerThread : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void server_isMade_notStarted();
    void call_isDoneInTheServersThread_whenItReturns();
    void call_fromSeveralThreads_isDoneOneAfterTheOther();
    void end_stopsTheServer();
};

void TstServerThread::server_isMade_notStarted()
{
    ServerThread thread{BusServer::Options()};
    bool isRunning = true;
    thread.call([&isRunning](BusServer& server) { isRunning = server.isRunning(); });
    QVERIFY(!isRunning);
    QVERIFY(!BusClient(BusClient::QUERY_PORT).isConnected());
}

void TstServerThread::call_isDoneInTheServersThread_whenItReturns()
{
    ServerThread thread{BusServer::Options()};
    bool isServersThread = false;
    thread.call(
        [&isServersThread](BusServer& server) { isServersThread = server.thread() == QThread::currentThread(); });
    QVERIFY(isServersThread);
}

void TstServerThread::call_fromSeveralThreads_isDoneOneAfterTheOther()
{
    ServerThread thread{BusServer::Options()};
    int count = 0; // used in the server's thread alone
    std::vector<std::thread> callers;
    for (int number = 0; number < 4; ++number) {
        callers.emplace_back([&] {
            for (int round = 0; round < 100; ++round) {
                thread.call([&count](BusServer&) { ++count; });
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    QCOMPARE(count, 400);
}

void TstServerThread::end_stopsTheServer()
{
    auto thread = std::make_unique<ServerThread>(BusServer::Options());
    thread->call([](BusServer& server) { server.start(); });
    BusClient client(BusClient::QUERY_PORT, u"printer"_s); // the server answers while this thread blocks
    QVERIFY(client.isConnected());
    thread.reset();
    QVERIFY(client.waitForClose());
    QVERIFY(!BusClient(BusClient::QUERY_PORT).isConnected());
}

QTEST_GUILESS_MAIN(TstServerThread)
#include "tst_serverthread.moc"
