// A worker in a thread of its own, and the controller that owns it. Needs no bus.
//
// Prints:
//   started
//   3 looks at the door
//   stopped

#include <abstractworker.h>
#include <abstractworkercontroller.h>

#include <QCoreApplication>
#include <QTextStream>
#include <QThread>
#include <QTimer>

namespace {

//! [worker]
class DoorWorker : public wexcor::AbstractWorker
{
    Q_OBJECT
public:
    DoorWorker() { connect(&m_timer, SIGNAL(timeout()), this, SLOT(look())); }

    bool doStart() override
    {
        m_timer.start(10);
        return true;
    }

    bool doStop() override
    {
        m_timer.stop();
        return true;
    }

Q_SIGNALS:
    void looked();

private Q_SLOTS:

    void look() { Q_EMIT looked(); }

private:
    QTimer m_timer{this}; // A child, so that it moves to the worker's thread.
};

//! [worker]

//! [controller]
class Door : public wexcor::AbstractWorkerController
{
    Q_OBJECT
public:
    Door() : AbstractWorkerController(nullptr) { }

    void doStart() override
    {
        auto* const worker = new DoorWorker;
        connect(worker, SIGNAL(looked()), this, SLOT(onLooked()), Qt::QueuedConnection);
        if (QThread* const thread = addWorkerToThread(worker)) {
            thread->start();
        }
    }

    void processStartedWorker() override { QTextStream(stdout) << "started\n"; }

private Q_SLOTS:
    void onLooked();

private:
    int m_looks = 0;
};

//! [controller]

void Door::onLooked()
{
    if (++m_looks == 3) {
        QTextStream(stdout) << m_looks << " looks at the door\n";
        QCoreApplication::quit();
    }
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    int status = 0;
    {
        Door door;
        door.doStart();
        status = QCoreApplication::exec();
    }
    QTextStream(stdout) << "stopped\n";
    return status;
}

#include "workers.moc"
