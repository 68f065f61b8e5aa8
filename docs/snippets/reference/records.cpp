// The records that travel on the bus. Needs no bus.
//
// Prints:
//   to monitoring: Paper was changed
//   width 80, 1 entry
//   valid state: {"paperLeft":120}
//   5 There are no settings for client

#include <clientsettings.h>
#include <clientstate.h>
#include <message.h>
#include <supportedclients.h>
#include <tarvexerror.h>

#include <QTextStream>

using namespace tarvex;

namespace {

void makeMessage(QTextStream& out)
{
    //! [message]
    Message message;
    message.setReciever(BUSNAME_MONITORING);
    message.setMessage(QStringLiteral("Paper was changed"));
    //! [message]
    out << "to " << message.reciever() << ": " << message.message() << '\n';
}

void makeSettings(QTextStream& out)
{
    //! [settings]
    ClientSettings settings;
    settings.setOwner(BUSNAME_TICKET_PRINTER);
    settings.setFormattedSettings({{QStringLiteral("paper"), QVariantMap{{QStringLiteral("width"), 80}}}}, true);

    const QVariantMap paper = settings.formattedSettings().value(QStringLiteral("paper")).toMap();
    const int width = paper.value(QStringLiteral("width")).toInt();
    //! [settings]
    out << "width " << width << ", " << settings.settings().size() << " entry\n";
}

void makeState(QTextStream& out)
{
    //! [state]
    ClientState state;
    state.setStateType(ClientState::EStateType(1)); // The services agree on the numbers.
    state.setState(QStringLiteral(R"({"paperLeft":120})"));
    //! [state]
    out << (state.isValid() ? "valid state: " : "invalid state: ") << state.state() << '\n';
}

void makeError(QTextStream& out)
{
    //! [error]
    TarvexError error(TarvexError::NoSettingsForClient);
    if (error != TarvexError(TarvexError::NoError)) {
        out << error.error() << ' ' << error.description() << '\n';
    }
    //! [error]
}

} // namespace

int main()
{
    QTextStream out(stdout);
    makeMessage(out);
    makeSettings(out);
    makeState(out);
    makeError(out);
    return 0;
}
