#include <QCoreApplication>
#include <QThread>
#include <QTimer>

#include <cstdio>

// A data race like one that our code could have: Qt's event loops in two threads call two slots of ours, so that Qt's
// frames are in the call stack. Nothing orders the two calls.

namespace {

int unprotectedCount = 0;

class Counter : public QObject
{
    Q_OBJECT
public:
    Counter() : m_timer(this) { connect(&m_timer, SIGNAL(timeout()), this, SLOT(count())); }

public Q_SLOTS:

    void start() { m_timer.start(1); }

private Q_SLOTS:

    void count()
    {
        ++unprotectedCount;
        if (++m_rounds == 200) {
            thread()->quit();
        }
    }

private:
    QTimer m_timer;
    int m_rounds = 0;
};

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    Counter counters[2];
    QThread threads[2];
    for (int i = 0; i < 2; ++i) {
        counters[i].moveToThread(&threads[i]);
        QObject::connect(&threads[i], SIGNAL(started()), &counters[i], SLOT(start()));
    }
    for (QThread& thread : threads) {
        thread.start();
    }
    for (QThread& thread : threads) {
        thread.wait();
    }
    std::puts("No data race was reported.");
    return 0;
}

#include "canary_threads.moc"
