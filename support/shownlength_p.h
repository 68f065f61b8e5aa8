#ifndef SHOWNLENGTH_P_H
#define SHOWNLENGTH_P_H

namespace wexcor {

/// A log line shows at most this many characters of one value, because values come from the bus and may be of any
/// length.
constexpr int MAX_SHOWN_LENGTH = 65536;

} // namespace wexcor

#endif // SHOWNLENGTH_P_H
