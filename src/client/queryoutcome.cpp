#include "client/queryoutcome.h"

#include <QStringList>

namespace tarvex {

namespace {

QString words(QueryOutcome::Kind kind)
{
    switch (kind) {
    case QueryOutcome::Done:
        return QStringLiteral("done");
    case QueryOutcome::NotOpen:
        return QStringLiteral("not open");
    case QueryOutcome::Unreachable:
        return QStringLiteral("unreachable");
    case QueryOutcome::HandshakeRefused:
        return QStringLiteral("handshake refused");
    case QueryOutcome::Refused:
        return QStringLiteral("refused");
    case QueryOutcome::Lost:
        return QStringLiteral("connection lost");
    case QueryOutcome::TimedOut:
        return QStringLiteral("timed out");
    case QueryOutcome::NotUnderstood:
        return QStringLiteral("reply not understood");
    }
    return QString();
}

} // namespace

QueryOutcome::QueryOutcome(Kind kind, quint16 code, const QString& text) : m_kind(kind), m_code(code), m_text(text) { }

QueryOutcome::Kind QueryOutcome::kind() const
{
    return m_kind;
}

bool QueryOutcome::isDone() const
{
    return m_kind == Done;
}

quint16 QueryOutcome::code() const
{
    return m_code;
}

QString QueryOutcome::text() const
{
    return m_text;
}

QString QueryOutcome::toString() const
{
    QStringList details;
    if (m_code != 0) {
        details.append(QString::number(m_code));
    }
    if (!m_text.isEmpty()) {
        details.append(m_text);
    }
    return details.isEmpty() ? words(m_kind) : words(m_kind) + QLatin1String(": ") + details.join(QLatin1Char(' '));
}

bool QueryOutcome::operator==(const QueryOutcome& other) const
{
    return m_kind == other.m_kind && m_code == other.m_code && m_text == other.m_text;
}

bool QueryOutcome::operator!=(const QueryOutcome& other) const
{
    return !(*this == other);
}

} // namespace tarvex
