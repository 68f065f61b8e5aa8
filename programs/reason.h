#ifndef REASON_H
#define REASON_H

#include <QStringList>

namespace tarvex::programs {

/// Why something is refused, for two readers: the user reads it in the user's language, and a program that asks from
/// elsewhere gets it in English.
///
/// \code
/// const Reason reason(Words::mark("there is no fault %1"), {QString::number(number)});
/// \endcode
class Reason
{
public:
    /// No reason: nothing is refused.
    Reason() = default;

    /// \a text comes from Words::mark(). Its "%1" to "%9" stand for the \a arguments.
    Reason(const char* text, const QStringList& arguments = {}) : m_text(text), m_arguments(arguments) { }

    bool isEmpty() const { return m_text == nullptr; }

    QString inEnglish() const;
    QString translated() const;

private:
    QString withArguments(const QString& text) const;

    const char* m_text = nullptr;
    QStringList m_arguments;
};

} // namespace tarvex::programs

#endif // REASON_H
