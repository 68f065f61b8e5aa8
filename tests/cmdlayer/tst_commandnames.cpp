// Names and data of commands as a hostile client may write them.

#include "commands.h"
#include "literals.h"

#include <QPointer>
#include <QTest>

class TstCommandNames : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void hostileName_isNobodys_data();
    void hostileName_isNobodys();
    void nameOfTheObjectsOwn_isNotCalled_data();
    void nameOfTheObjectsOwn_isNotCalled();
    void hostileData_isHandedOver();
};

void TstCommandNames::hostileName_isNobodys_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("null") << QString();
    QTest::newRow("empty") << QString(QLatin1String(""));
    // Qt would leave the blanks out and call the method.
    QTest::newRow("blank before") << u" plain"_s;
    QTest::newRow("blank behind") << u"plain "_s;
    QTest::newRow("tab behind") << u"plain\t"_s;
    // Qt would take the name to end there.
    QTest::newRow("zero byte behind") << u"plain"_s + QChar(0);
    QTest::newRow("zero byte and more") << u"plain"_s + QChar(0) + u"x"_s;
    QTest::newRow("zero byte alone") << QString(QChar(0));
    QTest::newRow("new line behind") << u"plain\n"_s;
    QTest::newRow("log line within") << u"plain cashbox uid1\nall is well"_s;
    QTest::newRow("parameters") << u"one(QString)"_s;
    QTest::newRow("its own parameters") << u"plain(QString,QString)"_s;
    QTest::newRow("no parameters") << u"deleteLater()"_s;
    QTest::newRow("open bracket") << u"plain("_s;
    QTest::newRow("open bracket, comma") << u"plain(,"_s;
    QTest::newRow("open template") << u"plain(QList<"_s;
    QTest::newRow("close bracket") << u"plain)"_s;
    QTest::newRow("return type") << u"QVariant plain"_s;
    QTest::newRow("class") << u"Commands::plain"_s;
    QTest::newRow("code of a slot") << u"1plain()"_s;
    QTest::newRow("format") << u"%s%n%1"_s;
    QTest::newRow("Latin-1") << QString::fromUtf8("größe");
    QTest::newRow("beyond Latin-1") << QString::fromUtf8("печать");
    QTest::newRow("look-alike") << QString::fromUtf8("plаin"); // the a is Cyrillic
    QTest::newRow("combining mark") << u"plain"_s + QChar(0x301);
    QTest::newRow("half a pair") << u"plain"_s + QChar(0xD83D);
    QTest::newRow("byte order mark") << QChar(0xFEFF) + u"plain"_s;
    constexpr int MIB = 1024 * 1024;
    QTest::newRow("1 MiB of brackets") << QString(MIB, QLatin1Char('('));
    QTest::newRow("1 MiB of templates") << QString(MIB, QLatin1Char('<'));
    QTest::newRow("1 MiB beyond Latin-1") << QString(MIB, QChar(0x431));
    QTest::newRow("1 MiB of zero bytes") << QString(MIB, QChar(0));
}

// No method is looked for, so Qt writes no line either.
void TstCommandNames::hostileName_isNobodys()
{
    QFETCH(QString, name);
    CommandTrial trial;
    trial.exec(name);
    trial.exec(name);
    QCOMPARE(trial.worker->calls, QStringList());
    QCOMPARE(trial.sent.count(), 1);
    QVERIFY(trial.answer() == errorFor(someCommand(name)));
    const QStringList logged = trial.log.texts();
    QCOMPARE(logged.size(), 5); // the command twice, the error; the command once more, the repeat
    const QString shown = u"warning: %1 cashbox uid1"_s.arg(name.left(65536));
    QCOMPARE(logged.mid(0, 2) << logged.at(3), QStringList({shown, shown, shown}));
    QCOMPARE(logged.at(2), QLatin1String("warning: ") + errorText(name));
    QVERIFY(logged.at(4).startsWith(QLatin1String("warning: Cmd repeating: ")));
}

void TstCommandNames::nameOfTheObjectsOwn_isNotCalled_data()
{
    QTest::addColumn<QString>("name");
    for (const char* const name : {"deleteLater",    "_q_reregisterTimers",
                                   "destroyed",      "objectNameChanged",
                                   "setObjectName",  "objectName",
                                   "restart",        "exec",
                                   "sendCommand",    "doStart",
                                   "doStop",         "doExec",
                                   "prepareError",   "addExecutor",
                                   "removeExecutor", "event",
                                   "Commands",       "AbstractTarvexCommandsWorker",
                                   "qt_metacall",    "5",
                                   "operator"}) {
        QTest::newRow(name) << QString::fromLatin1(name);
    }
    QTest::newRow("1 MiB") << QString(1024 * 1024, QLatin1Char('a'));
}

void TstCommandNames::nameOfTheObjectsOwn_isNotCalled()
{
    QFETCH(QString, name);
    for (const QVariantMap& data : {QVariantMap(), someData()}) {
        CommandTrial trial;
        const QPointer<Commands> guard(trial.worker.get());
        QSignalSpy named(guard.data(), SIGNAL(objectNameChanged(QString)));
        trial.exec(name, u"uid1"_s, data);
        // Does what deleteLater() or restart() would have posted.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
        QVERIFY(!guard.isNull());
        QCOMPARE(guard->hooks.size(), 2); // doExec and prepareError
        QCOMPARE(guard->calls, QStringList());
        QCOMPARE(named.count(), 0);
        QCOMPARE(trial.sent.count(), 1);
        QVERIFY(trial.answer() == errorFor(someCommand(name, u"uid1"_s, data)));
        const QStringList logged = trial.log.texts();
        QCOMPARE(logged.size(), 4);
        QVERIFY(logged.at(2).startsWith(QLatin1String("warning: QMetaObject::invokeMethod: No such method Commands::")
                                        + name));
        QCOMPARE(logged.at(3), QLatin1String("warning: ") + errorText(name));
    }
}

void TstCommandNames::hostileData_isHandedOver()
{
    QVariant deep = 1;
    for (int i = 0; i < 400; ++i) {
        deep = QVariantMap{{u"a"_s, deep}};
    }
    const QVariantMap data{
        {QString(), QVariant()}, {QString(QChar(0)), QString(1024 * 1024, QLatin1Char('x'))}, {u"deep"_s, deep}};
    CommandTrial trial;
    trial.exec(u"both"_s, u"uid1"_s, data);
    trial.exec(u"both"_s, u"uid1"_s, data); // a repeat
    QCOMPARE(trial.worker->datas, QList<QVariantMap>{data});
}

QTEST_GUILESS_MAIN(TstCommandNames)
#include "tst_commandnames.moc"
