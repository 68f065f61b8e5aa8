#ifndef SERVICENAME_H
#define SERVICENAME_H

#include <QString>

namespace tarvexctl {

/// The name of a new service, and the names that are made of it.
class ServiceName
{
public:
    /// The system allows no longer name for the user under which systemd runs the service.
    static constexpr int MAX_LENGTH = 31;

    /// Throws Failure with WrongUse for a name of which not all of the others can be made.
    explicit ServiceName(const QString& name);

    /// On the bus: the name as it was given, such as "ticket_printer".
    QString client() const { return m_name; }

    /// Of the program, the package, the unit and the unit's user: "ticket-printer".
    QString package() const;

    /// What the names of its classes begin with: "TicketPrinter".
    QString classPrefix() const;

    /// What the names of its source files begin with: "ticketprinter".
    QString filePrefix() const;

private:
    const QString m_name;
};

} // namespace tarvexctl

#endif // SERVICENAME_H
