#include "reason.h"

#include "words.h"

namespace tarvex::programs {

QString Reason::inEnglish() const
{
    return isEmpty() ? QString() : withArguments(QString::fromUtf8(m_text));
}

QString Reason::translated() const
{
    return isEmpty() ? QString() : withArguments(Words::tr(m_text));
}

/// Not by arg(), because an argument may hold a "%1" itself.
QString Reason::withArguments(const QString& text) const
{
    QString result;
    for (int at = 0; at < text.size(); ++at) {
        const int number = text.at(at) == QLatin1Char('%') ? text.midRef(at + 1, 1).toInt() : 0;
        if (number >= 1 && number <= m_arguments.size()) {
            result += m_arguments.at(number - 1);
            ++at;
        } else {
            result += text.at(at);
        }
    }
    return result;
}

} // namespace tarvex::programs
