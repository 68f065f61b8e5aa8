#ifndef STOREDSETTINGS_H
#define STOREDSETTINGS_H

#include "settingsdifference.h"

#include <QString>

/// Whether what is stored for a client was changed by somebody else. The bus has no lock, so a verb that saves asks
/// this directly before it saves.
namespace tarvexctl {

class BusClient;

/// Whether both are the same record, the date included, or both are missing.
bool isSameRecord(const OptionalSettings& one, const OptionalSettings& other);

enum class StoredChange {
    None,
    Saved,
    Removed
};

/// What was done to a record that is not what it was. It was removed when it is missing \a now.
StoredChange changeOf(const OptionalSettings& now);

/// Loads what is stored for \a owner. \return changeOf() it; None when it is \a before, as it was loaded before.
/// Throws Failure.
StoredChange changeSince(const OptionalSettings& before, const QString& owner, BusClient& bus);

} // namespace tarvexctl

#endif // STOREDSETTINGS_H
