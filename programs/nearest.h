#ifndef NEAREST_H
#define NEAREST_H

#include <QString>
#include <QStringList>

/// Guesses what somebody meant who has mistyped a word. A guess is shown, and never used in place of the word.
namespace tarvex::programs {

/// The candidate that the fewest typing mistakes turn into \a word: a letter that is missing, too much or another one,
/// or two neighbours that are exchanged. A letter in the other case is no mistake. Of several candidates it is the
/// first. \return empty when more than one letter in three of the longer word would be wrong
QString nearest(const QString& word, const QStringList& candidates);

/// The words "; did you mean "x"?" for a guess; empty without one.
QString guessWords(const QString& guess);

} // namespace tarvex::programs

#endif // NEAREST_H
