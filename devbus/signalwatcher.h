#ifndef SIGNALWATCHER_H
#define SIGNALWATCHER_H

#include <QObject>
#include <QSocketNotifier>
#include <QString>

#include <memory>

namespace tarvex::devbus {

/// Turns SIGTERM and SIGINT into a Qt signal.
class SignalWatcher : public QObject
{
    Q_OBJECT
public:
    /// Keeps the two signals from ending the process by themselves; they wait for a watcher from then on. Called before
    /// the process has further threads, since one that has not inherited this would still be ended.
    static void blockSignals();

    /// Needs the application object. When the system refuses, errorString() says why; the blocked signals then have no
    /// effect.
    explicit SignalWatcher(QObject* parent = nullptr);
    ~SignalWatcher() override;

    /// Empty when the signals are watched.
    QString errorString() const { return m_errorString; }

Q_SIGNALS:
    void endRequested();

private:
    void onActivated();

    int m_descriptor = -1;
    QString m_errorString;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace tarvex::devbus

#endif // SIGNALWATCHER_H
