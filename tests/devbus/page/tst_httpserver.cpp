#include "desk.h"
#include "pagedesk.h"
#include "samples.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using samples::messageTo;
using tarvex::devbus::BusServer;
using tarvex::devbus::HttpServer;

namespace {

/// A client without a receiver connection sends so much text that the bus's memory of frames is full several times.
void floodMemory(BusClient& client)
{
    QVariantMap message = messageTo(u"nobody"_s);
    for (int i = 0; i < 40; ++i) {
        QString text;
        for (int j = 0; j < 200000; ++j) {
            text += QString::number((j * 7919 + i) % 1000003, 36); // it does not become much smaller when packed
        }
        message.insert(u"message"_s, text);
        QCOMPARE(client.ask(u"sendMessage"_s, message).code, 0);
    }
}

} // namespace

class TstHttpServer : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void files_areGiven_data();
    void files_areGiven();
    void everyAnswer_hasTheHeaders_data();
    void everyAnswer_hasTheHeaders();
    void page_asksNobodyElse();
    void foreignRequests_areRefused_data();
    void foreignRequests_areRefused();
    void ownPage_isServed();
    void localhost_isServed();
    void changes_withoutToken_areRefused_data();
    void changes_withoutToken_areRefused();
    void lists_tellWhatTheControlSocketTells();
    void settingsRecord_isGivenWhole();
    void frame_isGivenWhole_untilItIsGone();
    void command_reachesItsReceiver();
    void command_wrong_isRefused_data();
    void command_wrong_isRefused();
    void body_tooLarge_isRefused();
    void request_withoutEnd_isCutOff_data();
    void request_withoutEnd_isCutOff();
    void library_refusal_saysWhy();
    void command_storageFails_isSaid();
    void partsOfAnAnswer_areNotMade();
    void download_hasEveryFrameOnALine();
    void downloads_tooMany_areRefused();
    void health_followsTheStorage();
    void events_tellFramesAndChanges();
    void events_last_limitsTheFirstOnes();
    void events_resumed_goOnWhereTheyWere();
    void events_ofAFormerBus_beginAnew();
    void events_tooMany_areRefused();
    void events_readerGone_makesRoom();
    void events_slowReader_getsAGap();
    void silentClients_doNotKeepItFromEnding();
    void port_taken_isSaid();
};

void TstHttpServer::files_areGiven_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QByteArray>("part");
    QTest::newRow("page") << QByteArray("/") << QByteArray("text/html; charset=utf-8") << QByteArray("<title>");
    QTest::newRow("script") << QByteArray("/main.js") << QByteArray("text/javascript; charset=utf-8")
                            << QByteArray("import ");
    QTest::newRow("style") << QByteArray("/style.css") << QByteArray("text/css; charset=utf-8")
                           << QByteArray("prefers-color-scheme");
    QTest::newRow("icon") << QByteArray("/icon.svg") << QByteArray("image/svg+xml") << QByteArray("<svg");
}

void TstHttpServer::files_areGiven()
{
    QFETCH(QByteArray, path);
    const PageDesk desk;
    const PageAnswer answer = desk.get(path);
    QCOMPARE(answer.status, 200);
    QTEST(answer.headers.value("content-type"), "type");
    QFETCH(QByteArray, part);
    QVERIFY(answer.body.contains(part));
}

void TstHttpServer::everyAnswer_hasTheHeaders_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<int>("status");
    QTest::newRow("page") << QByteArray("/") << 200;
    QTest::newRow("nothing there") << QByteArray("/etc/passwd") << 404;
    QTest::newRow("out of the folder") << QByteArray("/../main.cpp") << 404;
    QTest::newRow("list") << QByteArray("/api/clients") << 200;
    QTest::newRow("download") << QByteArray("/frames.jsonl") << 200;
    QTest::newRow("metrics") << QByteArray("/metrics") << 200;
    QTest::newRow("health") << QByteArray("/healthz") << 200;
    QTest::newRow("frame without number") << QByteArray("/api/frame") << 400;
    QTest::newRow("events from -1") << QByteArray("/events?last=-1") << 400;
    QTest::newRow("events from 1x") << QByteArray("/events?last=1x") << 400;
}

void TstHttpServer::everyAnswer_hasTheHeaders()
{
    QFETCH(QByteArray, path);
    const PageDesk desk;
    const PageAnswer answer = desk.get(path);
    QTEST(answer.status, "status");
    const QByteArray policy = answer.headers.value("content-security-policy");
    QVERIFY2(policy.startsWith("default-src 'none'; script-src 'self'; style-src 'self';"), policy.constData());
    QVERIFY(policy.contains("frame-ancestors 'none'") && !policy.contains("unsafe"));
    QCOMPARE(answer.headers.value("x-content-type-options"), QByteArray("nosniff"));
    QCOMPARE(answer.headers.value("referrer-policy"), QByteArray("no-referrer"));
    QCOMPARE(answer.headers.value("cache-control"), QByteArray("no-store"));
    QVERIFY(!answer.headers.contains("access-control-allow-origin"));
}

void TstHttpServer::page_asksNobodyElse()
{
    const PageDesk desk;
    for (const char* const path : {"/", "/style.css", "/main.js", "/dom.js"}) {
        QByteArray body = desk.get(path).body;
        body.replace("http://www.w3.org/2000/svg", ""); // the name of a language, not an address to load
        QVERIFY2(!body.contains("http://") && !body.contains("https://") && !body.contains("//cdn"), path);
    }
    const QByteArray page = desk.get("/").body;
    QVERIFY(!page.contains("<style") && !page.contains(" style=") && !page.contains("onclick"));
}

void TstHttpServer::foreignRequests_areRefused_data()
{
    QTest::addColumn<QByteArray>("headers");
    QTest::newRow("no host") << QByteArray();
    QTest::newRow("another host") << QByteArray("Host: evil.example:PORT\r\n");
    QTest::newRow("another port") << QByteArray("Host: 127.0.0.1:1\r\n");
    QTest::newRow("no port") << QByteArray("Host: 127.0.0.1\r\n");
    QTest::newRow("two hosts") << QByteArray("Host: 127.0.0.1:PORT\r\nHost: evil.example\r\n");
    QTest::newRow("host with more") << QByteArray("Host: 127.0.0.1:PORT.evil.example\r\n");
    QTest::newRow("another page") << QByteArray("Host: 127.0.0.1:PORT\r\nOrigin: http://evil.example\r\n");
    QTest::newRow("no page") << QByteArray("Host: 127.0.0.1:PORT\r\nOrigin: null\r\n");
    QTest::newRow("another site") << QByteArray("Host: 127.0.0.1:PORT\r\nSec-Fetch-Site: cross-site\r\n");
    QTest::newRow("same site, another port") << QByteArray("Host: 127.0.0.1:PORT\r\nSec-Fetch-Site: same-site\r\n");
    QTest::newRow("two sites") << QByteArray(
        "Host: 127.0.0.1:PORT\r\nSec-Fetch-Site: none\r\nSec-Fetch-Site: cross-site\r\n");
    QTest::newRow("another port's page") << QByteArray("Host: 127.0.0.1:PORT\r\nOrigin: http://127.0.0.1:1\r\n");
    QTest::newRow("two pages") << QByteArray(
        "Host: 127.0.0.1:PORT\r\nOrigin: http://127.0.0.1:PORT\r\nOrigin: http://evil.example\r\n");
}

void TstHttpServer::foreignRequests_areRefused()
{
    QFETCH(QByteArray, headers);
    const PageDesk desk;
    headers.replace("PORT", QByteArray::number(desk.port()));
    for (const char* const path : {"/", "/api/clients", "/events", "/frames.jsonl", "/metrics", "/healthz"}) {
        PageConnection connection(desk.port());
        connection.send(QByteArray("GET ") + path + " HTTP/1.1\r\n" + headers + "\r\n");
        QCOMPARE(readAnswer(connection.readAll()).status, 403);
    }
}

void TstHttpServer::ownPage_isServed()
{
    const PageDesk desk;
    QCOMPARE(desk.get("/healthz", "Sec-Fetch-Site: none\r\n").status, 200);
    QCOMPARE(desk.get("/healthz", "Sec-Fetch-Site: same-origin\r\n").status, 200);
}

void TstHttpServer::localhost_isServed()
{
    const PageDesk desk;
    const QByteArray host = "localhost:" + QByteArray::number(desk.port());
    PageConnection connection(desk.port());
    connection.send("GET /healthz HTTP/1.1\r\nHost: " + host + "\r\nOrigin: http://" + host + "\r\n\r\n");
    const PageAnswer answer = readAnswer(connection.readAll());
    QCOMPARE(answer.status, 200);
    QCOMPARE(answer.body, QByteArray("ok\n"));
}

void TstHttpServer::changes_withoutToken_areRefused_data()
{
    QTest::addColumn<QByteArray>("headers");
    QTest::addColumn<int>("status");
    const QByteArray json = "Content-Type: application/json\r\n";
    QTest::newRow("no token") << json << 403;
    QTest::newRow("empty token") << json + "X-Tarvex-Token: \r\n" << 403;
    QTest::newRow("wrong token") << json + "X-Tarvex-Token: 0123456789abcdef0123456789abcdef\r\n" << 403;
    QTest::newRow("part of the token") << json + "X-Tarvex-Token: PART\r\n" << 403;
    QTest::newRow("two tokens") << json + "X-Tarvex-Token: TOKEN\r\nX-Tarvex-Token: TOKEN\r\n" << 403;
    QTest::newRow("a form") << QByteArray(
        "Content-Type: application/x-www-form-urlencoded\r\nX-Tarvex-Token: TOKEN\r\n")
                            << 415;
}

void TstHttpServer::changes_withoutToken_areRefused()
{
    QFETCH(QByteArray, headers);
    const PageDesk desk;
    headers.replace("TOKEN", desk.token()).replace("PART", desk.token().left(31));
    headers.replace("X-Tarvex-" + desk.token(), "X-Tarvex-Token"); // the header's own name
    for (const char* const path : {"/api/command", "/api/faults", "/api/faults/clear"}) {
        const PageAnswer answer = desk.post(path, R"({"sender":"a","receiver":"b","command":"c"})", headers);
        QTEST(answer.status, "status");
    }
    QCOMPARE(desk.get("/api/clients").body, QByteArray("{\"items\":[]}"));
}

void TstHttpServer::lists_tellWhatTheControlSocketTells()
{
    PageDesk desk;
    BusClient client(BusClient::QUERY_PORT, u"<script>alert(1)</script>"_s);
    QCOMPARE(client.ask(u"saveState"_s, samples::someState(u"printer"_s).toVariantMap()).code, 0);
    for (const char* const name : {"about", "clients", "states", "settings"}) {
        const PageAnswer answer = desk.get(QByteArray("/api/") + name);
        QCOMPARE(answer.status, 200);
        QCOMPARE(answer.headers.value("content-type"), QByteArray("application/json"));
        QVariantList expected;
        desk.bus.call([&](BusServer& server) {
            const auto items =
                tarvex::devbus::ControlService(server).handle({{u"request"_s, QString::fromLatin1(name)}}).items;
            for (const QVariantMap& item : items) {
                expected.append(QJsonObject::fromVariantMap(item).toVariantMap());
            }
        });
        QCOMPARE(answer.object().value(u"items"_s).toList(), expected);
    }
    QVERIFY(desk.get("/api/clients").body.contains("<script>alert(1)</script>")); // the page shows it as text
}

void TstHttpServer::settingsRecord_isGivenWhole()
{
    const PageDesk desk;
    BusClient client(BusClient::QUERY_PORT, u"a b&c"_s);
    const QVariantMap record = samples::someSettings(u"a b&c"_s).toVariantMap();
    QCOMPARE(client.ask(u"saveSettings"_s, record).code, 0);
    QCOMPARE(desk.get("/api/settings/record?owner=a%20b%26c").object(),
             QJsonObject::fromVariantMap(record).toVariantMap());
    QCOMPARE(desk.get("/api/settings/record?owner=nobody").status, 404);
    QCOMPARE(desk.get("/api/settings/record").status, 404);
}

void TstHttpServer::frame_isGivenWhole_untilItIsGone()
{
    const PageDesk desk;
    BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    const QVariantMap frame = desk.get("/api/frame?number=2").object();
    QCOMPARE(frame.value(u"operation"_s).toString(), u"handshake"_s);
    QCOMPARE(frame.value(u"data"_s).toMap().value(u"name"_s).toString(), u"printer"_s);
    QCOMPARE(desk.get("/api/frame?number=999").status, 404);
    QCOMPARE(desk.get("/api/frame?number=0").status, 404);
    floodMemory(client);
    QCOMPARE(desk.get("/api/frame?number=2").status, 404);
}

void TstHttpServer::command_reachesItsReceiver()
{
    const PageDesk desk;
    BusClient receiver(BusClient::RECEIVER_PORT, u"printer"_s);
    const PageAnswer answer =
        desk.post("/api/command", R"({"sender":"me","receiver":"printer","command":"print","data":{"n":1}})");
    QCOMPARE(answer.status, 200);
    const BusClient::Frame pushed = receiver.read();
    QCOMPARE(pushed.uid(), answer.object().value(u"uid"_s).toString());
    QCOMPARE(pushed.data.value(u"sender"_s).toString(), u"me"_s);
    QCOMPARE(pushed.data.value(u"message"_s).toString(), uR"({"cmd":"print","data":{"n":1}})"_s);
}

void TstHttpServer::command_wrong_isRefused_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("no JSON") << QByteArray("{");
    QTest::newRow("a list") << QByteArray("[]");
    QTest::newRow("no sender") << QByteArray(R"({"receiver":"b","command":"c"})");
    QTest::newRow("empty sender") << QByteArray(R"({"sender":"","receiver":"b","command":"c"})");
    QTest::newRow("receiver is a number") << QByteArray(R"({"sender":"a","receiver":1,"command":"c"})");
    QTest::newRow("empty command") << QByteArray(R"({"sender":"a","receiver":"b","command":""})");
    QTest::newRow("data is a list") << QByteArray(R"({"sender":"a","receiver":"b","command":"c","data":[]})");
}

void TstHttpServer::command_wrong_isRefused()
{
    QFETCH(QByteArray, body);
    const PageDesk desk;
    const PageAnswer answer = desk.post("/api/command", body);
    QCOMPARE(answer.status, 400);
    QVERIFY(!answer.error().isEmpty());
    QCOMPARE(desk.get("/api/clients").body, QByteArray("{\"items\":[]}"));
}

void TstHttpServer::body_tooLarge_isRefused()
{
    const PageDesk desk;
    const QByteArray large(static_cast<int>(HttpServer::MAX_BODY) + 1, ' ');
    PageConnection connection(desk.port());
    connection.send("POST /api/command HTTP/1.1\r\nHost: " + desk.host()
                    + "\r\nContent-Type: application/json\r\nX-Tarvex-Token: " + desk.token()
                    + "\r\nContent-Length: " + QByteArray::number(large.size()) + "\r\n\r\n");
    QVERIFY(connection.readUntil("\r\n\r\n").startsWith("HTTP/1.1 413 "));
    QCOMPARE(desk.get("/healthz").status, 200);
}

void TstHttpServer::request_withoutEnd_isCutOff_data()
{
    QTest::addColumn<QByteArray>("beginning");
    QTest::addColumn<QByteArray>("more");
    QTest::newRow("line") << QByteArray("GET /") << QByteArray(65536, 'x');
    QTest::newRow("headers") << QByteArray("GET / HTTP/1.1\r\n") << QByteArray("X: y\r\n").repeated(10000);
    QTest::newRow("header line") << QByteArray("GET / HTTP/1.1\r\nX: ") << QByteArray(65536, 'x');
    QTest::newRow("chunks") << QByteArray(
        "POST /api/command HTTP/1.1\r\nHost: HOST\r\nContent-Type: application/json\r\n"
        "X-Tarvex-Token: TOKEN\r\nTransfer-Encoding: chunked\r\n\r\n")
                            << QByteArray(65536, 'x');
}

void TstHttpServer::request_withoutEnd_isCutOff()
{
    QFETCH(QByteArray, beginning);
    QFETCH(QByteArray, more);
    const PageDesk desk;
    PageConnection connection(desk.port());
    QVERIFY(connection.send(beginning.replace("TOKEN", desk.token()).replace("HOST", desk.host())));
    int sent = 0;
    while (sent < 1000 && connection.send(more)) {
        ++sent;
    }
    QVERIFY2(sent < 1000, "the page takes in any number of bytes");
    QCOMPARE(desk.get("/healthz").status, 200);
}

void TstHttpServer::library_refusal_saysWhy()
{
    const PageDesk desk;
    QCOMPARE(desk.get("/nothing").body, QByteArray("there is nothing here\n"));
    QCOMPARE(desk.get("/", "Range: bytes=nonsense\r\n").body, QByteArray("parts of an answer are not given\n"));
    PageConnection connection(desk.port());
    connection.send("nonsense\r\n\r\n");
    const PageAnswer answer = readAnswer(connection.readAll());
    QCOMPARE(answer.status, 400);
    QCOMPARE(answer.body, QByteArray("the request cannot be understood\n"));
}

void TstHttpServer::command_storageFails_isSaid()
{
    const QTemporaryDir folder;
    const PageDesk desk(storingIn(folder.filePath(u"bus.sqlite"_s)));
    QVERIFY(QFile::remove(folder.filePath(u"bus.sqlite"_s)));
    const PageAnswer answer = desk.post("/api/command", R"({"sender":"a","receiver":"b","command":"c"})");
    QCOMPARE(answer.status, 503);
    QVERIFY2(answer.error().startsWith(u"256 "_s), qPrintable(answer.error()));
}

/// A client that asks for thousands of parts would get the file thousands of times.
void TstHttpServer::partsOfAnAnswer_areNotMade()
{
    const PageDesk desk;
    const int whole = desk.get("/main.js").body.size();
    const PageAnswer answer = desk.get("/main.js", "Range: bytes=" + QByteArray("0-9,").repeated(1000) + "0-9\r\n");
    QCOMPARE(answer.status, 200);
    QCOMPARE(answer.body.size(), whole);
}

void TstHttpServer::download_hasEveryFrameOnALine()
{
    const PageDesk desk;
    BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    for (int i = 0; i < 2000; ++i) {
        QCOMPARE(client.ask(u"dance"_s, {{u"step"_s, i}}).code, 4);
    }
    const PageAnswer answer = desk.get("/frames.jsonl", "Accept-Encoding: gzip, br\r\n");
    QCOMPARE(answer.headers.value("content-disposition"), QByteArray("attachment; filename=\"frames.jsonl\""));
    const QList<QByteArray> lines = answer.body.trimmed().split('\n');
    QCOMPARE(lines.size(), 1 + 2 * 2001); // the connection, and requests with their replies
    for (int i = 0; i < lines.size(); ++i) {
        QCOMPARE(QJsonDocument::fromJson(lines.at(i)).object().value(u"number"_s).toInt(), i + 1);
    }
}

void TstHttpServer::downloads_tooMany_areRefused()
{
    const PageDesk desk;
    BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    floodMemory(client); // more than the system takes in for a reader that does not read
    std::vector<std::unique_ptr<PageConnection>> readers;
    for (int i = 0; i < HttpServer::MAX_DOWNLOADS; ++i) {
        readers.push_back(desk.openEvents("/frames.jsonl"));
        QVERIFY(readers.back()->readUntil("\r\n\r\n").startsWith("HTTP/1.1 200 "));
    }
    const PageAnswer answer = desk.get("/frames.jsonl");
    QCOMPARE(answer.status, 503);
    QCOMPARE(answer.body, QByteArray("too many downloads are under way\n"));
    readers.clear();
    // The macro asks once more after a success, and the one before may not have been counted out yet.
    bool isGiven = false;
    QTRY_VERIFY_WITH_TIMEOUT(isGiven = isGiven || desk.get("/frames.jsonl").status == 200, 20000);
}

void TstHttpServer::health_followsTheStorage()
{
    const QTemporaryDir folder;
    const PageDesk desk(storingIn(folder.filePath(u"bus.sqlite"_s)));
    QCOMPARE(desk.get("/healthz").body, QByteArray("ok\n"));
    QVERIFY(QFile::remove(folder.filePath(u"bus.sqlite"_s)));
    const PageAnswer answer = desk.get("/healthz");
    QCOMPARE(answer.status, 503);
    QVERIFY(answer.body.startsWith("the storage fails: 256 "));
    QCOMPARE(desk.get("/api/states").status, 503);
    QVERIFY(desk.get("/metrics").body.contains("\ntarvex_bus_storage_up 0\n"));
}

void TstHttpServer::events_tellFramesAndChanges()
{
    const PageDesk desk;
    const auto events = desk.openEvents("/events");
    QVERIFY(events->readUntil("\n\n").contains("event: hello\ndata: {\"bus\":\""));
    const BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    QVERIFY(events->readUntil("\"data\":{\"name\":\"printer\"}").contains("event: frames\ndata: [{"));
    QVERIFY(events->readUntil("event: changed\ndata: {\"clients\":").contains("event: changed"));
    QVERIFY(readAnswer(events->readUntil("hello")).headers.value("content-type").startsWith("text/event-stream"));
}

void TstHttpServer::events_last_limitsTheFirstOnes()
{
    const PageDesk desk;
    BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    const auto events = desk.openEvents("/events?last=1");
    const QByteArray first = events->readUntil("event: frames");
    QVERIFY(events->readUntil("\"number\":3").contains("\"number\":3")); // the reply to the handshake
    QVERIFY(!first.contains("\"number\":2"));
    const auto none = desk.openEvents("/events?last=0");
    none->readUntil("event: changed");
    client.ask(u"dance"_s, {});
    QVERIFY(!none->readUntil("\"number\":4").contains("\"number\":3,"));
}

void TstHttpServer::events_resumed_goOnWhereTheyWere()
{
    const PageDesk desk;
    BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    const auto events = desk.openEvents("/events");
    const QByteArray text = events->readUntil("\"number\":3");
    const int at = text.indexOf("\"bus\":\"") + 7;
    const QByteArray bus = text.mid(at, text.indexOf('"', at) - at);
    client.ask(u"dance"_s, {});
    const auto resumed = desk.openEvents("/events?last=100", "Last-Event-ID: " + bus + "-4\r\n");
    const QByteArray later = resumed->readUntil("\"number\":5");
    QVERIFY(later.contains("\"number\":4") && !later.contains("\"number\":3,"));
    QVERIFY(later.contains("id: " + bus + "-6"));
    // A number that does not exist yet does not leave the reader without frames.
    const auto ahead = desk.openEvents("/events?last=100", "Last-Event-ID: " + bus + "-1000000\r\n");
    ahead->readUntil("event: changed");
    client.ask(u"dance"_s, {});
    QVERIFY(ahead->readUntil("\"number\":6").contains("\"number\":6"));
}

void TstHttpServer::events_ofAFormerBus_beginAnew()
{
    const PageDesk desk;
    const BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    const auto events = desk.openEvents("/events?last=100", "Last-Event-ID: 0badbad0-3\r\n");
    QVERIFY(events->readUntil("\"number\":3").contains("\"number\":1"));
}

void TstHttpServer::events_tooMany_areRefused()
{
    const PageDesk desk;
    std::vector<std::unique_ptr<PageConnection>> streams;
    for (int i = 0; i < HttpServer::MAX_STREAMS; ++i) {
        streams.push_back(desk.openEvents("/events"));
        QVERIFY(streams.back()->readUntil("hello").startsWith("HTTP/1.1 200 "));
    }
    QCOMPARE(desk.get("/events").status, 503);
    QCOMPARE(desk.get("/healthz").status, 200);
}

void TstHttpServer::events_readerGone_makesRoom()
{
    const PageDesk desk;
    for (int i = 0; i < HttpServer::MAX_STREAMS * 3; ++i) {
        // The macro asks once more after a success, and the reader before may not have been counted out yet.
        bool isOpen = false;
        QTRY_VERIFY_WITH_TIMEOUT(
            isOpen = isOpen || desk.openEvents("/events")->readUntil("\r\n\r\n").startsWith("HTTP/1.1 200 "), 20000);
    }
}

void TstHttpServer::events_slowReader_getsAGap()
{
    const PageDesk desk;
    BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    // It asks for frames that are gone by the time at which it is answered, as one that was away.
    const auto first = desk.openEvents("/events");
    const QByteArray text = first->readUntil("\"number\":3");
    const int at = text.indexOf("\"bus\":\"") + 7;
    const QByteArray bus = text.mid(at, text.indexOf('"', at) - at);
    floodMemory(client); // nobody reads the first stream meanwhile
    const auto resumed = desk.openEvents("/events", "Last-Event-ID: " + bus + "-4\r\n");
    QVERIFY(resumed->readUntil("\"kind\":\"gap\"").contains("\"kind\":\"gap\""));
    QVERIFY(resumed->readUntil("\"number\":80").contains("\"dataLeftOut\":true")); // too large for a list
}

void TstHttpServer::silentClients_doNotKeepItFromEnding()
{
    PageDesk desk;
    std::vector<std::unique_ptr<PageConnection>> connections;
    // tst_httpconnection shows that the end of the server interrupts a connection that waits.
    for (int i = 0; i < 60; ++i) {
        connections.push_back(std::make_unique<PageConnection>(desk.port()));
        connections.back()->send(i % 2 == 0 ? QByteArray() : "GET /events HTTP/1.1\r\nHost: " + desk.host());
    }
    desk.closePage();
    for (const auto& connection : connections) {
        QVERIFY(!connection->isOpen());
    }
}

void TstHttpServer::port_taken_isSaid()
{
    PageDesk desk;
    desk.bus.call([&](BusServer& server) {
        tarvex::devbus::ControlService controlService(server);
        tarvex::devbus::LivePage second(server, controlService);
        const QString error = second.start(static_cast<quint16>(desk.port())).description();
        QCOMPARE(error,
                 u"cannot listen on 127.0.0.1 port %1: Address already in use"_s.arg(QString::number(desk.port())));
    });
}

QTEST_GUILESS_MAIN(TstHttpServer)
#include "tst_httpserver.moc"
