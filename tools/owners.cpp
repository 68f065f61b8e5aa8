#include "owners.h"

#include "clientguess.h"
#include "failure.h"
#include "nearest.h"
#include "output.h"
#include "programwords.h"
#include "records/tarvexerror.h"
#include "supportedclients.h"

namespace tarvexctl {

namespace {

/// What to say when the bus has refused to tell of \a owner. A client for which nothing is stored may be mistyped.
QString refusalWords(const QString& owner, const Failure& failure)
{
    const bool mayBeMistyped = failure.code() == tarvex::TarvexError::NoSettingsForClient;
    return failure.words() + (mayBeMistyped ? tarvex::programs::guessWords(likelyClient(owner)) : QString());
}

} // namespace

const QStringList& supportedClients()
{
    static const QStringList names = [] {
        // The two lists do not hold the clients that run on demand.
        QStringList all = tarvex::ALL_SUPPORTED_CLIENTS + tarvex::ALL_SUPPORTED_CLIENT_SETTINGS
            + QStringList{tarvex::BUSNAME_UPDATER, tarvex::BUSNAME_SERVICE_MENU};
        all.removeDuplicates();
        all.sort();
        return all;
    }();
    return names;
}

void tellOfKnownNamesOnly()
{
    complain(Words::tr("this bus does not list what it stores; only the %1 names that the library knows are asked "
                       "for")
                 .arg(supportedClients().size()));
}

void forEachOwner(const QStringList& owners, const std::function<void(const QString&)>& get)
{
    bool anyRefused = false;
    for (const QString& owner : owners) {
        try {
            get(owner);
        } catch (const Failure& failure) {
            if (failure.code() == 0) {
                throw;
            }
            const QString words = refusalWords(owner, failure);
            tellFailure(owners.size() > 1 ? owner + QLatin1String(": ") + words : words);
            anyRefused = true;
        }
    }
    if (anyRefused) {
        throw Failure(Refused, QString());
    }
}

} // namespace tarvexctl
