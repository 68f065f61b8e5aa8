#include "nearest.h"

#include "words.h"

#include <QVector>

#include <algorithm>

namespace tarvex::programs {

namespace {

constexpr int LETTERS_PER_MISTAKE = 3;
/// Nobody types a longer word by hand, and the time grows with the square of the length.
constexpr int MAX_LENGTH = 64;

/// How many typing mistakes lie between the words.
int mistakes(const QString& a, const QString& b)
{
    // One row of the table for each letter of a; the last two rows are enough for the next one.
    QVector<int> beforeLast;
    QVector<int> last(b.size() + 1);
    for (int column = 0; column <= b.size(); ++column) {
        last[column] = column;
    }
    for (int row = 1; row <= a.size(); ++row) {
        QVector<int> present(b.size() + 1);
        present[0] = row;
        for (int column = 1; column <= b.size(); ++column) {
            const int replaced = last.at(column - 1) + (a.at(row - 1) == b.at(column - 1) ? 0 : 1);
            present[column] = std::min({last.at(column) + 1, present.at(column - 1) + 1, replaced});
            if (row > 1 && column > 1 && a.at(row - 1) == b.at(column - 2) && a.at(row - 2) == b.at(column - 1)) {
                present[column] = std::min(present.at(column), beforeLast.at(column - 2) + 1);
            }
        }
        beforeLast = last;
        last = present;
    }
    return last.constLast();
}

} // namespace

QString nearest(const QString& word, const QStringList& candidates)
{
    QString guess;
    int fewest = MAX_LENGTH;
    for (const QString& candidate : candidates) {
        const int length = qMax(word.size(), candidate.size());
        if (length > MAX_LENGTH) {
            continue;
        }
        const int count = mistakes(word.toCaseFolded(), candidate.toCaseFolded());
        if (count <= length / LETTERS_PER_MISTAKE && count < fewest) {
            guess = candidate;
            fewest = count;
        }
    }
    return guess;
}

QString guessWords(const QString& guess)
{
    return guess.isEmpty() ? QString() : Words::tr("; did you mean \"%1\"?").arg(guess);
}

} // namespace tarvex::programs
