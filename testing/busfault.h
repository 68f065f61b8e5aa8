#ifndef BUSFAULT_H
#define BUSFAULT_H

#include "records/tarvexerror.h"
#include "tarvextesting_export.h"

#include <QMetaType>
#include <QSharedDataPointer>
#include <QString>

namespace tarvex::testing {

struct FaultData;

/// A fault on purpose, for TestBus::addFault(): what happens, to which frames of the bus, and how often.
///
/// The bus sends two kinds of frames: replies to the requests of clients, handshakes included, and pushes of messages.
/// Without further words a fault happens to every frame to which it can. Each function that narrows this returns a
/// changed copy. A plain value.
///
/// <!-- quote: docs/snippets/reference/tst_printer.cpp#fault -->
/// \code
/// bus.addFault(BusFault::delay(50).forClient(QStringLiteral("printer")).forOperation(QStringLiteral("sendMessage")));
/// bus.addFault(BusFault::pushAgain().forCommand(QStringLiteral("print")).once());
/// \endcode
///
/// \see docs/faults.md
class TARVEXTESTING_EXPORT BusFault
{
public:
    /// Which bytes of a payload are damaged.
    enum class DamageLevel {
        Base64, ///< Those on the wire; they may be no base64 any more.
        Block,  ///< Those of the compressed block inside; the payload stays base64.
    };

    /// The same as silence().
    BusFault();
    BusFault(const BusFault& other);            ///< The same fault.
    BusFault& operator=(const BusFault& other); ///< The same fault.
    ~BusFault();

    /// \name What happens
    /// With error() and silence() the bus does not carry the request out. With all others it does, and the frame
    /// suffers.
    ///@{

    /// The reply has this code. An empty \a text stands for the bus's own words for the code.
    static BusFault error(tarvex::TarvexError::Error code, const QString& text = {});
    /// There is no reply. A service waits 30000 ms for it. A push is not sent, and is repeated after 5000 ms.
    static BusFault silence();
    /// The frame is sent so many ms later, and what follows on its connection after it. Other clients do not wait.
    static BusFault delay(int ms);
    /// The reply names another operation.
    static BusFault otherOperation(const QString& operation);
    /// This text stands where the size of the payload should.
    static BusFault sizeLine(const QString& text);
    /// The frame says that its payload has so many bytes more than it has, or fewer with a negative number.
    static BusFault sizeOffset(int bytes);
    /// The frame comes in pieces of so many bytes, with gaps of \a gapMs.
    static BusFault pieces(int bytes, int gapMs);
    /// The connection is reset after so many bytes of the frame.
    static BusFault cut(int bytes);
    /// So many bytes of the payload are changed, so that nobody can read it.
    static BusFault damage(int bytes = 3, DamageLevel level = DamageLevel::Base64);
    /// The message is pushed once more after the client has acknowledged it.
    static BusFault pushAgain();
    /// The connection is closed in place of the frame.
    static BusFault drop();
    /// The frame trickles.
    static BusFault limit(int bytesPerSecond);

    ///@}
    /// \name To which frames
    /// An empty text stands for every one.
    ///@{

    /// Those to this client.
    BusFault forClient(const QString& client) const;
    /// Replies to this operation, for example "loadState".
    BusFault forOperation(const QString& operation) const;
    /// Pushes of messages with this command, and replies to clients that send such a message.
    BusFault forCommand(const QString& command) const;
    /// Those on port 45535: the replies to the requests of clients.
    BusFault onQueryPort() const;
    /// Those on port 45537: the pushes, and the replies to the handshakes there.
    BusFault onReceiverPort() const;
    /// Replies only.
    BusFault forReplies() const;
    /// Pushes of messages only.
    BusFault forPushes() const;

    ///@}
    /// \name How often
    /// Of nth(), from() and once() the last one counts.
    ///@{

    /// To the frame of this number among those that fit, counted from 1.
    BusFault nth(int number) const;
    /// To that frame and all later ones.
    BusFault from(int number) const;
    /// To the first frame that fits.
    BusFault once() const;

    /// From 0 to 1, for each frame that fits. With the same seed the same frames meet the fault each time.
    BusFault withProbability(double probability, quint32 seed) const;

    ///@}

    /// The rule in one line, as `tarvexctl fault list` shows it.
    QString text() const;

private:
    friend class BusHost;

    Q_DECL_HIDDEN explicit BusFault(FaultData* data);

    QSharedDataPointer<FaultData> d;
};

} // namespace tarvex::testing

Q_DECLARE_METATYPE(tarvex::testing::BusFault)

#endif // BUSFAULT_H
