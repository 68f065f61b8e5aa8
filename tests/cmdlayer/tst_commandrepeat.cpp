// What the commands worker remembers of the last hundred commands.

#include "commands.h"
#include "literals.h"
#include "markingtranslator.h"
#include "memoryuse.h"

#include <QPointer>
#include <QTest>

namespace {

const QString PLAIN = u"plain"_s;

/// Commands with the uids "0", "1" and so on.
void execPlain(CommandTrial& trial, int count)
{
    for (int i = 0; i < count; ++i) {
        trial.exec(PLAIN, QString::number(i));
    }
}

} // namespace

class TstCommandRepeat : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void repeat_isLoggedWithItsData_data();
    void repeat_isLoggedWithItsData();
    void repeat_isLoggedTranslated();
    void repeat_ofAFailedCommand_isNotAnsweredAgain();
    void repeat_isKnownByItsKeyAlone();
    void repeat_otherAgentNameOrUid_isNone_data();
    void repeat_otherAgentNameOrUid_isNone();
    void repeat_after99Others_isStillKnown();
    void repeat_after100Others_runsAgain();
    void repeat_doesNotMakeTheKeyYounger();
    void repeat_isRecognisedWithoutItsArguments();
    void repeat_ofATakenCommand_isNoRepeatLater();
    void handler_execsItsOwnCommand_isARepeat();
    void handler_execsAHundredOthers_mayRunAgain();
};

void TstCommandRepeat::repeat_isLoggedWithItsData_data()
{
    QTest::addColumn<QVariantMap>("data");
    QTest::addColumn<QString>("json");
    QTest::newRow("none") << QVariantMap() << u"{\n}\n"_s;
    QTest::newRow("some") << someData() << u"{\n    \"copies\": 2,\n    \"text\": \"ticket\"\n}\n"_s;
    QTest::newRow("deep, beyond Latin-1") << QVariantMap{{u"a"_s, QVariantMap{{u"b"_s, QString::fromUtf8("ж")}}}}
                                          << QString::fromUtf8("{\n    \"a\": {\n        \"b\": \"ж\"\n    }\n}\n");
}

void TstCommandRepeat::repeat_isLoggedWithItsData()
{
    QFETCH(QVariantMap, data);
    QFETCH(QString, json);
    CommandTrial trial;
    trial.exec(u"both"_s, u"uid1"_s, data);
    trial.log.clear();
    trial.exec(u"both"_s, u"uid1"_s, data);
    QCOMPARE(
        trial.log.texts(),
        QStringList({u"warning: both cashbox uid1"_s, u"warning: Cmd repeating:  \tcashbox\tboth\tuid1 \t"_s + json}));
    QCOMPARE(trial.worker->calls.size(), 1);
    QCOMPARE(trial.sent.count(), 0);
}

void TstCommandRepeat::repeat_isLoggedTranslated()
{
    const MarkingTranslator translator;
    CommandTrial trial;
    trial.exec(PLAIN);
    trial.exec(PLAIN);
    const QString marked = MarkingTranslator::marked("AbstractTarvexCommandsWorker", u"Cmd repeating: "_s);
    QVERIFY(trial.log.texts().constLast().startsWith(u"warning: "_s + marked));
}

void TstCommandRepeat::repeat_ofAFailedCommand_isNotAnsweredAgain()
{
    CommandTrial trial;
    trial.exec(u"x"_s);
    trial.exec(u"x"_s);
    QCOMPARE(trial.sent.count(), 1);
}

void TstCommandRepeat::repeat_isKnownByItsKeyAlone()
{
    CommandTrial trial;
    trial.exec(u"both"_s);
    trial.exec(u"both"_s, u"uid1"_s, someData());
    QCOMPARE(trial.worker->calls, QStringList(u"both"_s));
}

void TstCommandRepeat::repeat_otherAgentNameOrUid_isNone_data()
{
    QTest::addColumn<TarvexCommand>("other");
    TarvexCommand other = someCommand(u"plain"_s);
    other.setAgent(u"logger"_s);
    QTest::newRow("agent") << other;
    QTest::newRow("name") << someCommand(u"slot"_s);
    QTest::newRow("uid") << someCommand(u"plain"_s, u"uid2"_s);
}

void TstCommandRepeat::repeat_otherAgentNameOrUid_isNone()
{
    QFETCH(TarvexCommand, other);
    CommandTrial trial;
    trial.exec(PLAIN);
    trial.worker->exec(other);
    QCOMPARE(trial.worker->calls, QStringList({PLAIN, other.name()}));
}

void TstCommandRepeat::repeat_after99Others_isStillKnown()
{
    CommandTrial trial;
    execPlain(trial, 100);
    trial.exec(PLAIN, u"0"_s);
    QCOMPARE(trial.worker->calls.size(), 100);
}

void TstCommandRepeat::repeat_after100Others_runsAgain()
{
    CommandTrial trial;
    execPlain(trial, 101);
    trial.exec(PLAIN, u"2"_s); // the second oldest, which is still remembered: no run
    QCOMPARE(trial.worker->calls.size(), 101);
    trial.exec(PLAIN, u"0"_s);
    QCOMPARE(trial.worker->calls.size(), 102);
}

void TstCommandRepeat::repeat_doesNotMakeTheKeyYounger()
{
    CommandTrial trial;
    execPlain(trial, 100);
    trial.exec(PLAIN, u"0"_s);
    trial.exec(PLAIN, u"100"_s);
    QCOMPARE(trial.worker->calls.size(), 101);
    trial.exec(PLAIN, u"0"_s);
    QCOMPARE(trial.worker->calls.size(), 102);
}

// A hundred commands are remembered, and each may carry many MiB.
void TstCommandRepeat::repeat_isRecognisedWithoutItsArguments()
{
    constexpr int MIB = 1024 * 1024;
    const LogCapture log;
    Commands worker;
    const qint64 before = memoryuse::allocated();
    for (int number = 0; number < 50; ++number) {
        worker.exec(someCommand(u"unknown"_s, QString::number(number), {{u"text"_s, QString(MIB / 2, u'x')}}));
    }
    // With the sanitizers' allocators this is always 0.
    const qint64 grown = memoryuse::allocated() - before;
    QVERIFY2(grown < 10 * MIB, QByteArray::number(grown).constData());
}

void TstCommandRepeat::repeat_ofATakenCommand_isNoRepeatLater()
{
    CommandTrial trial;
    const QPointer<CountingExecutor> executor(new CountingExecutor(trial.worker.get()));
    trial.worker->addExecutor(executor);
    trial.exec(u"count"_s);
    trial.exec(u"count"_s);
    QCOMPARE(executor->executed, 2);
    QCOMPARE(trial.log.texts(), QStringList());
    trial.worker->removeExecutor(u"counting"_s);
    trial.exec(u"count"_s);
    QCOMPARE(trial.sent.count(), 1); // not found: the worker itself has not had it before
}

void TstCommandRepeat::handler_execsItsOwnCommand_isARepeat()
{
    CommandTrial trial;
    trial.worker->result = true;
    trial.worker->action = [&trial] { trial.exec(u"acts"_s); };
    trial.exec(u"acts"_s);
    QCOMPARE(trial.worker->calls, QStringList(u"acts"_s));
    QVERIFY(
        trial.log.texts().constLast().startsWith(QLatin1String("warning: Cmd repeating:  \tcashbox\tacts\tuid1 \t")));
}

void TstCommandRepeat::handler_execsAHundredOthers_mayRunAgain()
{
    CommandTrial trial;
    trial.worker->result = true;
    trial.worker->action = [&trial] {
        trial.worker->action = [] {};
        execPlain(trial, 100);
        trial.exec(u"acts"_s);
    };
    trial.exec(u"acts"_s);
    QCOMPARE(trial.worker->calls.count(PLAIN), 100);
    QCOMPARE(trial.worker->calls.count(u"acts"_s), 2);
}

QTEST_GUILESS_MAIN(TstCommandRepeat)
#include "tst_commandrepeat.moc"
