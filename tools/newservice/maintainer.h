#ifndef MAINTAINER_H
#define MAINTAINER_H

#include <QString>

#include <optional>

namespace tarvexctl {

/// Who writes the service, as "Name <mail address>": from DEBFULLNAME and DEBEMAIL, as Debian's tools have it,
/// otherwise from git's configuration. Nothing when one of the two is unknown or cannot stand in a package.
std::optional<QString> maintainer();

} // namespace tarvexctl

#endif // MAINTAINER_H
