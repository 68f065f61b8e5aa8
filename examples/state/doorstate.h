#ifndef DOORSTATE_H
#define DOORSTATE_H

#include "statewrapper/abstractstatewrapper.h"

#include <QDateTime>

//! [properties]
/// The state of the door sensor: each property is one value of it.
class DoorState : public AbstractStateWrapper
{
    Q_OBJECT
    Q_PROPERTY(Door door MEMBER m_door)
    Q_PROPERTY(int openings MEMBER m_openings)
    Q_PROPERTY(QDateTime lastOpened MEMBER m_lastOpened)
public:
    enum Door {
        Closed,
        Open
    };
    Q_ENUM(Door)

    DoorState();

    tarvex::ClientState toClientState() const override;

private:
    Door m_door = Closed;
    int m_openings = 0;
    QDateTime m_lastOpened;
};

//! [properties]

#endif // DOORSTATE_H
