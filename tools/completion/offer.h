#ifndef OFFER_H
#define OFFER_H

#include <QList>
#include <QString>

#include <optional>

namespace tarvexctl {

/// A word that the user may mean.
struct Candidate
{
    QString text;
    QString help;
    bool isOpen = false; ///< More of the same word follows, so the shell sets no space after it.
};

/// What is offered in place of the word that the user is typing.
struct Offer
{
    QList<Candidate> candidates; ///< Whole words. Those that do not fit the word are among them.
    /// When there is one, file names are offered as well, each after this text. The shell knows them.
    std::optional<QString> filesAfter;
};

} // namespace tarvexctl

#endif // OFFER_H
