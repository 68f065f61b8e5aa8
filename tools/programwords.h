#ifndef PROGRAMWORDS_H
#define PROGRAMWORDS_H

#include "words.h"

namespace tarvexctl {

using tarvex::programs::Words; // the texts that a user reads

} // namespace tarvexctl

#endif // PROGRAMWORDS_H
