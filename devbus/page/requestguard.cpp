#include "requestguard.h"

#include <QByteArray>
#include <QRandomGenerator>

#include <array>
#include <httplib.h>

namespace tarvex::devbus {

namespace {

constexpr int FORBIDDEN = 403;
constexpr int NOT_ALLOWED = 405;
constexpr int UNSUPPORTED_TYPE = 415;

/// The port that a browser leaves out.
constexpr int HTTP_PORT = 80;

} // namespace

RequestGuard::RequestGuard(int port, const std::string& token) : m_port(port), m_token(token) { }

std::string RequestGuard::refusal(const httplib::Request& request, int& status) const
{
    status = FORBIDDEN;
    if (request.get_header_value_count("Host") != 1 || !isOurs(request.get_header_value("Host"))) {
        return "the host of the request is not this one";
    }
    const std::size_t origins = request.get_header_value_count("Origin");
    if (origins > 1
        || (origins == 1 && request.get_header_value("Origin") != "http://" + request.get_header_value("Host"))) {
        return "the request comes from another page";
    }
    // Only browsers say this. "none" stands for an address that the user has typed or opened from outside.
    const std::size_t sites = request.get_header_value_count("Sec-Fetch-Site");
    const std::string site = request.get_header_value("Sec-Fetch-Site");
    if (sites > 1 || (sites == 1 && site != "same-origin" && site != "none")) {
        return "the request comes from another page";
    }
    if (request.method == "GET" || request.method == "HEAD") {
        return std::string();
    }
    if (request.method != "POST") {
        status = NOT_ALLOWED;
        return "this method is not known here";
    }
    if (request.get_header_value_count("X-Tarvex-Token") != 1 || !isToken(request.get_header_value("X-Tarvex-Token"))) {
        return "the token is missing or wrong; it stands in the address that the bus printed at its start";
    }
    if (request.get_header_value("Content-Type") != "application/json") {
        status = UNSUPPORTED_TYPE;
        return "the content must be application/json";
    }
    return std::string();
}

bool RequestGuard::isOurs(const std::string& host) const
{
    const std::string port = ':' + std::to_string(m_port);
    const bool isNamed = host == "127.0.0.1" + port || host == "localhost" + port;
    return isNamed || (m_port == HTTP_PORT && (host == "127.0.0.1" || host == "localhost"));
}

/// Takes as long for a wrong token as for the right one, so that nobody finds it digit by digit.
bool RequestGuard::isToken(const std::string& text) const
{
    unsigned difference = text.size() == m_token.size() ? 0 : 1;
    for (std::size_t i = 0; i < m_token.size(); ++i) {
        const char given = i < text.size() ? text[i] : '\0';
        difference |= static_cast<unsigned char>(given) ^ static_cast<unsigned char>(m_token[i]);
    }
    return difference == 0;
}

std::string newToken()
{
    std::array<quint32, 4> numbers{};
    QRandomGenerator::system()->fillRange(numbers.data(), static_cast<qsizetype>(numbers.size()));
    const QByteArray bytes(reinterpret_cast<const char*>(numbers.data()), sizeof(numbers));
    return bytes.toHex().toStdString();
}

} // namespace tarvex::devbus
