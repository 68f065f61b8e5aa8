#ifndef ENVELOPEGENERATOR_H
#define ENVELOPEGENERATOR_H

#include <QString>
#include <QVariantList>
#include <QVariantMap>

#include <random>

/// A type of a service's own, without a conversion to a string.
struct Plain
{
    int number = 0;
};
Q_DECLARE_METATYPE(Plain)

/// The same with one.
struct Worded
{
    QString words;
};
Q_DECLARE_METATYPE(Worded)

/// Random envelopes of all that a service can put into a variant. The same seed gives the same envelopes. Half of them
/// have only the types that are usual on the bus, because one unusual value may decide how the whole envelope is
/// written.
class EnvelopeGenerator
{
public:
    explicit EnvelopeGenerator(quint32 seed);

    QVariantMap envelope();
    QString string();

private:
    int below(int bound);

    bool oneIn(int count) { return below(count) == 0; }

    const QVariant& oneOf(const QVariantList& choices) { return choices.at(below(choices.size())); }

    QVariant value(int depth);
    QVariant container(int depth);
    QVariant scalar();
    QVariant usual();
    QVariant integer();
    QVariant real();
    QVariant deep();
    QVariantMap map(int depth);
    QVariantMap repeatedKey();
    QVariantList list(int depth);

    std::mt19937_64 m_engine;
    int m_left = 0;            ///< So many values more, about.
    bool m_hasUnusual = false; ///< In this envelope.
    QVariantList m_integers;
    QVariantList m_reals;
    QVariantList m_unusual;
};

#endif // ENVELOPEGENERATOR_H
