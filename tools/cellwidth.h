#ifndef CELLWIDTH_H
#define CELLWIDTH_H

#include <QString>

namespace tarvexctl {

/// How many cells a text takes on a terminal. A combining character takes none, a wide character takes two.
int cellWidth(const QString& text);

} // namespace tarvexctl

#endif // CELLWIDTH_H
