#ifndef PATTERNOPTION_H
#define PATTERNOPTION_H

#include "verbs/options.h"

#include <QRegularExpression>

#include <optional>

namespace tarvexctl {

/// A regular expression that a text must match somewhere: --matches.
class PatternOption
{
public:
    explicit PatternOption(const char* help) : m_text("--matches", help, "REGEX") { }

    void addTo(CLI::App& parser) { m_text.addTo(parser); }

    /// Throws Failure with WrongUse when it is no regular expression.
    std::optional<QRegularExpression> pattern() const;

private:
    OptionalText m_text;
};

} // namespace tarvexctl

#endif // PATTERNOPTION_H
