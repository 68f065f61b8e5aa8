#include "mockservices.h"

#include "mockservice.h"

#include <QThread>

namespace tarvex::mock {

MockServices::MockServices(QList<ServiceDescription> descriptions, std::shared_ptr<MockEvents> events)
    : AbstractWorkerController(nullptr), m_descriptions(std::move(descriptions)), m_events(std::move(events))
{
}

MockServices::~MockServices() = default;

void MockServices::doStart()
{
    for (const ServiceDescription& description : m_descriptions) {
        if (QThread* const thread = addWorkerToThread(new MockService(description, m_events))) {
            thread->start(QThread::InheritPriority);
        }
    }
}

} // namespace tarvex::mock
