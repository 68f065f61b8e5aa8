#include "mockwords.h"

#include <QVector>

#include <algorithm>
#include <utility>

namespace tarvex::mock {

namespace {

/// How many characters must be inserted, removed or replaced to make one text of the other.
int distance(const QString& one, const QString& other)
{
    QVector<int> row(other.size() + 1);
    for (int column = 0; column < row.size(); ++column) {
        row[column] = column;
    }
    for (int line = 0; line < one.size(); ++line) {
        int diagonal = std::exchange(row[0], line + 1);
        for (int column = 0; column < other.size(); ++column) {
            const int replaced = diagonal + (one.at(line) == other.at(column) ? 0 : 1);
            diagonal = row.at(column + 1);
            row[column + 1] = std::min({replaced, diagonal + 1, row.at(column) + 1});
        }
    }
    return row.last();
}

constexpr int MAX_COMPARED_LENGTH = 40; ///< Longer names were not mistyped.

} // namespace

QString hint(const QString& name, const QStringList& known)
{
    if (name.size() <= MAX_COMPARED_LENGTH) {
        const auto nearest = std::min_element(known.begin(), known.end(), [&name](const auto& one, const auto& other) {
            return distance(name.toLower(), one.toLower()) < distance(name.toLower(), other.toLower());
        });
        if (nearest != known.end() && distance(name.toLower(), nearest->toLower()) <= nearest->size() / 2) {
            return QStringLiteral("; is \"%1\" meant?").arg(*nearest);
        }
    }
    return QStringLiteral("; there are: %1").arg(known.join(QLatin1String(", ")));
}

} // namespace tarvex::mock
