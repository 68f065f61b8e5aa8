#include "cmdlayer/abstracttarvexcommandexecutor.h"

#include "literals.h"

#include <QPointer>
#include <QTest>
#include <QThread>

#include <cstring>
#include <memory>
#include <type_traits>

static_assert(std::is_abstract_v<AbstractTarvexCommandExecutor>);

namespace {

class SelfTest : public AbstractTarvexCommandExecutor
{
public:
    explicit SelfTest(const QString& name, QObject* parent = nullptr) : AbstractTarvexCommandExecutor(name, parent) { }

    bool canExecute(const TarvexCommand& cmd) override { return cmd.name() == QLatin1String("selfTest"); }

    void execute(const TarvexCommand& cmd) override { executed = cmd; }

    TarvexCommand executed;
};

class Renamed : public SelfTest
{
public:
    Renamed() : SelfTest(u"given"_s) { }

    QString name() const override { return u"own"_s; }
};

} // namespace

class TstAbstractTarvexCommandExecutor : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void parent_ownsTheExecutor();
    void name_isKeptAsItIs_data();
    void name_isKeptAsItIs();
    void name_isTheFirstDataMember();
    void virtuals_calledThroughTheBase();
    void name_overridden_isAskedThroughTheBase();
};

void TstAbstractTarvexCommandExecutor::parent_ownsTheExecutor()
{
    QCOMPARE(SelfTest(u"selfTest"_s).parent(), nullptr);
    QThread thread;
    auto parent = std::make_unique<QObject>();
    const QPointer<AbstractTarvexCommandExecutor> executor(new SelfTest(u"selfTest"_s, parent.get()));
    QCOMPARE(executor->parent(), parent.get());
    parent->moveToThread(&thread);
    QCOMPARE(executor->thread(), &thread);
    parent.reset();
    QVERIFY(executor.isNull());
}

void TstAbstractTarvexCommandExecutor::name_isKeptAsItIs_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("null") << QString();
    QTest::newRow("empty") << QString(QLatin1String(""));
    QTest::newRow("blanks") << u" a b\n"_s;
    QTest::newRow("beyond Latin-1") << QString::fromUtf8("печать");
}

void TstAbstractTarvexCommandExecutor::name_isKeptAsItIs()
{
    QFETCH(QString, name);
    const SelfTest executor(name);
    QCOMPARE(executor.name(), name);
    QCOMPARE(executor.name().isNull(), name.isNull());
    QVERIFY(executor.objectName().isEmpty());
}

void TstAbstractTarvexCommandExecutor::name_isTheFirstDataMember()
{
    const SelfTest executor(u"selfTest"_s);
    const AbstractTarvexCommandExecutor& base = executor;
    const void* firstMember = nullptr;
    std::memcpy(&firstMember, reinterpret_cast<const char*>(&base) + sizeof(QObject), sizeof firstMember);
    QString name = base.name(); // Shares the member's data. A string is a pointer to its data.
    QCOMPARE(firstMember, static_cast<const void*>(name.data_ptr()));
}

void TstAbstractTarvexCommandExecutor::virtuals_calledThroughTheBase()
{
    SelfTest executor(u"tests"_s);
    AbstractTarvexCommandExecutor& base = executor;
    TarvexCommand cmd;
    QVERIFY(!base.canExecute(cmd));
    cmd.setName(u"selfTest"_s);
    QVERIFY(base.canExecute(cmd));
    base.execute(cmd);
    QVERIFY(executor.executed == cmd);
}

void TstAbstractTarvexCommandExecutor::name_overridden_isAskedThroughTheBase()
{
    const Renamed executor;
    const AbstractTarvexCommandExecutor& base = executor;
    QCOMPARE(base.name(), u"own"_s);
    QCOMPARE(base.AbstractTarvexCommandExecutor::name(), u"given"_s);
}
QTEST_GUILESS_MAIN(TstAbstractTarvexCommandExecutor)
#include "tst_abstracttarvexcommandexecutor.moc"
