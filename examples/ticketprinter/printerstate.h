#ifndef PRINTERSTATE_H
#define PRINTERSTATE_H

#include "statewrapper/abstractstatewrapper.h"

#include <QDateTime>

/// The state of the printer. Any thread sets and reads it by StateCatcher, which takes the lock that it needs.
class PrinterState : public AbstractStateWrapper
{
    Q_OBJECT
    //! [properties]
    Q_PROPERTY(int paperLeft MEMBER m_paperLeft)
    Q_PROPERTY(double temperature MEMBER m_temperature)
    Q_PROPERTY(Status status MEMBER m_status)
    Q_PROPERTY(QDateTime lastTicket MEMBER m_lastTicket)
public:
    enum Status {
        Ready,
        PaperLow,
        OutOfPaper
    };
    Q_ENUM(Status)
    //! [properties]

    static constexpr int PAPER_ROLL = 100; ///< In tickets. A start counts as a new roll.
    static constexpr double ROOM_CELSIUS = 21;

    PrinterState();

    /// What the bus keeps: the status as the type, and all values as JSON.
    tarvex::ClientState toClientState() const override;

private:
    int m_paperLeft = PAPER_ROLL;        ///< In tickets.
    double m_temperature = ROOM_CELSIUS; ///< Of the print head, in degrees Celsius.
    Status m_status = Ready;
    QDateTime m_lastTicket; ///< Invalid until a ticket was printed.
};

#endif // PRINTERSTATE_H
