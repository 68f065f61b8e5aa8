#include "fakebus.h"
#include "programrun.h"

#include <QDateTime>
#include <QTest>

namespace {

QVariantMap record(const QString& owner)
{
    return {{QStringLiteral("owner"), owner},
            {QStringLiteral("date"), QStringLiteral("2026-03-01T10:11:12.345")},
            {QStringLiteral("description"), QString()},
            {QStringLiteral("state"), QStringLiteral("{\"paper\":\"low\"}")},
            {QStringLiteral("type"), 3}};
}

} // namespace

class TstStateVerbs : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void get_writesAlignedFields();
    void get_emptyAndHyphen_lookDifferent();
    void get_withoutOwner_asksForOwnName();
    void get_asJson_writesOneRecordALine();
    void get_severalOneMissing_writesOthersAndEndsWithRefusal();
    void set_storesUnderOwnName();
    void set_typeAndDescription_areStored_data();
    void set_typeAndDescription_areStored();
    void set_asJson_tellsWhatWasDone();
};

void TstStateVerbs::get_writesAlignedFields()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("loadState"), 0, QString(), record(QStringLiteral("printer")));
    ProgramRun run({QStringLiteral("state"), QStringLiteral("get"), QStringLiteral("printer")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(),
             QByteArray("Owner        printer\n"
                        "Taken        2026-03-01T10:11:12.345\n"
                        "Description  -\n"
                        "Type         3\n"
                        "State        {\"paper\":\"low\"}\n"));
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(bus.requests().size(), 1);
    QCOMPARE(bus.requests().constFirst().operation, QStringLiteral("loadState"));
    QCOMPARE(bus.requests().constFirst().data, (QVariantMap{{QStringLiteral("owner"), QStringLiteral("printer")}}));
}

void TstStateVerbs::get_emptyAndHyphen_lookDifferent()
{
    FakeBus bus;
    QVariantMap state = record(QStringLiteral("printer"));
    state.insert(QStringLiteral("state"), QStringLiteral("-"));
    bus.willReply(QStringLiteral("loadState"), 0, QString(), state);
    state.insert(QStringLiteral("state"), QString());
    bus.willReply(QStringLiteral("loadState"), 0, QString(), state);
    ProgramRun run(
        {QStringLiteral("state"), QStringLiteral("get"), QStringLiteral("printer"), QStringLiteral("printer")});
    QCOMPARE(run.status(), 0);
    QVERIFY2(run.out().contains("\nState        \"-\"\n"), run.out().constData());
    QVERIFY2(run.out().endsWith("\nState        -\n"), run.out().constData());
}

void TstStateVerbs::get_withoutOwner_asksForOwnName()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("loadState"));
    ProgramRun run({QStringLiteral("--as"), QStringLiteral("cashbox"), QStringLiteral("state"), QStringLiteral("get")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(bus.requests().constFirst().data, (QVariantMap{{QStringLiteral("owner"), QStringLiteral("cashbox")}}));
}

void TstStateVerbs::get_asJson_writesOneRecordALine()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("loadState"), 0, QString(), record(QStringLiteral("printer")));
    bus.willReply(QStringLiteral("loadState"), 0, QString(), record(QStringLiteral("cashbox")));
    ProgramRun run({QStringLiteral("--json"), QStringLiteral("state"), QStringLiteral("get"), QStringLiteral("printer"),
                    QStringLiteral("cashbox")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), (QList<QVariantMap>{record(QStringLiteral("printer")), record(QStringLiteral("cashbox"))}));
}

void TstStateVerbs::get_severalOneMissing_writesOthersAndEndsWithRefusal()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("loadState"), 2, QStringLiteral("Incorrect request data"));
    bus.willReply(QStringLiteral("loadState"), 0, QString(), record(QStringLiteral("cashbox")));
    ProgramRun run({QStringLiteral("--json"), QStringLiteral("state"), QStringLiteral("get"), QStringLiteral("nobody"),
                    QStringLiteral("cashbox")});
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.objects(), QList<QVariantMap>{record(QStringLiteral("cashbox"))});
    QCOMPARE(run.err(), QByteArray("tarvexctl: nobody: refused by the bus: 2 Incorrect request data\n"));
}

void TstStateVerbs::set_storesUnderOwnName()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("saveState"));
    const QDateTime before = QDateTime::currentDateTime();
    ProgramRun run({QStringLiteral("--as"), QStringLiteral("printer"), QStringLiteral("state"), QStringLiteral("set"),
                    QStringLiteral("ready")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: saved the state of printer\n"));
    QCOMPARE(bus.requests().size(), 1);
    QCOMPARE(bus.requests().constFirst().operation, QStringLiteral("saveState"));
    QVariantMap saved = bus.requests().constFirst().data;
    const QDateTime date = QDateTime::fromString(saved.take(QStringLiteral("date")).toString(), Qt::ISODateWithMs);
    QVERIFY(before.msecsTo(date) >= 0 && date.msecsTo(QDateTime::currentDateTime()) >= 0);
    QCOMPARE(saved,
             (QVariantMap{{QStringLiteral("owner"), QStringLiteral("printer")},
                          {QStringLiteral("description"), QString()},
                          {QStringLiteral("state"), QStringLiteral("ready")},
                          {QStringLiteral("type"), 0}}));
}

void TstStateVerbs::set_typeAndDescription_areStored_data()
{
    QTest::addColumn<int>("type");
    QTest::newRow("lowest") << 0;
    QTest::newRow("some") << 7;
    QTest::newRow("highest") << 127;
}

void TstStateVerbs::set_typeAndDescription_areStored()
{
    QFETCH(int, type);
    FakeBus bus;
    bus.willReply(QStringLiteral("saveState"));
    ProgramRun run({QStringLiteral("state"), QStringLiteral("set"), QStringLiteral("-5"), QStringLiteral("--type"),
                    QString::number(type), QStringLiteral("--description"), QStringLiteral("Degrees outside")});
    QCOMPARE(run.status(), 0);
    const QVariantMap saved = bus.requests().constFirst().data;
    QCOMPARE(saved.value(QStringLiteral("type")).toInt(), type);
    QCOMPARE(saved.value(QStringLiteral("description")).toString(), QStringLiteral("Degrees outside"));
    QCOMPARE(saved.value(QStringLiteral("state")).toString(), QStringLiteral("-5"));
}

void TstStateVerbs::set_asJson_tellsWhatWasDone()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("saveState"));
    ProgramRun run({QStringLiteral("--json"), QStringLiteral("state"), QStringLiteral("set"), QStringLiteral("ready"),
                    QStringLiteral("--type"), QStringLiteral("2")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QVariantMap expected = bus.requests().constFirst().data;
    expected.insert(QStringLiteral("done"), QStringLiteral("state set"));
    QCOMPARE(expected.value(QStringLiteral("owner")).toString(), QStringLiteral("tarvexctl"));
    QCOMPARE(run.objects(), QList<QVariantMap>{expected});
}

QTEST_GUILESS_MAIN(TstStateVerbs)
#include "tst_stateverbs.moc"
