#include "failure.h"
#include "literals.h"
#include "newservice/commandlist.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>

using namespace tarvexctl;

namespace {

/// The words of the refusal; empty when the list was taken.
QString refusalOf(const QString& list)
{
    try {
        commandsFrom(list);
    } catch (const Failure& failure) {
        return failure.status() == WrongUse ? failure.words() : u"not as wrong use"_s;
    }
    return QString();
}

/// The functions that a header names, without those that begin with a capital, and without those that are private in
/// the library: a member of the same name takes nothing from them.
QStringList functionsIn(const QString& path)
{
    QFile file(QStringLiteral(SOURCES "/") + path);
    file.open(QIODevice::ReadOnly);
    static const QRegularExpression comment(u"//.*"_s);
    static const QRegularExpression function(u"\\b([a-z]\\w*)\\("_s);
    QStringList names;
    QString text = QString::fromUtf8(file.readAll()).remove(comment);
    if (!path.startsWith(u"tools/"_s)) {
        text = text.section(u"\nprivate:"_s, 0, 0);
    }
    auto match = function.globalMatch(text);
    while (match.hasNext()) {
        names.append(match.next().captured(1));
    }
    return names;
}

} // namespace

class TstCommandList : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void names_keepTheirOrder();
    void wrongName_isRefused_data();
    void wrongName_isRefused();
    void members_areRefused_data();
    void members_areRefused();
};

void TstCommandList::names_keepTheirOrder()
{
    QCOMPARE(commandsFrom(u"open"_s), QStringList(u"open"_s));
    QCOMPARE(commandsFrom(u"openDoor,b2,a,print_it"_s), (QStringList{u"openDoor"_s, u"b2"_s, u"a"_s, u"print_it"_s}));
    QCOMPARE(commandsFrom(QString(24, u'a')), QStringList(QString(24, u'a')));
}

void TstCommandList::wrongName_isRefused_data()
{
    QTest::addColumn<QString>("list");
    QTest::addColumn<QString>("refusal");
    const QString refusal = u"no command can be called \"%1\": %2"_s;
    const QString form = u"it must begin with a small letter, and letters, digits and single underscores follow"_s;
    const QString word = u"it is a word of C++"_s;
    const QString member = u"the class of the commands has a member of this name"_s;
    const QString library = u"the library keeps this command to itself"_s;
    const auto add = [&refusal](const char* row, const QString& list, const QString& name, const QString& reason) {
        QTest::newRow(row) << list << refusal.arg(name, reason);
    };
    add("none", QString(), QString(), form);
    add("comma at the end", u"open,"_s, QString(), form);
    add("two commas", u"open,,close"_s, QString(), form);
    add("blank", u"open, close"_s, u" close"_s, form);
    add("capital", u"Open"_s, u"Open"_s, form);
    add("digit first", u"2open"_s, u"2open"_s, form);
    add("two underscores", u"open__it"_s, u"open__it"_s, form);
    add("hyphen", u"open-it"_s, u"open-it"_s, form);
    add("line end", u"open\n"_s, u"open\n"_s, form);
    add("beyond ASCII", u"öffnen"_s, u"öffnen"_s, form);
    add("twice", u"open,close,open"_s, u"open"_s, u"it is given twice"_s);
    add("too long", QString(25, u'a'), QString(25, u'a'), u"it must not have more than 24 characters"_s);
    add("keyword", u"open,switch"_s, u"switch"_s, word);
    add("macro", u"signals"_s, u"signals"_s, word);
    add("macro of Qt's log", u"qInfo"_s, u"qInfo"_s, word);
    add("macro of the standard library", u"va_arg"_s, u"va_arg"_s, word);
    add("member of QObject", u"moveToThread"_s, u"moveToThread"_s, member);
    add("slot of QObject", u"deleteLater"_s, u"deleteLater"_s, member);
    add("of an executor", u"execute"_s, u"execute"_s, member);
    add("variable of the template", u"times"_s, u"times"_s, member);
    add("error", u"commandError"_s, u"commandError"_s, library);
    add("settings", u"updateSettings"_s, u"updateSettings"_s, library);
}

void TstCommandList::wrongName_isRefused()
{
    QFETCH(QString, list);
    QTEST(refusalOf(list), "refusal");
}

/// A member that is new in one of these headers must come into the list of commandlist.cpp.
void TstCommandList::members_areRefused_data()
{
    QTest::addColumn<int>("leastCount");
    QTest::newRow("support/abstractworker.h") << 5;
    QTest::newRow("src/cmdlayer/abstracttarvexcommandsworker.h") << 5;
    QTest::newRow("tools/newservice/templates/src/commands.h.in") << 6;
}

void TstCommandList::members_areRefused()
{
    QFETCH(int, leastCount);
    const QStringList names = functionsIn(QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(names.size() >= leastCount);
    for (const QString& name : names) {
        QVERIFY2(!refusalOf(name).isEmpty(), qPrintable(name));
    }
}

QTEST_GUILESS_MAIN(TstCommandList)
#include "tst_commandlist.moc"
