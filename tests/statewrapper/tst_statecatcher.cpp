#include "statewrapper/statecatcher.h"

#include "literals.h"
#include "logcapture.h"
#include "markingtranslator.h"
#include "states.h"

#include <QPointer>
#include <QSharedPointer>
#include <QTest>

#include <thread>
#include <type_traits>

static_assert(std::is_empty_v<StateCatcher> && std::is_copy_assignable_v<StateCatcher>,
              "a catcher is made on the spot and holds nothing");
static_assert(std::is_empty_v<commitstate> && std::is_trivial_v<commitstate>, "a commit is a mark and nothing else");

/// Records what it is called with, in order.
class RecordingState : public PlainState
{
    Q_OBJECT
    Q_PROPERTY(int number MEMBER m_number)
    Q_PROPERTY(QDateTime moment MEMBER m_moment)
    Q_PROPERTY(QString text MEMBER m_text)
public:
    RecordingState() { connect(this, SIGNAL(stateChanged()), this, SLOT(onStateChanged()), Qt::DirectConnection); }

    void setValue(QString name, QVariant value) override
    {
        m_calls.append(name);
        PlainState::setValue(name, value);
    }

    QStringList m_calls;
    int m_number = 0;
    QDateTime m_moment;
    QString m_text;

private Q_SLOTS:

    void onStateChanged() { m_calls.append(u"committed"_s); }
};

namespace {

const QString NUMBER = u"number"_s;
const QString TEXT = u"text"_s;
const QString MOMENT = u"moment"_s;

QSharedPointer<RecordingState> initWrapper()
{
    auto state = QSharedPointer<RecordingState>::create();
    AbstractStateWrapper::init(state);
    return state;
}

} // namespace

class TstStateCatcher : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();

    void catchvalue_holdsNameAndValue();
    void catchvalue_ofDateTime_isADateTimeVariant();

    void withoutWrapper_eachItemIsReported();
    void withoutWrapper_isReportedTranslated();
    void withoutWrapper_readsAreEmptyAndSilent();

    void stream_setsEachValueThenCommits();
    void stream_isNoTransaction();
    void stream_dateTime_isStoredUnchanged();
    void stream_unknownName_isReportedByTheWrapper();
    void stream_afterANewInit_reachesTheNewWrapper();
    void commit_fromAnyThread_isEmittedThere();

    void wrapper_isASharedCopy();
    void property_readsTheCurrentWrapper();
    void toClientState_isTheCurrentWrappersRecord();

    void commit_whoseReceiverReplacesTheWrapper_keepsItToTheEnd();
    void setValue_whoseSetterReplacesTheWrapper_keepsItToTheEnd();
};

void TstStateCatcher::cleanup()
{
    AbstractStateWrapper::init({});
}

void TstStateCatcher::catchvalue_holdsNameAndValue()
{
    const catchvalue number(NUMBER, 5);
    catchvalue copy(number);
    QCOMPARE(copy.name, NUMBER);
    QCOMPARE(copy.value, QVariant(5));
    copy = catchvalue(TEXT, u"new"_s);
    QCOMPARE(copy.name, TEXT);
    QCOMPARE(copy.value, QVariant(u"new"_s));
}

void TstStateCatcher::catchvalue_ofDateTime_isADateTimeVariant()
{
    const QDateTime utc(QDate(2024, 5, 1), QTime(1, 2, 3, 456), Qt::UTC);
    const catchvalue moment(MOMENT, utc);
    QCOMPARE(moment.name, MOMENT);
    QCOMPARE(moment.value.userType(), int(QMetaType::QDateTime));
    QCOMPARE(moment.value.toDateTime(), utc);
    QCOMPARE(moment.value.toDateTime().timeSpec(), Qt::UTC);
    // An invalid date-time stays a date-time. It does not become "no value".
    QCOMPARE(catchvalue(MOMENT, QDateTime()).value.userType(), int(QMetaType::QDateTime));
}

void TstStateCatcher::withoutWrapper_eachItemIsReported()
{
    const QSharedPointer<RecordingState> former = initWrapper();
    AbstractStateWrapper::init({});
    const LogCapture log;
    StateCatcher() << catchvalue(NUMBER, 5) << commitstate();
    const QString line = u"warning: There is no any state wrapper"_s;
    QCOMPARE(log.texts(), QStringList({line, line}));
    QCOMPARE(log.lines().constFirst().category, u"default"_s);
    QCOMPARE(former->m_calls, QStringList());
}

void TstStateCatcher::withoutWrapper_isReportedTranslated()
{
    const MarkingTranslator translator;
    const LogCapture log;
    StateCatcher() << commitstate();
    const QString text = u"There is no any state wrapper"_s;
    QCOMPARE(log.texts(), QStringList(u"warning: "_s + MarkingTranslator::marked("QObject", text)));
}

void TstStateCatcher::withoutWrapper_readsAreEmptyAndSilent()
{
    const LogCapture log;
    StateCatcher catcher;
    QVERIFY(catcher.wrapper().isNull());
    QVERIFY(qAsConst(catcher).wrapper().isNull());
    QVERIFY(!catcher.property(NUMBER).isValid());
    QCOMPARE(catcher.toClientState(), tarvex::ClientState());
    QVERIFY(!catcher.toClientState().isValid());
    QCOMPARE(log.texts(), QStringList());
}

void TstStateCatcher::stream_setsEachValueThenCommits()
{
    const LogCapture log;
    const QSharedPointer<RecordingState> state = initWrapper();
    StateCatcher() << catchvalue(NUMBER, 5) << catchvalue(TEXT, u"new"_s) << commitstate() << catchvalue(NUMBER, 6)
                   << commitstate();
    QCOMPARE(state->m_calls, (QStringList{NUMBER, TEXT, u"committed"_s, NUMBER, u"committed"_s}));
    QCOMPARE(state->m_number, 6);
    QCOMPARE(state->m_text, u"new"_s);
    QCOMPARE(log.texts(), QStringList());
}

// Others can see the first values of a chain before the rest is set.
void TstStateCatcher::stream_isNoTransaction()
{
    const QSharedPointer<RecordingState> state = initWrapper();
    const StateCatcher between = StateCatcher() << catchvalue(NUMBER, 5);
    QCOMPARE(state->value(NUMBER), QVariant(5));
    QCOMPARE(state->m_calls, QStringList{NUMBER});
    StateCatcher afterCommit = between << commitstate();
    QCOMPARE(state->m_calls, (QStringList{NUMBER, u"committed"_s}));
    QCOMPARE(afterCommit.property(NUMBER), QVariant(5));
}

void TstStateCatcher::stream_dateTime_isStoredUnchanged()
{
    const QSharedPointer<RecordingState> state = initWrapper();
    const QDateTime moment(QDate(2024, 5, 1), QTime(1, 2, 3, 456), Qt::OffsetFromUTC, 7200);
    StateCatcher() << catchvalue(MOMENT, moment);
    QCOMPARE(state->m_moment, moment);
    QCOMPARE(state->m_moment.offsetFromUtc(), 7200);
    QCOMPARE(state->m_moment.timeSpec(), Qt::OffsetFromUTC);
}

void TstStateCatcher::stream_unknownName_isReportedByTheWrapper()
{
    const QSharedPointer<RecordingState> state = initWrapper();
    const LogCapture log;
    StateCatcher() << catchvalue(u"unknown"_s, 5) << catchvalue(NUMBER, 6);
    QCOMPARE(log.texts(), QStringList{u"warning: There is no property unknown"_s});
    QCOMPARE(state->m_number, 6);
}

void TstStateCatcher::stream_afterANewInit_reachesTheNewWrapper()
{
    const StateCatcher catcher;
    const QSharedPointer<RecordingState> first = initWrapper();
    catcher << catchvalue(NUMBER, 1) << commitstate();
    const QSharedPointer<RecordingState> second = initWrapper();

    catcher << catchvalue(NUMBER, 2) << commitstate();

    QCOMPARE(first->m_number, 1);
    QCOMPARE(second->m_number, 2);
    QCOMPARE(first->m_calls, (QStringList{NUMBER, u"committed"_s}));
    QCOMPARE(second->m_calls, (QStringList{NUMBER, u"committed"_s}));
}

void TstStateCatcher::commit_fromAnyThread_isEmittedThere()
{
    const QSharedPointer<RecordingState> state = initWrapper();
    std::thread::id emitter;
    connect(
        state.data(), &AbstractStateWrapper::stateChanged, this, [&emitter] { emitter = std::this_thread::get_id(); },
        Qt::DirectConnection);
    std::thread committer([] { StateCatcher() << commitstate(); });
    const std::thread::id expected = committer.get_id();
    committer.join();
    QVERIFY(emitter == expected);
}

void TstStateCatcher::wrapper_isASharedCopy()
{
    const QPointer<RecordingState> state = initWrapper().data();
    StateCatcher catcher;
    QSharedPointer<AbstractStateWrapper> copy = catcher.wrapper();
    QCOMPARE(copy.data(), state.data());
    QCOMPARE(qAsConst(catcher).wrapper().data(), state.data());

    AbstractStateWrapper::init({});

    QVERIFY(state); // The copy keeps it.
    QVERIFY(catcher.wrapper().isNull());
    copy.clear();
    QVERIFY(state.isNull());
}

void TstStateCatcher::property_readsTheCurrentWrapper()
{
    const QSharedPointer<RecordingState> state = initWrapper();
    state->m_number = 5;
    state->setObjectName(u"name"_s);
    const LogCapture log;
    QCOMPARE(StateCatcher().property(NUMBER), QVariant(5));
    QCOMPARE(StateCatcher().property(u"objectName"_s), QVariant(u"name"_s));
    QVERIFY(!StateCatcher().property(u"unknown"_s).isValid());
    QCOMPARE(log.texts(), QStringList());
}

void TstStateCatcher::toClientState_isTheCurrentWrappersRecord()
{
    const QSharedPointer<RecordingState> state = initWrapper();
    StateCatcher() << catchvalue(NUMBER, 5);
    const tarvex::ClientState record = StateCatcher().toClientState();
    QCOMPARE(record.owner(), u"printer"_s);
    QCOMPARE(int(record.stateType()), 3);
    QCOMPARE(record.state(), uR"({"moment":"","number":5,"text":""})"_s);
    QCOMPARE(record, state->toClientState());
}

void TstStateCatcher::commit_whoseReceiverReplacesTheWrapper_keepsItToTheEnd()
{
    const QPointer<RecordingState> first = initWrapper().data();
    bool alive = false;
    connect(
        first, &AbstractStateWrapper::stateChanged, this,
        [&first, &alive] {
            initWrapper();
            alive = !first.isNull();
        },
        Qt::DirectConnection);

    StateCatcher() << commitstate() << catchvalue(NUMBER, 5);

    QVERIFY(alive);
    QVERIFY(first.isNull());
    QCOMPARE(StateCatcher().property(NUMBER), QVariant(5));
}

/// Makes another wrapper the current one when a value is set, and tells whether it still lived after that.
class ResigningState : public RecordingState
{
    Q_OBJECT
public:
    explicit ResigningState(bool& alive) : m_alive(alive) { }

    void setValue(QString name, QVariant value) override
    {
        const QPointer<ResigningState> self = this;
        bool& alive = m_alive;
        initWrapper();
        alive = !self.isNull();
        if (alive) {
            RecordingState::setValue(name, value);
        }
    }

private:
    bool& m_alive;
};

void TstStateCatcher::setValue_whoseSetterReplacesTheWrapper_keepsItToTheEnd()
{
    bool alive = false;
    const QPointer<QObject> first = [&alive] {
        const auto state = QSharedPointer<ResigningState>::create(alive);
        AbstractStateWrapper::init(state);
        return state.data();
    }();

    StateCatcher() << catchvalue(NUMBER, 5);

    QVERIFY(alive);
    QVERIFY(first.isNull());
}

QTEST_GUILESS_MAIN(TstStateCatcher)

#include "tst_statecatcher.moc"
