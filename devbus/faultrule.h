#ifndef FAULTRULE_H
#define FAULTRULE_H

#include "reason.h"
#include "records/tarvexerror.h"
#include "traffic/seenframe.h"

#include <QString>

#include <optional>

namespace tarvex::devbus {

/// A fault on purpose: which frames of the bus it fits, how often it happens, and what happens then. A plain value.
///
/// The bus sends two kinds of frames: replies to requests, and pushes of messages. Handshakes are requests too.
struct FaultRule
{
    enum class Frames {
        Any, ///< All to which the effect can apply.
        Replies,
        Pushes,
    };

    enum class Often {
        Every,
        Nth,  ///< The frame that is number \a count of those that fit.
        From, ///< That one and all later ones.
        Once, ///< The first one that is met.
    };

    enum class Effect {
        Error,          ///< The request is not carried out. The reply has \a amount as its code, and \a text.
        Silence,        ///< The request is not carried out and gets no reply; a push is not sent.
        Delay,          ///< The frame, and what follows it on its connection, is sent \a amount ms later.
        OtherOperation, ///< The reply names \a text as its operation.
        SizeLine,       ///< \a text stands in the size line.
        SizeOffset,     ///< The size line says \a amount bytes more than there are; a negative number says less.
        Pieces,         ///< The frame comes in pieces of \a amount bytes, with gaps of \a gapMs.
        Cut,            ///< After \a amount bytes of the frame the connection is reset.
        Damage,         ///< \a amount bytes of the payload are changed, at the level \a damageLevel.
        PushAgain,      ///< The message is pushed once more after the client has acknowledged it.
        Drop,           ///< The connection is closed in place of the frame.
        Limit,          ///< The frame is sent at \a amount bytes a second at most.
    };

    enum class DamageLevel {
        Base64, ///< Of the payload as it is on the wire; it may be no base64 any more.
        Block,  ///< Of the compressed block inside; the payload stays base64.
    };

    // What it fits. An empty text, and no port, stands for every one.
    QString client; ///< The one that gets the frame; in a handshake the name that it asks for.
    std::optional<traffic::Port> port;
    Frames frames = Frames::Any;
    QString operation;
    QString command; ///< Of the message that is pushed, or that the client has sent.

    Often often = Often::Every;
    int count = 0;
    std::optional<double> probability; ///< From 0 to 1, for each frame that fits. Without it each of them is met.
    std::optional<quint32> seed;       ///< Of what is left to chance. The bus chooses one when there is none.

    Effect effect = Effect::Silence;
    qint64 amount = 0;
    int gapMs = 0;
    QString text;
    DamageLevel damageLevel = DamageLevel::Base64;

    /// \return why it makes no sense, in one line: a number out of its range, or a contradiction
    programs::Reason problem() const;

    /// \return NoError, or problem() in English
    TarvexError check() const;

    bool hasChance() const { return probability.value_or(1) < 1 || effect == Effect::Damage; }

    /// Whether the request takes effect, although its reply suffers.
    bool carriesOut() const { return effect != Effect::Error && effect != Effect::Silence; }

    /// What happens, in words, such as "delay of 500 ms".
    QString words() const;

    /// The text form, see readFaultRule().
    QString toText() const;
};

/// Reads the text form: words that are separated by blanks or commas, in any order. Double quotes hold a value with
/// blanks or commas together; in them \" stands for a quote, \\ for a backslash, \n, \r and \t for control characters.
///
///     client=NAME  port=query|receiver  frame=reply|push  operation=NAME  command=NAME
///     nth=N | from=N | once | every  probability=P  seed=N
///     do=error:CODE[:TEXT]  do=silence  do=delay:MS  do=operation:NAME  do=sizeline:TEXT  do=size:+N|-N
///     do=pieces:BYTES:MS  do=cut:BYTES  do=damage[:BYTES[:base64|block]]  do=again  do=drop  do=limit:BYTES
///
/// "do" must be there. \return what is wrong and what is possible, in one line; then \a rule is left as it was.
programs::Reason problemOfFaultRule(const QString& text, FaultRule& rule);

/// \return NoError, or the same in English
TarvexError readFaultRule(const QString& text, FaultRule& rule);

} // namespace tarvex::devbus

#endif // FAULTRULE_H
