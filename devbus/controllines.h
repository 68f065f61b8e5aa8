#ifndef CONTROLLINES_H
#define CONTROLLINES_H

#include <QByteArray>
#include <QString>
#include <QVariantMap>

/// The lines of which an answer of the control socket consists.
namespace tarvex::devbus::controllines {

QByteArray item(const QVariantMap& item);
QByteArray done();
QByteArray error(const QString& text);

} // namespace tarvex::devbus::controllines

#endif // CONTROLLINES_H
