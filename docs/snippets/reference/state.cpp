// The state of a service, set from anywhere. Needs no bus: main() shows what would be reported.
//
// Prints:
//   {"coverOpen":true,"paperLeft":119}
//   {"coverOpen":true,"paperLeft":119}
//   paper left 119

#include <abstractstatewrapper.h>
#include <statecatcher.h>

#include <QCoreApplication>
#include <QTextStream>

namespace {

//! [wrapper]
class PrinterState : public AbstractStateWrapper
{
    Q_OBJECT
    Q_PROPERTY(int paperLeft MEMBER m_paperLeft)
    Q_PROPERTY(bool coverOpen MEMBER m_coverOpen)
public:
    tarvex::ClientState toClientState() const override
    {
        tarvex::ClientState state;
        state.setStateType(tarvex::ClientState::EStateType(1)); // The services agree on the numbers.
        state.setState(toString());                             // {"coverOpen":false,"paperLeft":120}
        return state;
    }

private:
    int m_paperLeft = 120;
    bool m_coverOpen = false;
};

//! [wrapper]

/// Takes the place of the query worker.
class QueryWorker : public QObject
{
    Q_OBJECT
public Q_SLOTS:

    void sendState()
    {
        QTextStream(stdout) << StateCatcher().toClientState().state() << '\n';
        QCoreApplication::quit();
    }
};

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QueryWorker queryWorker;
    //! [init]
    // Once, before the threads that use it are started. The connection must be queued.
    const auto state = QSharedPointer<PrinterState>::create();
    AbstractStateWrapper::init(state);
    QObject::connect(state.data(), SIGNAL(stateChanged()), &queryWorker, SLOT(sendState()), Qt::QueuedConnection);
    //! [init]

    //! [catcher]
    StateCatcher() << catchvalue(QStringLiteral("paperLeft"), 119) << commitstate();

    const int paperLeft = StateCatcher().property(QStringLiteral("paperLeft")).toInt();
    //! [catcher]
    //! [value]
    StateCatcher() << catchvalue(QStringLiteral("coverOpen"), true);
    //! [value]

    //! [commit]
    StateCatcher() << commitstate(); // announces what was set before, also elsewhere
    //! [commit]
    const int status = QCoreApplication::exec();
    QTextStream(stdout) << "paper left " << paperLeft << '\n';
    AbstractStateWrapper::init({});
    return status;
}

#include "state.moc"
