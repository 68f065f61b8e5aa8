#ifndef FAULTS_H
#define FAULTS_H

#include "faultrule.h"

#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>
#include <random>
#include <vector>

namespace tarvex::devbus {

/// What a frame has met.
struct Fault
{
    int number = 0; ///< Of its rule.
    FaultRule rule;
    quint32 random = 0; ///< For what is left to chance in the effect.

    /// "fault 3: delay of 500 ms"
    QString words() const;
};

/// The rules of a bus for faults on purpose, and what has come of them.
///
/// Every rule counts the frames that fit it, and decides for each of them whether its turn has come. Of the rules whose
/// turn it is, the latest one applies. So a rule does the same whatever other rules there are. With the seeds, the same
/// frames in the same order meet the same faults.
class Faults
{
public:
    static constexpr int MAX_RULES = 256;

    /// What may meet a fault.
    struct Occasion
    {
        enum Kind {
            Reply,        ///< A request has come that the bus would carry out and answer.
            Push,         ///< A message is to be pushed.
            Acknowledged, ///< A client has acknowledged a push.
        };

        Kind kind;
        traffic::Port port;
        const QString& client;
        const QString& operation;
        const QVariantMap& data; ///< Of the request, or of the push.
    };

    struct Entry
    {
        int number = 0;
        FaultRule rule;  ///< With its seed.
        qint64 hits = 0; ///< How often it has applied.
    };

    /// Adds a rule after the others, and chooses its seed when it needs one and has none. \return NoError, or why it
    /// cannot, in one line
    TarvexError add(FaultRule rule);
    /// Removes these rules. \return NoError; or which one is not there, and then none is removed
    TarvexError remove(const QList<int>& numbers);
    void clear();

    /// In their order. A number is given once, and stands for the same rule for good.
    QList<Entry> entries() const;

    /// \return the fault that applies, and counts it
    std::optional<Fault> meet(const Occasion& occasion);

    /// Whether there is a rule for messages that are acknowledged.
    bool hasPushAgain() const;

private:
    struct Rule
    {
        int number = 0;
        FaultRule rule;
        std::mt19937 random;
        qint64 fits = 0;
        qint64 hits = 0;
        quint32 effectRandom = 0; ///< For the effect on the frame that was looked at last.
    };

    static bool isDue(Rule& rule);

    std::vector<Rule> m_rules;
    int m_lastNumber = 0;
};

} // namespace tarvex::devbus

#endif // FAULTS_H
