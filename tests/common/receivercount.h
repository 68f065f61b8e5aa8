#ifndef RECEIVERCOUNT_H
#define RECEIVERCOUNT_H

#include <QObject>

/// How often a signal of any object is connected. Qt tells this to the object itself only.
class ReceiverCount : public QObject
{
public:
    /// \a signal is what SIGNAL() returns.
    static int of(const QObject* object, const char* signal) { return (object->*(&ReceiverCount::receivers))(signal); }
};

#endif // RECEIVERCOUNT_H
