#include "verbs/patternoption.h"

#include "failure.h"
#include "programwords.h"

namespace tarvexctl {

std::optional<QRegularExpression> PatternOption::pattern() const
{
    const std::optional<QString> text = m_text.text();
    if (!text) {
        return std::nullopt;
    }
    QRegularExpression pattern(*text, QRegularExpression::UseUnicodePropertiesOption);
    if (!pattern.isValid()) {
        throw Failure(WrongUse,
                      Words::tr("--matches is no regular expression: %1 at character %2")
                          .arg(pattern.errorString(), QString::number(pattern.patternErrorOffset())));
    }
    return pattern;
}

} // namespace tarvexctl
