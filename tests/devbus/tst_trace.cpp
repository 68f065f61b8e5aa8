#include "trace.h"

#include "literals.h"

#include <QRegularExpression>
#include <QTest>

namespace trace = tarvex::devbus::trace;
using trace::Direction;

namespace {

QVariantMap envelope(const QString& operation, const QVariantMap& data)
{
    return {{u"operation"_s, operation}, {u"data"_s, data}};
}

/// Removes the time from the beginning of \a line. A line without a time gives another text.
QString withoutTime(const QString& line)
{
    static const QRegularExpression time(u"^\\d\\d:\\d\\d:\\d\\d\\.\\d\\d\\d "_s);
    return time.match(line).hasMatch() ? QString(line).remove(time) : u"no time: "_s + line;
}

QString requestLine(const QString& client, const QString& operation, const QVariantMap& data)
{
    return withoutTime(trace::frameLine(Direction::In, u"query"_s, client, false, envelope(operation, data)));
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
    QCOMPARE(requestLine(u"printer"_s, u"loadState"_s, {{u"owner"_s, u"printer"_s}}),
             u"in  query/printer REQUEST loadState {\"owner\":\"printer\"}"_s);
    QCOMPARE(requestLine(QString(), u"handshake"_s, {}), u"in  query/- REQUEST handshake {}"_s);
}

void TstTrace::frameLine_reply_endsWithCode()
{
    QVariantMap reply = envelope(u"loadState"_s, {});
    reply.insert(u"result"_s, QVariantMap{{u"code"_s, 512}});
    QCOMPARE(withoutTime(trace::frameLine(Direction::Out, u"receiver"_s, u"a"_s, true, reply)),
             u"out receiver/a REPLY loadState {} 512"_s);
}

void TstTrace::frameLine_longData_isCut()
{
    const QString line = requestLine(u"a"_s, u"sendMessage"_s, {{u"message"_s, QString(100000, QLatin1Char('x'))}});
    QVERIFY(line.size() < 700);
    QVERIFY2(line.endsWith(u"xxx... (+99502)"_s), qPrintable(line)); // 100014 less 512
    const QString name(5000, QLatin1Char('n'));
    QVERIFY(requestLine(name, name, {}).size() < 300);
}

void TstTrace::frameLine_controlCharacters_stayOnOneLine()
{
    const QString line = requestLine(u"a\nb"_s, u"x\r\n\x1b[2J"_s, {{u"k\n"_s, u"\t"_s}});
    QCOMPARE(line, u"in  query/a?b REQUEST x???[2J {\"k\\n\":\"\\t\"}"_s);
}

void TstTrace::noticeLine_namesClient()
{
    QCOMPARE(withoutTime(trace::noticeLine(u"query"_s, QString(), u"wrong size: 0\n"_s)),
             u"in  query/- wrong size: 0?"_s);
}

QTEST_GUILESS_MAIN(TstTrace)
#include "tst_trace.moc"
