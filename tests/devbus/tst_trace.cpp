#include "trace.h"

#include <QRegularExpression>
#include <QTest>

namespace trace = tarvex::devbus::trace;
using trace::Direction;

namespace {

QVariantMap envelope(const QString& operation, const QVariantMap& data)
{
    return {{QStringLiteral("operation"), operation}, {QStringLiteral("data"), data}};
}

/// Without the time at its beginning, which it must have.
QString withoutTime(const QString& line)
{
    static const QRegularExpression time(QStringLiteral("^\\d\\d:\\d\\d:\\d\\d\\.\\d\\d\\d "));
    return time.match(line).hasMatch() ? QString(line).remove(time) : QStringLiteral("no time: ") + line;
}

QString requestLine(const QString& client, const QString& operation, const QVariantMap& data)
{
    return withoutTime(
        trace::frameLine(Direction::In, QStringLiteral("query"), client, false, envelope(operation, data)));
}

} // namespace

class TstTrace : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void frameLine_request_namesEverything();
    void frameLine_reply_endsWithCode();
    void frameLine_longData_isCut();
    void frameLine_controlCharacters_stayOnOneLine();
    void noticeLine_namesClient();
};

void TstTrace::frameLine_request_namesEverything()
{
    QCOMPARE(requestLine(QStringLiteral("printer"), QStringLiteral("loadState"),
                         {{QStringLiteral("owner"), QStringLiteral("printer")}}),
             QStringLiteral("in  query/printer REQUEST loadState {\"owner\":\"printer\"}"));
    QCOMPARE(requestLine(QString(), QStringLiteral("handshake"), {}),
             QStringLiteral("in  query/- REQUEST handshake {}"));
}

void TstTrace::frameLine_reply_endsWithCode()
{
    QVariantMap reply = envelope(QStringLiteral("loadState"), {});
    reply.insert(QStringLiteral("result"), QVariantMap{{QStringLiteral("code"), 512}});
    QCOMPARE(
        withoutTime(trace::frameLine(Direction::Out, QStringLiteral("receiver"), QStringLiteral("a"), true, reply)),
        QStringLiteral("out receiver/a REPLY loadState {} 512"));
}

void TstTrace::frameLine_longData_isCut()
{
    const QString line = requestLine(QStringLiteral("a"), QStringLiteral("sendMessage"),
                                     {{QStringLiteral("message"), QString(100000, QLatin1Char('x'))}});
    QVERIFY(line.size() < 700);
    QVERIFY2(line.endsWith(QStringLiteral("xxx... (+99502)")), qPrintable(line)); // 100014 less 512
    const QString name(5000, QLatin1Char('n'));
    QVERIFY(requestLine(name, name, {}).size() < 300);
}

void TstTrace::frameLine_controlCharacters_stayOnOneLine()
{
    const QString line = requestLine(QStringLiteral("a\nb"), QStringLiteral("x\r\n\x1b[2J"),
                                     {{QStringLiteral("k\n"), QStringLiteral("\t")}});
    QCOMPARE(line, QStringLiteral("in  query/a?b REQUEST x???[2J {\"k\\n\":\"\\t\"}"));
}

void TstTrace::noticeLine_namesClient()
{
    QCOMPARE(withoutTime(trace::noticeLine(QStringLiteral("query"), QString(), QStringLiteral("wrong size: 0\n"))),
             QStringLiteral("in  query/- wrong size: 0?"));
}

QTEST_GUILESS_MAIN(TstTrace)
#include "tst_trace.moc"
