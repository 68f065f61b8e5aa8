#ifndef CELLWIDTH_H
#define CELLWIDTH_H

#include <QString>

namespace tarvexctl {

/// How many cells of a terminal a text takes: a combining character takes none, a wide one two.
int cellWidth(const QString& text);

} // namespace tarvexctl

#endif // CELLWIDTH_H
