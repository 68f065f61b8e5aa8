#include "client/queryoutcome.h"
#include "client/supportedclients.h"
#include "client/tarvexcontroller.h"
#include "client/tarvexmessagesreciever.h"
#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryhandler.h"
#include "client/tarvexqueryworker.h"
#include "cmdlayer/abstracttarvexcommandexecutor.h"
#include "cmdlayer/abstracttarvexcommandsworker.h"
#include "cmdlayer/tarvexcommand.h"
#include "logging/tarvexlogcreator.h"
#include "records/clientsettings.h"
#include "records/clientstate.h"
#include "records/message.h"
#include "records/tarvexerror.h"
#include "statewrapper/abstractstatewrapper.h"
#include "statewrapper/statecatcher.h"
#include "support/abstractworker.h"
#include "support/abstractworkercontroller.h"
#include "support/appversion.h"
#include "support/appversionmanager.h"
#include "support/loggermanager.h"
#include "support/logtools.h"
#include "support/quitonsignal.h"
#include "support/systemdnotifier.h"
#include "support/translations.h"
#include "tarvexlib.h"

#include <QTest>

#ifdef HAS_TESTING_KIT
#    include "testing/testbus.h"
#endif

#include <type_traits>

static_assert(std::is_same_v<TarvexLogCreator, tarvex::TarvexLogCreator>);
static_assert(std::is_same_v<std::underlying_type_t<tarvex::TarvexError::Error>, quint16>);
static_assert(std::is_same_v<std::underlying_type_t<tarvex::ClientState::EStateType>, qint8>);

namespace {

template <typename Class>
void row(const char* name, int expected)
{
    QTest::newRow(name) << static_cast<int>(sizeof(Class)) << expected;
}

template <typename Enumerator>
void value(Enumerator enumerator, const char* type, int expected)
{
    QTest::addRow("%s %d", type, expected) << static_cast<int>(enumerator) << expected;
}

/// In bytes from the object's beginning. The pointers are only compared.
int distance(const void* object, const void* member)
{
    return static_cast<int>(static_cast<const char*>(member) - static_cast<const char*>(object));
}

/// Shows the members that a service uses in its derived class.
class ShownQueryWorker : public tarvex::TarvexQueryWorker
{
public:
    ShownQueryWorker() : TarvexQueryWorker(0, QString()) { }

    void doSendState() override { }

    void doApplySettings(tarvex::ClientSettings /*settings*/) override { }

    int handlerPlace() const { return distance(this, &handler); }

    int lastStateTimePlace() const { return distance(this, &lastStateTime); }
};

} // namespace

/// Sizes and places are those of a system with pointers of 64 bits. A service allocates objects and reads members as
/// the headers were when it was built.
class TstLayout : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void class_hasItsSize_data();
    void class_hasItsSize();
    void enumerator_hasItsValue_data();
    void enumerator_hasItsValue();
    void member_hasItsPlace_data();
    void member_hasItsPlace();
};

void TstLayout::class_hasItsSize_data()
{
    QTest::addColumn<int>("actual");
    QTest::addColumn<int>("expected");
    row<wexcor::AbstractWorker>("wexcor::AbstractWorker", 48);
    row<wexcor::AbstractWorkerController>("wexcor::AbstractWorkerController", 24);
    row<wexcor::AppVersion>("wexcor::AppVersion", 16);
    row<wexcor::AppVersionManager>("wexcor::AppVersionManager", 1);
    row<wexcor::QuitOnSignal>("wexcor::QuitOnSignal", 8);
    row<wexcor::SystemdNotifier>("wexcor::SystemdNotifier", 8);
    row<wexcor::Translations>("wexcor::Translations", 1);
    row<LoggerManager>("LoggerManager", 1);
    row<logbinary>("logbinary", 16);
    row<loglist>("loglist", 8);
    row<logvariant>("logvariant", 16);
    row<bus::TarvexLib>("bus::TarvexLib", 1);
    row<tarvex::Message>("tarvex::Message", 48);
    row<tarvex::TarvexError>("tarvex::TarvexError", 16);
    row<tarvex::ClientSettings>("tarvex::ClientSettings", 40);
    row<tarvex::ClientState>("tarvex::ClientState", 40);
    row<TarvexCommand>("TarvexCommand", 32);
    row<AbstractTarvexCommandExecutor>("AbstractTarvexCommandExecutor", 24);
    row<AbstractTarvexCommandsWorker>("AbstractTarvexCommandsWorker", 96);
    row<AbstractStateWrapper>("AbstractStateWrapper", 16);
    row<catchvalue>("catchvalue", 24);
    row<commitstate>("commitstate", 1);
    row<StateCatcher>("StateCatcher", 1);
    row<tarvex::TarvexLogCreator>("tarvex::TarvexLogCreator", 24);
    row<tarvex::QueryOutcome>("tarvex::QueryOutcome", 16);
    row<tarvex::TarvexController>("tarvex::TarvexController", 32);
    row<tarvex::TarvexMessagesReciever>("tarvex::TarvexMessagesReciever", 96);
    row<tarvex::TarvexMsgWorker>("tarvex::TarvexMsgWorker", 112);
    row<tarvex::TarvexQueryHandler>("tarvex::TarvexQueryHandler", 56);
    row<tarvex::TarvexQueryWorker>("tarvex::TarvexQueryWorker", 160);
#ifdef HAS_TESTING_KIT
    row<tarvex::testing::BusFault>("tarvex::testing::BusFault", 8);
    row<tarvex::testing::TestBus>("tarvex::testing::TestBus", 8);
#endif
}

void TstLayout::class_hasItsSize()
{
    QFETCH(int, actual);
    QFETCH(int, expected);
    QCOMPARE(actual, expected);
}

void TstLayout::enumerator_hasItsValue_data()
{
    QTest::addColumn<int>("actual");
    QTest::addColumn<int>("expected");
    value(wexcor::SystemdNotifier::Readiness::WithLoop, "Readiness", 0);
    value(wexcor::SystemdNotifier::Readiness::WhenTold, "Readiness", 1);
    value(tarvex::TarvexError::Error::NoError, "TarvexError", 0);
    value(tarvex::TarvexError::Error::IncorrectRequestSize, "TarvexError", 1);
    value(tarvex::TarvexError::Error::IncorrectRequestData, "TarvexError", 2);
    value(tarvex::TarvexError::Error::UnregisteredClient, "TarvexError", 3);
    value(tarvex::TarvexError::Error::UnsupportedRequest, "TarvexError", 4);
    value(tarvex::TarvexError::Error::NoSettingsForClient, "TarvexError", 5);
    value(tarvex::TarvexError::Error::InvalidDataStorage, "TarvexError", 256);
    value(tarvex::TarvexError::Error::StorageAccessError, "TarvexError", 512);
    value(tarvex::ClientState::EStateType::NoStateType, "EStateType", -1);
    value(tarvex::QueryOutcome::Kind::Done, "QueryOutcome", 0);
    value(tarvex::QueryOutcome::Kind::NotOpen, "QueryOutcome", 1);
    value(tarvex::QueryOutcome::Kind::Unreachable, "QueryOutcome", 2);
    value(tarvex::QueryOutcome::Kind::HandshakeRefused, "QueryOutcome", 3);
    value(tarvex::QueryOutcome::Kind::Refused, "QueryOutcome", 4);
    value(tarvex::QueryOutcome::Kind::Lost, "QueryOutcome", 5);
    value(tarvex::QueryOutcome::Kind::TimedOut, "QueryOutcome", 6);
    value(tarvex::QueryOutcome::Kind::NotUnderstood, "QueryOutcome", 7);
#ifdef HAS_TESTING_KIT
    value(tarvex::testing::BusFault::DamageLevel::Base64, "DamageLevel", 0);
    value(tarvex::testing::BusFault::DamageLevel::Block, "DamageLevel", 1);
    value(tarvex::testing::TestBus::Connections::Both, "Connections", 0);
    value(tarvex::testing::TestBus::Connections::Query, "Connections", 1);
    value(tarvex::testing::TestBus::Connections::Receiver, "Connections", 2);
    QTest::newRow("DEFAULT_TIMEOUT_MS") << tarvex::testing::TestBus::DEFAULT_TIMEOUT_MS << 20000;
#endif
}

void TstLayout::enumerator_hasItsValue()
{
    QFETCH(int, actual);
    QFETCH(int, expected);
    QCOMPARE(actual, expected);
}

void TstLayout::member_hasItsPlace_data()
{
    QTest::addColumn<int>("actual");
    QTest::addColumn<int>("expected");
    const ShownQueryWorker worker;
    QTest::newRow("TarvexQueryWorker::handler") << worker.handlerPlace() << 48;
    QTest::newRow("TarvexQueryWorker::lastStateTime") << worker.lastStateTimePlace() << 96;
    const catchvalue caught{QString(), QVariant()};
    QTest::newRow("catchvalue::name") << distance(&caught, &caught.name) << 0;
    QTest::newRow("catchvalue::value") << distance(&caught, &caught.value) << 8;
}

void TstLayout::member_hasItsPlace()
{
    QFETCH(int, actual);
    QFETCH(int, expected);
    QCOMPARE(actual, expected);
}

QTEST_GUILESS_MAIN(TstLayout)
#include "tst_layout.moc"
