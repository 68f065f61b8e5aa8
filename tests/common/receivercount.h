#ifndef RECEIVERCOUNT_H
#define RECEIVERCOUNT_H

#include <QObject>

/// How often a signal of any object is connected; Qt shows that to the object itself only.
class ReceiverCount : public QObject
{
public:
    /// \a signal is what SIGNAL() gives.
    static int of(const QObject* object, const char* signal) { return (object->*(&ReceiverCount::receivers))(signal); }
};

#endif // RECEIVERCOUNT_H
