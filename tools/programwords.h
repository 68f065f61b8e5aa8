#ifndef PROGRAMWORDS_H
#define PROGRAMWORDS_H

#include "words.h"

namespace tarvexctl {

using tarvex::programs::Words;

} // namespace tarvexctl

#endif // PROGRAMWORDS_H
