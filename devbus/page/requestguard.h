#ifndef REQUESTGUARD_H
#define REQUESTGUARD_H

#include <string>

namespace httplib {
struct Request;
}

namespace tarvex::devbus {

/// Decides which requests are answered at all.
///
/// Any web page that the developer has open can make the browser send requests to 127.0.0.1, also under a name of its
/// own that leads there. So the host that was asked for must be ours, and so must the page that asks. What changes
/// something needs the token as well, which only the developer's own page has.
class RequestGuard
{
public:
    RequestGuard(int port, const std::string& token);

    /// \return empty when \a request is to be answered; otherwise why it is not, and the answer's status.
    std::string refusal(const httplib::Request& request, int& status) const;

private:
    bool isOurs(const std::string& host) const;
    bool isToken(const std::string& text) const;

    const int m_port;
    const std::string m_token;
};

/// A text of 32 hexadecimal digits that nobody can guess.
std::string newToken();

} // namespace tarvex::devbus

#endif // REQUESTGUARD_H
