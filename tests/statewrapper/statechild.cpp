// statechild direct|default|queued: commits a state. Its receiver is connected in this way, and reads the state.
// statechild before-main: sets the state before main() begins.
// statechild at-exit: sets the state when the library is unloaded.

#include "statewrapper/statecatcher.h"

#include <QCoreApplication>
#include <QSharedPointer>

#include <cstdio>
#include <cstring>

namespace {

void say(const char* line)
{
    std::puts(line);
    std::fflush(stdout);
}

} // namespace

class ChildState : public AbstractStateWrapper
{
    Q_OBJECT
    Q_PROPERTY(int number MEMBER m_number)
public:
    tarvex::ClientState toClientState() const override { return {}; }

private:
    int m_number = 0;
};

class LastWordsState : public ChildState
{
    Q_OBJECT
public:
    ~LastWordsState() override
    {
        say("going");
        StateCatcher() << catchvalue(QStringLiteral("number"), 2) << commitstate();
        setValue(QStringLiteral("number"), 3);
        say(value(QStringLiteral("number")).toByteArray().constData());
        say("gone");
    }
};

class Reader : public QObject
{
    Q_OBJECT
public Q_SLOTS:

    void read()
    {
        say("called");
        say(StateCatcher().wrapper()->toByteArray().constData());
        QCoreApplication::quit();
    }
};

namespace {

/// Made before main() begins, like the static objects of a service.
struct EarlyUser
{
    EarlyUser()
    {
        AbstractStateWrapper::init(QSharedPointer<ChildState>::create());
        StateCatcher() << catchvalue(QStringLiteral("number"), 1) << commitstate();
    }
};

const EarlyUser earlyUser;

Qt::ConnectionType connectionType(const char* name)
{
    if (std::strcmp(name, "direct") == 0) {
        return Qt::DirectConnection;
    }
    return std::strcmp(name, "queued") == 0 ? Qt::QueuedConnection : Qt::AutoConnection;
}

int commitTo(const char* connection, int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    Reader reader;
    QObject::connect(StateCatcher().wrapper().data(), SIGNAL(stateChanged()), &reader, SLOT(read()),
                     connectionType(connection));
    StateCatcher() << catchvalue(QStringLiteral("number"), 5) << commitstate();
    say("committed");
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char** argv)
{
    const char* const mode = argc > 1 ? argv[1] : "";
    if (std::strcmp(mode, "before-main") == 0) {
        say(StateCatcher().wrapper()->toByteArray().constData());
        return 0;
    }
    if (std::strcmp(mode, "at-exit") == 0) {
        AbstractStateWrapper::init(QSharedPointer<LastWordsState>::create());
        say("leaving main");
        return 0;
    }
    return commitTo(mode, argc, argv);
}

#include "statechild.moc"
