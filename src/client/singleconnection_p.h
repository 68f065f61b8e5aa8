#ifndef SINGLECONNECTION_P_H
#define SINGLECONNECTION_P_H

#include <QObject>

namespace tarvex {

/// Connects, after it has removed the same connection if there is one. So a worker that is started a hundred times
/// still hears each signal once. Takes what SIGNAL() and SLOT() give.
inline void connectOnce(const QObject* sender, const char* signal, const QObject* receiver, const char* member)
{
    QObject::disconnect(sender, signal, receiver, member);
    QObject::connect(sender, signal, receiver, member);
}

} // namespace tarvex

#endif // SINGLECONNECTION_P_H
