#include "tarvexlib.h"

#include "appversionmanager.h"

#include <QDateTime>
#include <QLocale>

namespace bus {

// Both stand in this file and in this order, because the instance writes the version.
wexcor::AppVersion TarvexLib::_version;

namespace {

// Its only purpose is to register when the library is loaded.
const TarvexLib instance; // clazy:exclude=non-pod-global-static

QString libraryName()
{
    return QStringLiteral("tarvexlib");
}

// The compiler takes both macros from SOURCE_DATE_EPOCH if that is set, so that a release can be rebuilt bit for bit.
QDateTime buildDateTime()
{
    // A one-digit day is padded with a blank ("May  1 2021"), which the parser would not accept.
    const QString text = QStringLiteral("%1 %2").arg(QStringLiteral(__DATE__), QStringLiteral(__TIME__)).simplified();
    return QLocale(QStringLiteral("en")).toDateTime(text, QStringLiteral("MMM d yyyy hh:mm:ss"));
}

} // namespace

TarvexLib::TarvexLib()
{
    if (!_version.isValid()) {
        const wexcor::AppVersion version(QStringLiteral("5.0.28"), buildDateTime().toString(Qt::ISODate));
        _version = wexcor::AppVersionManager::addVersion(libraryName(), version);
    }
    wexcor::AppVersionManager::addLocalisation(libraryName());
}

TarvexLib::~TarvexLib() = default;

wexcor::AppVersion TarvexLib::version()
{
    return _version;
}

} // namespace bus
