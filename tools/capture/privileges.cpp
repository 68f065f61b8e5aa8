#include "privileges.h"

#include <array>
#include <grp.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tarvexcapture {

namespace {

constexpr uid_t NOBODY = 65534;

/// \return false when the program keeps ids that it should not have
bool dropIds()
{
    const uid_t user = ::getuid();
    const gid_t group = ::getgid();
    if (user != 0) {
        return ::setresgid(group, group, group) == 0 && ::setresuid(user, user, user) == 0;
    }
    // In a user namespace of its own the program may not change its groups, and "nobody" may not exist. There, root
    // without capabilities is an ordinary user.
    static_cast<void>(::setgroups(0, nullptr));
    const bool isNobody = ::setresgid(NOBODY, NOBODY, NOBODY) == 0 && ::setresuid(NOBODY, NOBODY, NOBODY) == 0;
    static_cast<void>(isNobody);
    return true;
}

bool dropCapabilities()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> none{};
    if (::syscall(SYS_capset, &header, none.data()) != 0) {
        return false;
    }
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> left{};
    if (::syscall(SYS_capget, &header, left.data()) != 0) {
        return false;
    }
    for (const __user_cap_data_struct& set : left) {
        if (set.effective != 0 || set.permitted != 0) {
            return false;
        }
    }
    return true;
}

} // namespace

bool dropPrivileges()
{
    return dropIds() && dropCapabilities() && ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
}

} // namespace tarvexcapture
