#include "loggermanager.h"

#include "literals.h"

#include <QLoggingCategory>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

Q_LOGGING_CATEGORY(firstCategory, "tst.first")
Q_LOGGING_CATEGORY(secondCategory, "tst.second")
Q_LOGGING_CATEGORY(otherCategory, "tst.other")

namespace {

const QString FIRST = u"tst.first"_s;
const QString SECOND = u"tst.second"_s;
const QString DEFAULT = u"default"_s;
const QString EVERY_OTHER;

/// Lines in the order in which they came, from whichever thread.
class Lines
{
public:
    void add(const QString& line)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_lines.append(line);
    }

    /// All lines so far; the next call gives only those that come after.
    QStringList take()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        QStringList lines;
        lines.swap(m_lines);
        return lines;
    }

private:
    std::mutex m_mutex;
    QStringList m_lines;
};

Lines lines;

void console(QtMsgType, const QMessageLogContext&, const QString& text)
{
    lines.add(u"console: "_s + text);
}

LoggerManager::Output output(const QString& name)
{
    return [name](QtMsgType, const QMessageLogContext&, const QString& text) { lines.add(name + u": "_s + text); };
}

/// One call of the manager.
struct Step
{
    QString category;
    LoggerManager::Output output;
    bool isRemoval = false;
};

using Steps = QList<Step>;

/// An output that puts its name, mostly that of its category, before each line.
Step set(const QString& category, const QString& name = QString())
{
    return {category, output(name.isEmpty() ? category : name)};
}

Step unset(const QString& category)
{
    return {category, nullptr, true};
}

void logEverywhere()
{
    qCWarning(firstCategory, "1");
    qCWarning(secondCategory, "2");
    qCWarning(otherCategory, "3");
    qWarning("4");
}

QStringList list(const char* text)
{
    return QString::fromLatin1(text).split(QLatin1Char('|'));
}

/// Logs when the last copy of it is destroyed.
class LogsWhenDestroyed
{
public:
    ~LogsWhenDestroyed() { qCWarning(secondCategory, "gone"); }
};

/// Calls the manager when the last copy of it is destroyed.
class CallsWhenDestroyed
{
public:
    ~CallsWhenDestroyed() { LoggerManager::removeOutput(u"tst.nobody"_s); }
};

LoggerManager::Output outputThatLogsWhenDestroyed()
{
    return [token = std::make_shared<LogsWhenDestroyed>()](QtMsgType, const QMessageLogContext&, const QString& text) {
        lines.add(u"token: "_s + text);
    };
}

QtMessageHandler installedHandler()
{
    const QtMessageHandler handler = qInstallMessageHandler(nullptr);
    qInstallMessageHandler(handler);
    return handler;
}

/// Looks, before main(), whether loading the library has installed a handler. Qt returns its own when there is none.
bool isHandlerInstalled()
{
    const QtMessageHandler before = qInstallMessageHandler(console);
    qInstallMessageHandler(nullptr);
    const QtMessageHandler none = qInstallMessageHandler(before);
    return before != none;
}

const bool handlerInstalledAtLoad = isHandlerInstalled();

/// Runs \a work in \a count threads at once, and waits for them.
void runInThreads(int count, const std::function<void()>& work)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < count; ++thread) {
        threads.emplace_back(work);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
Q_DECLARE_METATYPE(Steps)
Q_DECLARE_METATYPE(LoggerManager::Output)

class TstLoggerManager : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void load_installsNothing();
    void removeOutput_beforeTheFirstOutput_installsNothing();
    void firstOutput_whileOthersLog_losesNoLine();
    void firstOutput_installsTheManager();
    void outputs_getTheirLines_data();
    void outputs_getTheirLines();
    void output_getsLevelContextAndText_data();
    void output_getsLevelContextAndText();
    void emptyCategory_nullAndEmptyTextAreTheSame();
    void categoryBeyondAscii_isFound_data();
    void categoryBeyondAscii_isFound();
    void output_isCalledInTheLoggingThread();
    void output_thatLogs_isNotCalledByItsOwnLines();
    void output_thatLogs_reachesNoOtherOutput();
    void output_thatLogs_inAnotherThread_isStillCalled();
    void output_mayReplaceOrRemoveItself_data();
    void output_mayReplaceOrRemoveItself();
    void output_isDestroyedOutsideTheLock();
    void outputs_setAndRemovedWhileOthersLog();
    void outputs_differentCategoriesAtOnce_doNotMix();
};

void TstLoggerManager::initTestCase()
{
    qInstallMessageHandler(console);
}

void TstLoggerManager::init()
{
    lines.take();
}

void TstLoggerManager::cleanup()
{
    for (const QString& category : {FIRST, SECOND, DEFAULT, EVERY_OTHER}) {
        LoggerManager::removeOutput(category);
    }
}

// These four must stay the first, in this order, because the manager installs itself once in a process.
void TstLoggerManager::load_installsNothing()
{
    QVERIFY(!handlerInstalledAtLoad);
    QVERIFY(installedHandler() == &console);
}

void TstLoggerManager::removeOutput_beforeTheFirstOutput_installsNothing()
{
    LoggerManager::removeOutput(FIRST);
    LoggerManager::setOutputs(FIRST, nullptr);
    QVERIFY(installedHandler() == &console);
    logEverywhere();
    QCOMPARE(lines.take(), list("console: 1|console: 2|console: 3|console: 4"));
}

void TstLoggerManager::firstOutput_whileOthersLog_losesNoLine()
{
    std::atomic<int> logged{0};
    // Relaxed, so that the flag itself does not order the loggers after the installation.
    std::atomic<bool> installed{false};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([&logged, &installed] {
            int linesToCome = 100;
            while (linesToCome > 0) {
                linesToCome -= installed.load(std::memory_order_relaxed) ? 1 : 0;
                qCWarning(otherCategory, "line");
                logged.fetch_add(1, std::memory_order_relaxed);
            }
        });
    }
    while (logged.load(std::memory_order_relaxed) < 100) {
        std::this_thread::yield();
    }
    LoggerManager::setOutputs(FIRST, output(u"first"_s));
    installed.store(true, std::memory_order_relaxed);
    for (std::thread& thread : threads) {
        thread.join();
    }
    const QStringList came = lines.take();
    QCOMPARE(came.count(u"console: line"_s), logged.load());
    QCOMPARE(came.size(), logged.load());
}

void TstLoggerManager::firstOutput_installsTheManager()
{
    const QtMessageHandler manager = installedHandler();
    QVERIFY(manager != &console);
    LoggerManager::setOutputs(SECOND, output(u"second"_s));
    LoggerManager::removeOutput(SECOND);
    QVERIFY(installedHandler() == manager);
}

void TstLoggerManager::outputs_getTheirLines_data()
{
    QTest::addColumn<Steps>("steps");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("none") << Steps() << list("console: 1|console: 2|console: 3|console: 4");
    QTest::newRow("two categories") << Steps{set(FIRST), set(SECOND)}
                                    << list("console: 1|tst.first: 1|console: 2|tst.second: 2|console: 3|console: 4");
    QTest::newRow("the default category")
        << Steps{set(DEFAULT)} << list("console: 1|console: 2|console: 3|console: 4|default: 4");
    QTest::newRow("every other category")
        << Steps{set(EVERY_OTHER, u"other"_s)}
        << list("console: 1|other: 1|console: 2|other: 2|console: 3|other: 3|console: 4|other: 4");
    const Steps everyKind{set(EVERY_OTHER, u"other"_s), set(FIRST), set(DEFAULT)};
    QTest::newRow("an own output wins")
        << everyKind << list("console: 1|tst.first: 1|console: 2|other: 2|console: 3|other: 3|console: 4|default: 4");
    QTest::newRow("an own output is removed")
        << everyKind + Steps{unset(FIRST)}
        << list("console: 1|other: 1|console: 2|other: 2|console: 3|other: 3|console: 4|default: 4");
    QTest::newRow("that of every other is removed, too") << everyKind
            + Steps{unset(FIRST), unset(EVERY_OTHER)} << list("console: 1|console: 2|console: 3|console: 4|default: 4");
    QTest::newRow("set again") << Steps{set(FIRST, u"old"_s), set(FIRST, u"new"_s)}
                               << list("console: 1|new: 1|console: 2|console: 3|console: 4");
    QTest::newRow("set again and removed") << Steps{set(FIRST, u"old"_s), set(FIRST, u"new"_s), unset(FIRST)}
                                           << list("console: 1|console: 2|console: 3|console: 4");
    QTest::newRow("that of every other is set again")
        << Steps{set(EVERY_OTHER, u"old"_s), set(EVERY_OTHER, u"other"_s), set(FIRST)}
        << list("console: 1|tst.first: 1|console: 2|other: 2|console: 3|other: 3|console: 4|other: 4");
    QTest::newRow("an empty function removes")
        << Steps{set(FIRST), set(EVERY_OTHER, u"other"_s), {FIRST, LoggerManager::Output()}}
        << list("console: 1|other: 1|console: 2|other: 2|console: 3|other: 3|console: 4|other: 4");
    QTest::newRow("one of two is removed") << Steps{set(FIRST), set(SECOND), unset(FIRST)}
                                           << list("console: 1|console: 2|tst.second: 2|console: 3|console: 4");
    QTest::newRow("unknown ones are removed") << Steps{set(FIRST), unset(SECOND), unset(EVERY_OTHER), unset(SECOND)}
                                              << list("console: 1|tst.first: 1|console: 2|console: 3|console: 4");
}

// An output is set from a copy of what stands in the table.
void TstLoggerManager::outputs_getTheirLines()
{
    QFETCH(Steps, steps);
    QFETCH(QStringList, expected);
    for (const Step& step : qAsConst(steps)) {
        if (step.isRemoval) {
            LoggerManager::removeOutput(step.category);
        } else {
            LoggerManager::setOutputs(step.category, step.output);
        }
    }
    steps.clear();
    logEverywhere();
    QCOMPARE(lines.take(), expected);
}

void TstLoggerManager::output_getsLevelContextAndText_data()
{
    QTest::addColumn<int>("type");
    QTest::newRow("debug") << static_cast<int>(QtDebugMsg);
    QTest::newRow("info") << static_cast<int>(QtInfoMsg);
    QTest::newRow("warning") << static_cast<int>(QtWarningMsg);
    QTest::newRow("critical") << static_cast<int>(QtCriticalMsg);
}

void TstLoggerManager::output_getsLevelContextAndText()
{
    QFETCH(int, type);
    QStringList seen;
    LoggerManager::setOutputs(FIRST, [&seen](QtMsgType level, const QMessageLogContext& context, const QString& text) {
        seen.append(QString::number(level));
        seen.append(QString::fromUtf8(context.category));
        seen.append(QString::fromUtf8(context.file));
        seen.append(QString::number(context.line));
        seen.append(QString::fromUtf8(context.function));
        seen.append(text);
    });
    const QMessageLogger logger("door.cpp", 17, "open", "tst.first");
    switch (type) {
    case QtDebugMsg:
        logger.debug("t\u00e4xt");
        break;
    case QtInfoMsg:
        logger.info("t\u00e4xt");
        break;
    case QtWarningMsg:
        logger.warning("t\u00e4xt");
        break;
    default:
        logger.critical("t\u00e4xt");
    }
    QCOMPARE(
        seen,
        QStringList({QString::number(type), FIRST, u"door.cpp"_s, u"17"_s, u"open"_s, QString::fromUtf8("t\u00e4xt")}));
}

void TstLoggerManager::emptyCategory_nullAndEmptyTextAreTheSame()
{
    LoggerManager::setOutputs(QString(), output(u"null"_s));
    LoggerManager::setOutputs(QLatin1String(""), output(u"empty"_s));
    qWarning("4");
    QCOMPARE(lines.take(), list("console: 4|empty: 4"));
    QMessageLogger(nullptr, 0, nullptr, nullptr).warning("no category");
    QCOMPARE(lines.take(), list("console: no category|empty: no category"));
    LoggerManager::removeOutput(QString());
    qWarning("4");
    QCOMPARE(lines.take(), list("console: 4"));
}

void TstLoggerManager::categoryBeyondAscii_isFound_data()
{
    QTest::addColumn<QByteArray>("category");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("UTF-8") << QByteArray("t\xC3\xBCr") << list("console: 1|own: 1");
    QTest::newRow("UTF-8 of another") << QByteArray("t\xC3\xB6r") << list("console: 1|other: 1");
    QTest::newRow("Latin-1") << QByteArray("t\xFCr") << list("console: 1|replaced: 1");
    QTest::newRow("cut in a character") << QByteArray("t\xC3") << list("console: 1|other: 1");
}

// The names that a line and an output have are compared as Qt reads them.
void TstLoggerManager::categoryBeyondAscii_isFound()
{
    QFETCH(QByteArray, category);
    const QString name = QString::fromUtf8("t\xC3\xBCr");
    const QString replaced = u"t"_s + QChar(QChar::ReplacementCharacter) + u"r"_s;
    LoggerManager::setOutputs(name, output(u"own"_s));
    LoggerManager::setOutputs(replaced, output(u"replaced"_s));
    LoggerManager::setOutputs(EVERY_OTHER, output(u"other"_s));
    QMessageLogger(nullptr, 0, nullptr, category.constData()).warning("1");
    LoggerManager::removeOutput(name);
    LoggerManager::removeOutput(replaced);
    QFETCH(QStringList, expected);
    QCOMPARE(lines.take(), expected);
    QMessageLogger(nullptr, 0, nullptr, category.constData()).warning("1");
    QCOMPARE(lines.take(), list("console: 1|other: 1"));
}

void TstLoggerManager::output_isCalledInTheLoggingThread()
{
    std::thread::id calledIn;
    LoggerManager::setOutputs(FIRST, [&calledIn](QtMsgType, const QMessageLogContext&, const QString&) {
        calledIn = std::this_thread::get_id();
    });
    qCWarning(firstCategory, "1");
    QCOMPARE(calledIn, std::this_thread::get_id());
    std::thread::id logger;
    std::thread thread([&logger] {
        logger = std::this_thread::get_id();
        qCWarning(firstCategory, "1");
    });
    thread.join();
    QCOMPARE(calledIn, logger);
    QVERIFY(calledIn != std::this_thread::get_id());
}

// Qt calls no handler for what is logged inside of one.
void TstLoggerManager::output_thatLogs_isNotCalledByItsOwnLines()
{
    LoggerManager::setOutputs(FIRST, [](QtMsgType, const QMessageLogContext&, const QString& text) {
        lines.add(u"first: "_s + text);
        qCWarning(firstCategory, "inner line, on the error output only");
    });
    qCWarning(firstCategory, "1");
    QCOMPARE(lines.take(), list("console: 1|first: 1"));
    // And it is called again for the next line.
    qCWarning(firstCategory, "2");
    QCOMPARE(lines.take(), list("console: 2|first: 2"));
}

void TstLoggerManager::output_thatLogs_reachesNoOtherOutput()
{
    const auto logging = [](const QString& name) {
        return [name](QtMsgType, const QMessageLogContext&, const QString& text) {
            lines.add(name + text);
            qCWarning(firstCategory, "inner line, on the error output only");
            qCWarning(secondCategory, "inner line, on the error output only");
            qWarning("inner line, on the error output only");
        };
    };
    LoggerManager::setOutputs(FIRST, logging(u"first: "_s));
    LoggerManager::setOutputs(SECOND, logging(u"second: "_s));
    LoggerManager::setOutputs(EVERY_OTHER, logging(u"other: "_s));
    logEverywhere();
    QCOMPARE(lines.take(), list("console: 1|first: 1|console: 2|second: 2|console: 3|other: 3|console: 4|other: 4"));
}

void TstLoggerManager::output_thatLogs_inAnotherThread_isStillCalled()
{
    LoggerManager::setOutputs(FIRST, [](QtMsgType, const QMessageLogContext&, const QString& text) {
        lines.add(u"first: "_s + text);
        if (text == QLatin1String("1")) {
            std::thread([] { qCWarning(firstCategory, "2"); }).join();
        }
    });
    qCWarning(firstCategory, "1");
    QCOMPARE(lines.take(), list("console: 1|first: 1|console: 2|first: 2"));
}

void TstLoggerManager::output_mayReplaceOrRemoveItself_data()
{
    QTest::addColumn<LoggerManager::Output>("next");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("replace") << output(u"new"_s) << list("console: 1|old: 1|console: 2|new: 2");
    QTest::newRow("remove") << LoggerManager::Output() << list("console: 1|old: 1|console: 2");
}

void TstLoggerManager::output_mayReplaceOrRemoveItself()
{
    QFETCH(LoggerManager::Output, next);
    QFETCH(QStringList, expected);
    LoggerManager::setOutputs(FIRST,
                              [next, name = u"old: "_s](QtMsgType, const QMessageLogContext&, const QString& text) {
                                  next ? LoggerManager::setOutputs(FIRST, next) : LoggerManager::removeOutput(FIRST);
                                  // What was captured is still there.
                                  lines.add(name + text);
                              });
    qCWarning(firstCategory, "1");
    qCWarning(firstCategory, "2");
    QCOMPARE(lines.take(), expected);
}

void TstLoggerManager::output_isDestroyedOutsideTheLock()
{
    LoggerManager::setOutputs(SECOND, output(u"second"_s));
    // Each would wait for ever if the lock were held.
    LoggerManager::setOutputs(FIRST, outputThatLogsWhenDestroyed());
    LoggerManager::setOutputs(FIRST, outputThatLogsWhenDestroyed());
    QCOMPARE(lines.take(), list("console: gone|second: gone"));
    LoggerManager::removeOutput(FIRST);
    QCOMPARE(lines.take(), list("console: gone|second: gone"));
    LoggerManager::setOutputs(FIRST, outputThatLogsWhenDestroyed());
    LoggerManager::setOutputs(FIRST, nullptr);
    QCOMPARE(lines.take(), list("console: gone|second: gone"));
}

void TstLoggerManager::outputs_setAndRemovedWhileOthersLog()
{
    constexpr int ROUNDS = 300;
    const QStringList categories{FIRST, SECOND, DEFAULT, EVERY_OTHER};
    std::atomic<int> calls{0};
    std::atomic<bool> done{false};
    std::thread loggers([&done] {
        runInThreads(3, [&done] {
            while (!done) {
                logEverywhere();
            }
        });
    });
    runInThreads(3, [&calls, &categories] {
        for (int round = 0; round < ROUNDS; ++round) {
            for (const QString& category : categories) {
                // The token calls the manager in the thread that releases the output last.
                LoggerManager::setOutputs(category,
                                          [&calls, token = std::make_shared<CallsWhenDestroyed>()](
                                              QtMsgType, const QMessageLogContext&, const QString&) { ++calls; });
            }
            for (const QString& category : categories) {
                LoggerManager::removeOutput(category);
            }
        }
    });
    done = true;
    loggers.join();
    // Every output of the storm has gone with its captures.
    lines.take();
    const int callsOfTheStorm = calls;
    logEverywhere();
    QCOMPARE(calls.load(), callsOfTheStorm);
    QCOMPARE(lines.take(), list("console: 1|console: 2|console: 3|console: 4"));
}

void TstLoggerManager::outputs_differentCategoriesAtOnce_doNotMix()
{
    constexpr int LINES = 1000;
    std::atomic<int> firsts{0};
    std::atomic<int> seconds{0};
    std::atomic<int> strays{0};
    const auto counter = [&strays](std::atomic<int>& count, const char* own) {
        return [&count, &strays, own](QtMsgType, const QMessageLogContext& context, const QString&) {
            (qstrcmp(context.category, own) == 0 ? count : strays)++;
        };
    };
    LoggerManager::setOutputs(FIRST, counter(firsts, "tst.first"));
    LoggerManager::setOutputs(SECOND, counter(seconds, "tst.second"));
    runInThreads(4, [] {
        for (int line = 0; line < LINES; ++line) {
            qCWarning(firstCategory, "1");
            qCWarning(secondCategory, "2");
        }
    });
    QCOMPARE(firsts.load(), 4 * LINES);
    QCOMPARE(seconds.load(), 4 * LINES);
    QCOMPARE(strays.load(), 0);
    QCOMPARE(lines.take().size(), 8 * LINES);
}

QTEST_GUILESS_MAIN(TstLoggerManager)
#include "tst_loggermanager.moc"
