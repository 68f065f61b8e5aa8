#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QDateTime>
#include <QTest>

namespace {

QVariantMap record(const QString& owner, const QString& state = u"{\"paper\":\"low\"}"_s)
{
    return {{u"owner"_s, owner},
            {u"date"_s, u"2026-03-01T10:11:12.345"_s},
            {u"description"_s, QString()},
            {u"state"_s, state},
            {u"type"_s, 3}};
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
    bus.willReply(u"loadState"_s, 0, QString(), record(u"printer"_s));
    ProgramRun run(u"state get printer"_s);
    QCOMPARE(run.ending(),
             ended(0, {},
                   "Owner        printer\n"
                   "Taken        2026-03-01T10:11:12.345\n"
                   "Description  -\n"
                   "Type         3\n"
                   "State        {\"paper\":\"low\"}\n"));
    QCOMPARE(operations(bus), QStringList{u"loadState"_s});
    QCOMPARE(requested(bus), (QVariantMap{{u"owner"_s, u"printer"_s}}));
}

void TstStateVerbs::get_emptyAndHyphen_lookDifferent()
{
    FakeBus bus;
    bus.willReply(u"loadState"_s, 0, QString(), record(u"printer"_s, u"-"_s));
    bus.willReply(u"loadState"_s, 0, QString(), record(u"printer"_s, QString()));
    ProgramRun run(u"state get printer printer"_s);
    QCOMPARE(run.status(), 0);
    QVERIFY2(run.out().contains("\nState        \"-\"\n"), run.out().constData());
    QVERIFY2(run.out().endsWith("\nState        -\n"), run.out().constData());
}

void TstStateVerbs::get_withoutOwner_asksForOwnName()
{
    FakeBus bus;
    bus.willReply(u"loadState"_s);
    ProgramRun run(u"--as cashbox state get"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(requested(bus), (QVariantMap{{u"owner"_s, u"cashbox"_s}}));
}

void TstStateVerbs::get_asJson_writesOneRecordALine()
{
    FakeBus bus;
    bus.willReply(u"loadState"_s, 0, QString(), record(u"printer"_s));
    bus.willReply(u"loadState"_s, 0, QString(), record(u"cashbox"_s));
    ProgramRun run(u"--json state get printer cashbox"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), (QList<QVariantMap>{record(u"printer"_s), record(u"cashbox"_s)}));
}

void TstStateVerbs::get_severalOneMissing_writesOthersAndEndsWithRefusal()
{
    FakeBus bus;
    bus.willReply(u"loadState"_s, 2, u"Incorrect request data"_s);
    bus.willReply(u"loadState"_s, 0, QString(), record(u"cashbox"_s));
    ProgramRun run(u"--json state get nobody cashbox"_s);
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.objects(), QList<QVariantMap>{record(u"cashbox"_s)});
    QCOMPARE(run.err(), told("nobody: refused by the bus: 2 Incorrect request data"));
}

void TstStateVerbs::set_storesUnderOwnName()
{
    FakeBus bus;
    bus.willReply(u"saveState"_s);
    const QDateTime before = QDateTime::currentDateTime();
    ProgramRun run(u"--as printer state set ready"_s);
    QCOMPARE(run.ending(), ended(0, {"saved the state of printer"}));
    QCOMPARE(operations(bus), QStringList{u"saveState"_s});
    QVariantMap saved = requested(bus);
    const QDateTime date = QDateTime::fromString(saved.take(u"date"_s).toString(), Qt::ISODateWithMs);
    QVERIFY(before.msecsTo(date) >= 0 && date.msecsTo(QDateTime::currentDateTime()) >= 0);
    QCOMPARE(saved,
             (QVariantMap{
                 {u"owner"_s, u"printer"_s}, {u"description"_s, QString()}, {u"state"_s, u"ready"_s}, {u"type"_s, 0}}));
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
    bus.willReply(u"saveState"_s);
    ProgramRun run(u"state set -5 --type %1 --description 'Degrees outside'"_s.arg(type));
    QCOMPARE(run.status(), 0);
    const QVariantMap saved = requested(bus);
    QCOMPARE(saved.value(u"type"_s).toInt(), type);
    QCOMPARE(saved.value(u"description"_s).toString(), u"Degrees outside"_s);
    QCOMPARE(saved.value(u"state"_s).toString(), u"-5"_s);
}

void TstStateVerbs::set_asJson_tellsWhatWasDone()
{
    FakeBus bus;
    bus.willReply(u"saveState"_s);
    ProgramRun run(u"--json state set ready --type 2"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QVariantMap expected = requested(bus);
    expected.insert(u"done"_s, u"state set"_s);
    QCOMPARE(expected.value(u"owner"_s).toString(), u"tarvexctl"_s);
    QCOMPARE(run.objects(), QList<QVariantMap>{expected});
}

QTEST_GUILESS_MAIN(TstStateVerbs)
#include "tst_stateverbs.moc"
