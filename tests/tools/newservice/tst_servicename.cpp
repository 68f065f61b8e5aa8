#include "failure.h"
#include "literals.h"
#include "newservice/servicename.h"

#include <QTest>

using namespace tarvexctl;

class TstServiceName : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void names_areDerived_data();
    void names_areDerived();
    void wrongName_isRefused_data();
    void wrongName_isRefused();
};

void TstServiceName::names_areDerived_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("package");
    QTest::addColumn<QString>("classPrefix");
    QTest::addColumn<QString>("filePrefix");
    QTest::newRow("underscore") << u"ticket_printer"_s << u"ticket-printer"_s << u"TicketPrinter"_s
                                << u"ticketprinter"_s;
    QTest::newRow("hyphen") << u"ticket-printer"_s << u"ticket-printer"_s << u"TicketPrinter"_s << u"ticketprinter"_s;
    QTest::newRow("both") << u"a_b-c2_3d"_s << u"a-b-c2-3d"_s << u"ABC23d"_s << u"abc23d"_s;
    QTest::newRow("one word") << u"gate"_s << u"gate"_s << u"Gate"_s << u"gate"_s;
    QTest::newRow("shortest") << u"ab"_s << u"ab"_s << u"Ab"_s << u"ab"_s;
    QTest::newRow("longest") << QString(31, u'a') << QString(31, u'a') << u'A' + QString(30, u'a') << QString(31, u'a');
    QTest::newRow("begins with a word of C++") << u"new_gate"_s << u"new-gate"_s << u"NewGate"_s << u"newgate"_s;
}

void TstServiceName::names_areDerived()
{
    QFETCH(QString, name);
    const ServiceName service(name);
    QCOMPARE(service.client(), name);
    QTEST(service.package(), "package");
    QTEST(service.classPrefix(), "classPrefix");
    QTEST(service.filePrefix(), "filePrefix");
}

void TstServiceName::wrongName_isRefused_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("reason");
    const QString form = u"it must begin with a small letter"_s;
    QTest::newRow("empty") << QString() << form;
    QTest::newRow("capital") << u"Gate"_s << form;
    QTest::newRow("digit first") << u"2gate"_s << form;
    QTest::newRow("underscore first") << u"_gate"_s << form;
    QTest::newRow("hyphen first") << u"-gate"_s << form;
    QTest::newRow("underscore last") << u"gate_"_s << form;
    QTest::newRow("two underscores") << u"my__gate"_s << form;
    QTest::newRow("blank") << u"my gate"_s << form;
    QTest::newRow("line end") << u"gate\n"_s << form;
    QTest::newRow("path") << u"../gate"_s << form;
    QTest::newRow("beyond ASCII") << u"tür"_s << form;
    QTest::newRow("comma") << u"a,b"_s << form;
    QTest::newRow("one letter") << u"a"_s << u"it must have 2 to 31 characters"_s;
    QTest::newRow("too long") << QString(32, u'a') << u"it must have 2 to 31 characters"_s;
    QTest::newRow("library") << u"tarvexlib"_s << u"belong to the library"_s;
    QTest::newRow("bus") << u"tarvex-devbus"_s << u"belong to the library"_s;
    QTest::newRow("other library") << u"wexcorcore"_s << u"belong to the library"_s;
    QTest::newRow("keyword") << u"switch"_s << u"it is a word of C++"_s;
    QTest::newRow("target") << u"install"_s << u"the build has a target or a folder of this name"_s;
    QTest::newRow("other target") << u"preinstall"_s << u"the build has a target or a folder of this name"_s;
    QTest::newRow("folder") << u"tests"_s << u"the build has a target or a folder of this name"_s;
}

void TstServiceName::wrongName_isRefused()
{
    QFETCH(QString, name);
    QFETCH(QString, reason);
    try {
        const ServiceName service(name);
        QFAIL("it was taken");
    } catch (const Failure& failure) {
        QCOMPARE(failure.status(), WrongUse);
        const QString words = u"no service can be called \"%1\": "_s.arg(name);
        QVERIFY2(failure.words().startsWith(words), qPrintable(failure.words()));
        QVERIFY2(failure.words().contains(reason), qPrintable(failure.words()));
    }
}

QTEST_GUILESS_MAIN(TstServiceName)
#include "tst_servicename.moc"
