#include "storedsettings.h"

#include "busclient.h"
#include "output.h"

namespace tarvexctl {

bool isSameRecord(const OptionalSettings& one, const OptionalSettings& other)
{
    // Comparing the variants themselves would find the number 80 and the text "80" to be the same.
    return one.has_value() == other.has_value()
        && (!one || jsonText(one->toVariantMap()) == jsonText(other->toVariantMap()));
}

StoredChange changeOf(const OptionalSettings& now)
{
    return now ? StoredChange::Saved : StoredChange::Removed;
}

StoredChange changeSince(const OptionalSettings& before, const QString& owner, BusClient& bus)
{
    const OptionalSettings now = bus.loadSettings(owner);
    return isSameRecord(now, before) ? StoredChange::None : changeOf(now);
}

} // namespace tarvexctl
