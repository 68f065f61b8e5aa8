#ifndef CONTROLSTREAM_H
#define CONTROLSTREAM_H

#include <QByteArray>
#include <QObject>

namespace tarvex::devbus {

/// An answer of the control socket that has no end: it goes on until the client closes the connection.
class ControlStream : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    /// The next whole lines, no more than a turn of the bus should take; empty when there are none now. It is asked
    /// only while the client takes what it has got.
    virtual QByteArray next() = 0;

Q_SIGNALS:
    /// There are lines again.
    void ready();
};

} // namespace tarvex::devbus

#endif // CONTROLSTREAM_H
