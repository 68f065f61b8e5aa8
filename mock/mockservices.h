#ifndef MOCKSERVICES_H
#define MOCKSERVICES_H

#include "abstractworkercontroller.h"
#include "mockdescription.h"
#include "mockevents.h"

#include <QList>

#include <memory>

namespace tarvex::mock {

/// Runs stand-ins, each in a thread of its own, from doStart() to the destructor.
class MockServices : public wexcor::AbstractWorkerController
{
    Q_OBJECT
public:
    MockServices(QList<ServiceDescription> descriptions, std::shared_ptr<MockEvents> events);
    ~MockServices() override;

    void doStart() override;

private:
    const QList<ServiceDescription> m_descriptions;
    const std::shared_ptr<MockEvents> m_events;
};

} // namespace tarvex::mock

#endif // MOCKSERVICES_H
