// A service that tells systemd when its device has answered. Needs no bus, and runs until SIGTERM.
//
// Prints:
//   the device answers

#include <quitonsignal.h>
#include <systemdnotifier.h>

#include <QCoreApplication>
#include <QTextStream>
#include <QTimer>

namespace {

/// Answers a moment after it was asked.
class Device : public QObject
{
    Q_OBJECT
public:
    Device() { QTimer::singleShot(10, this, SIGNAL(answered())); }

Q_SIGNALS:
    void answered();
};

} // namespace

int main(int argc, char** argv)
{
    //! [main]
    QCoreApplication application(argc, argv);
    const wexcor::QuitOnSignal quitOnSignal;
    wexcor::SystemdNotifier systemdNotifier(wexcor::SystemdNotifier::Readiness::WhenTold);
    Device device;
    QObject::connect(&device, &Device::answered, &device, [&systemdNotifier] {
        systemdNotifier.setReady(); // systemd now starts the units that come after this one
        systemdNotifier.setStatus(QStringLiteral("the device answers"));
    });
    //! [main]
    QObject::connect(&device, &Device::answered, &device, [] { QTextStream(stdout) << "the device answers\n"; });
    return QCoreApplication::exec();
}

#include "notifier.moc"
