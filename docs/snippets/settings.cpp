#include <supportedclients.h>
#include <tarvexerror.h>
#include <tarvexqueryworker.h>

namespace {

constexpr int STATE_INTERVAL_MS = 10000;
constexpr int DEFAULT_LOW = 20;
constexpr int MAX_LOW = 500;

} // namespace

/// The query worker of a cash box, which warns when few coins are left.
class CashboxQueries : public tarvex::TarvexQueryWorker
{
public:
    CashboxQueries() : TarvexQueryWorker(STATE_INTERVAL_MS, tarvex::BUSNAME_CASHBOX) { }

    void doSendState() override { }

    //! [apply]
    void doApplySettings(tarvex::ClientSettings settings) override
    {
        const QVariantMap limits = settings.formattedSettings().value(QStringLiteral("limits")).toMap();
        bool isNumber = false;
        const int low = limits.value(QStringLiteral("low")).toInt(&isNumber);
        m_low = isNumber && low >= 0 && low <= MAX_LOW ? low : DEFAULT_LOW;
    }

    //! [apply]

    //! [change]
    /// Changes one setting of \a owner, which may be another service. Called in this worker's thread.
    bool change(const QString& owner, const QString& group, const QString& key, const QVariant& value)
    {
        tarvex::ClientSettings settings;
        const bool isLoaded = handler->loadSettings(owner, settings);
        // Saving replaces all that is stored. So go on only if it was loaded, or if the bus says that nothing is
        // stored.
        if (!isLoaded && handler->lastOutcome().code() != tarvex::TarvexError::NoSettingsForClient) {
            return false;
        }
        settings.setFormattedSettings({{group, QVariantMap{{key, value}}}}, false);
        settings.setOwner(owner);
        settings.setDt(QDateTime::currentDateTime());
        settings.setMailOwner(true); // The owner is told, whatever the record said before.
        return handler->saveSettings(settings);
    }

    //! [change]

private:
    int m_low = DEFAULT_LOW;
};
