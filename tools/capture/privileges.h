#ifndef PRIVILEGES_H
#define PRIVILEGES_H

namespace tarvexcapture {

/// Gives up all rights that the program has beyond those of an ordinary program of its user, for good: the
/// capabilities, and the ids that came from its file. A program of root goes on as "nobody" where that user exists.
/// \return whether nothing is left
bool dropPrivileges();

} // namespace tarvexcapture

#endif // PRIVILEGES_H
