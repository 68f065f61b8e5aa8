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

/// What a host finds by name. The controller is for nobody to destroy.
extern "C" Q_DECL_EXPORT void* makeService()
{
    auto* const service = new Service;
    qWarning("made");
    return service;
}
