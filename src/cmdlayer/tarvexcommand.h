#ifndef TARVEXCOMMAND_H
#define TARVEXCOMMAND_H

#include "records/message.h"
#include "tarvexlib_export.h"

#include <QMetaType>
#include <QString>
#include <QVariantMap>

/// A named request that one client asks another to carry out, with arguments.
///
/// A plain value. It is registered with the meta-type system as "TarvexCommand". It is sent as the text of a
/// tarvex::Message: the compact JSON object {"cmd": name, "data": arguments}.
///
/// <!-- quote: docs/snippets/reference/commands.cpp#command -->
/// \code
/// TarvexCommand command;
/// if (TarvexCommand::incomingMessageToCmd(message, command)) {
///     worker.exec(command);
/// }
/// \endcode
///
/// \see docs/calling.md
class TARVEXLIB_EXPORT TarvexCommand
{
public:
    /// Null strings and no arguments.
    TarvexCommand();

    /// What is to be done. On the receiving side it is the name of the method that does it.
    QString name() const;
    void setName(const QString& name); ///< Sets name().

    /// The other party: the sender of an incoming command, the addressee of an outgoing one.
    QString agent() const;
    void setAgent(const QString& agent); ///< Sets agent().

    /// The identifier of the exchange. Every reply to a command has the uid of that command.
    QString uid() const;
    void setUid(const QString& uid); ///< Sets uid().

    /// The arguments.
    QVariantMap data() const;
    void setData(const QVariantMap& data); ///< Sets data().

    /// The key by which a repeated command is recognised: "agent.name.uid".
    QString cmdKey() const;

    /// True when all four fields are equal.
    bool operator==(const TarvexCommand& other) const;
    bool operator!=(const TarvexCommand& other) const; ///< The opposite of operator==().

    /// Fills \a cmd from a received message. \return whether the message carries a command.
    ///
    /// The agent and the uid are always taken from the message, the name and the data only on success. A text that is
    /// no JSON is logged as a warning with the parser's words. JSON without "cmd" is logged as "Message is not tarvex
    /// command: ".
    static bool incomingMessageToCmd(const tarvex::Message& msg, TarvexCommand& cmd);

    /// \return the message that carries this command. It is dated now, addressed to agent(), and has uid(). The sender,
    /// and a uid that is empty, are set when the message is sent.
    tarvex::Message toOutgoingMessage() const;

private:
    QString m_name;
    QString m_agent;
    QString m_uid;
    QVariantMap m_data;
};

Q_DECLARE_METATYPE(TarvexCommand)

#endif // TARVEXCOMMAND_H
