#include "verbs/options.h"

#include "arguments.h"
#include "failure.h"
#include "programwords.h"

#include <CLI/CLI.hpp>

#include <limits>

namespace tarvexctl {

namespace {

/// About three weeks. The longest time of a timer is a little longer.
constexpr double MAX_TIMEOUT_S = 2000000;
constexpr int MS_PER_S = 1000;

/// A whole number, at least 1, that fits into an int.
int countFrom(const QString& text)
{
    bool isNumber = false;
    const int count = text.toInt(&isNumber);
    if (!isNumber || count < 1) {
        throw Failure(WrongUse,
                      Words::tr("--count must be a whole number from 1 to %1, not \"%2\"")
                          .arg(QString::number(std::numeric_limits<int>::max()), text));
    }
    return count;
}

/// Seconds, with or without a fraction, as milliseconds.
int timeoutMsFrom(const QString& text, const char* name = "--timeout")
{
    bool isNumber = false;
    const double milliseconds = text.toDouble(&isNumber) * MS_PER_S;
    // Written with "not", so that NaN is refused too.
    if (!isNumber || !(milliseconds >= 1 && milliseconds <= MAX_TIMEOUT_S * MS_PER_S)) {
        throw Failure(WrongUse,
                      Words::tr("%1 must be a number of seconds from 0.001 to 2000000, not \"%2\"")
                          .arg(QLatin1String(name), text));
    }
    return qRound(milliseconds);
}

} // namespace

void Argument::addTo(CLI::App& parser)
{
    parser.add_option(m_name, m_value, Words::tr(m_help).toStdString())->type_name("")->required();
}

QString Argument::text() const
{
    return tarvexctl::text(m_value);
}

QString Argument::nonEmptyText() const
{
    QString value = text();
    requireName(value, QLatin1String(m_name));
    return value;
}

void OptionalText::addTo(CLI::App& parser)
{
    parser.add_option(m_name, m_value, Words::tr(m_help).toStdString())->type_name(m_valueName);
}

std::optional<QString> OptionalText::text() const
{
    return m_value ? std::optional<QString>(tarvexctl::text(*m_value)) : std::nullopt;
}

void OwnersArgument::addTo(CLI::App& parser)
{
    parser.add_option("OWNER", m_names, Words::tr("Clients' names; the own name when there is none").toStdString())
        ->type_name("");
}

QStringList OwnersArgument::names(const QString& clientName) const
{
    const QStringList names = ownersFrom(m_names);
    return names.isEmpty() ? QStringList(clientName) : names;
}

void TimeoutOption::addTo(CLI::App& parser)
{
    CLI::Option* const option = parser.add_option(m_name, m_seconds, Words::tr(m_help).toStdString())->type_name("S");
    if (m_default != nullptr) {
        option->default_str(m_default);
    }
}

int TimeoutOption::milliseconds() const
{
    return timeoutMsFrom(text(m_seconds ? *m_seconds : m_default), m_name);
}

void OptionalTimeout::addTo(CLI::App& parser)
{
    parser.add_option("--timeout", m_seconds, Words::tr(m_help).toStdString())->type_name("S");
}

std::optional<int> OptionalTimeout::milliseconds() const
{
    return m_seconds ? std::optional<int>(timeoutMsFrom(text(*m_seconds))) : std::nullopt;
}

void LimitOptions::addTo(CLI::App& parser)
{
    parser.add_option("--count", m_count, Words::tr(m_help).toStdString())->type_name("N");
    parser
        .add_option(
            "--timeout", m_seconds,
            Words::tr("Ends after so many seconds: with status 4 when nothing came by then, or less than --count")
                .toStdString())
        ->type_name("S");
}

Limits LimitOptions::limits() const
{
    Limits limits;
    if (m_count) {
        limits.count = countFrom(text(*m_count));
    }
    if (m_seconds) {
        limits.timeoutMs = timeoutMsFrom(text(*m_seconds));
    }
    return limits;
}

void addFlag(CLI::App& parser, const char* name, bool& isSet, const char* help)
{
    parser.add_flag(name, isSet, Words::tr(help).toStdString());
}

void addFooter(CLI::App& parser, const char* sentences)
{
    parser.footer(parser.get_footer() + ' ' + Words::tr(sentences).toStdString());
}

void addExample(CLI::App& parser, const std::string& commandLine)
{
    parser.footer(parser.get_footer() + ' '
                  + Words::tr("Example: %1").arg(QString::fromStdString(commandLine)).toStdString());
}

void requireName(const QString& name, const QString& what)
{
    if (name.isEmpty()) {
        throw Failure(WrongUse, Words::tr("%1 must not be empty").arg(what));
    }
}

QStringList ownersFrom(const std::vector<std::string>& arguments)
{
    QStringList owners = texts(arguments);
    for (const QString& owner : qAsConst(owners)) {
        requireName(owner, QStringLiteral("OWNER"));
    }
    return owners;
}

} // namespace tarvexctl
