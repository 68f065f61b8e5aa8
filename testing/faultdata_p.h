#ifndef FAULTDATA_P_H
#define FAULTDATA_P_H

#include "faultrule.h"

#include <QSharedData>

#include <utility>

namespace tarvex::testing {

/// What a BusFault is made of.
struct FaultData : QSharedData
{
    explicit FaultData(devbus::FaultRule value) : rule(std::move(value)) { }

    devbus::FaultRule rule;
};

} // namespace tarvex::testing

#endif // FAULTDATA_P_H
