#include "client/supportedclients.h"
#include "client/tarvexcontroller.h"

#include <QDebug>

namespace {

class Service : public tarvex::TarvexController
{
public:
    Service() : TarvexController(10000, tarvex::BUSNAME_TICKET_PRINTER, nullptr) { }

    void doStart() override { }
};

} // namespace

/// A host finds it by its name. Nobody destroys the controller.
extern "C" Q_DECL_EXPORT void* makeService()
{
    auto* const service = new Service;
    qWarning("made");
    return service;
}
