// Log lines: an output for one category, the fields of a line, and the bridge to the log service. Needs no bus.
//
// Prints:
//   tarvexLogger: 5 <TAB>no paper <TAB>{"roll":2} <TAB>\x02OK
//   tarvexLogger: reply \x02OK
//   tarvexLogger: cover|lamp
//   tarvexLogger: data {"roll":2}
//   to logger: {"cmd":"saveLog","data":{"prefix":"WARNING","text":"Out of paper"}}

#include <loggermanager.h>
#include <logtools.h>
#include <tarvexlogcreator.h>
#include <tarvexloggingcategory.h>

#include <QPointer>
#include <QTextStream>

using tarvex::Message;

namespace {

//! [output]
void show(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    Q_UNUSED(type)
    QString line = text;
    line.replace(QLatin1Char('\t'), QLatin1String("<TAB>")).replace(QLatin1Char('\n'), QLatin1Char('|'));
    QTextStream(stdout) << context.category << ": " << line << '\n';
}

void routeLines()
{
    LoggerManager::setOutputs(QStringLiteral("tarvexLogger"), show);
}

//! [output]

/// Takes the messages in place of a query worker.
class Sender : public QObject
{
    Q_OBJECT
public Q_SLOTS:

    void send(Message message)
    {
        QTextStream(stdout) << "to " << message.reciever() << ": " << message.message() << '\n';
    }
};

void showFields()
{
    const QVariant data = QVariantMap{{QStringLiteral("roll"), 2}};
    const QByteArray reply("\x02OK");
    //! [tools]
    qCWarning(LOGGER()).noquote() << 5 << logtab << "no paper" << logtab << logvariant(data) << logtab
                                  << logbinary(reply, "UTF-8");
    //! [tools]
    //! [binary]
    qCWarning(LOGGER()).noquote() << "reply" << logbinary(reply, "UTF-8"); // reply \x02OK
    //! [binary]
    //! [list]
    qCWarning(LOGGER()).noquote() << loglist({QStringLiteral("cover"), QStringLiteral("lamp")}); // two lines
    //! [list]
    //! [variant]
    qCWarning(LOGGER()).noquote() << "data" << logvariant(data); // data {"roll":2}
    //! [variant]
}

void bridge()
{
    Sender sender;
    //! [creator]
    TarvexLogCreator::init(&sender, SLOT(send(Message)), QStringLiteral("ticket_printer"), 10000);
    LoggerManager::setOutputs(QStringLiteral("tarvexLogger"), TarvexLogCreator::humanKivLog);
    qCWarning(LOGGER()).noquote() << "Out of paper";
    TarvexLogCreator::release();
    //! [creator]
}

} // namespace

int main()
{
    routeLines();
    showFields();
    bridge();
    LoggerManager::removeOutput(QStringLiteral("tarvexLogger"));
    return 0;
}

#include "loglines.moc"
