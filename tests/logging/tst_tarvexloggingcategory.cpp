#include "logging/tarvexloggingcategory.h"

#include "literals.h"
#include "logcapture.h"

#include <QTest>

#include <thread>
#include <vector>

class TstTarvexLoggingCategory : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void firstUse_inManyThreads_givesOneObject();
    void names_areThoseOfTheBus();
    void functions_canBeNamedBothWays();
    void lines_carryTheirCategory();
    void levels_followTheFilterRules();
};

// This must stay the first test, because neither category may exist before.
void TstTarvexLoggingCategory::firstUse_inManyThreads_givesOneObject()
{
    constexpr int THREADS = 8;
    std::vector<const QLoggingCategory*> loggers(THREADS);
    std::vector<const QLoggingCategory*> guiLoggers(THREADS);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < THREADS; ++i) {
        threads.emplace_back([&, i] {
            loggers[i] = &LOGGER();
            guiLoggers[i] = &GUILOGGER();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (size_t i = 0; i < THREADS; ++i) {
        QCOMPARE(loggers[i], &LOGGER());
        QCOMPARE(guiLoggers[i], &GUILOGGER());
    }
    QVERIFY(&LOGGER() != &GUILOGGER());
}

void TstTarvexLoggingCategory::names_areThoseOfTheBus()
{
    QCOMPARE(LOGGER().categoryName(), "tarvexLogger");
    QCOMPARE(GUILOGGER().categoryName(), "guiLogger");
}

void TstTarvexLoggingCategory::functions_canBeNamedBothWays()
{
    QCOMPARE(&tarvex::LOGGER(), &::LOGGER());
    QCOMPARE(&tarvex::GUILOGGER(), &::GUILOGGER());
}

void TstTarvexLoggingCategory::lines_carryTheirCategory()
{
    const LogCapture log;
    qCWarning(LOGGER) << "stored";
    qCCritical(GUILOGGER) << "shown";
    QCOMPARE(log.texts(), QStringList({u"warning: stored"_s, u"critical: shown"_s}));
    QCOMPARE(log.lines().at(0).category, u"tarvexLogger"_s);
    QCOMPARE(log.lines().at(1).category, u"guiLogger"_s);
}

void TstTarvexLoggingCategory::levels_followTheFilterRules()
{
    QLoggingCategory::setFilterRules(u"tarvexLogger.debug=false\nguiLogger.info=false"_s);
    QVERIFY(!LOGGER().isDebugEnabled());
    QVERIFY(LOGGER().isInfoEnabled());
    QVERIFY(GUILOGGER().isDebugEnabled());
    QVERIFY(!GUILOGGER().isInfoEnabled());
    QLoggingCategory::setFilterRules(QString());
    QVERIFY(LOGGER().isDebugEnabled());
    QVERIFY(GUILOGGER().isInfoEnabled());
}

QTEST_GUILESS_MAIN(TstTarvexLoggingCategory)
#include "tst_tarvexloggingcategory.moc"
