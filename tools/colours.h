#ifndef COLOURS_H
#define COLOURS_H

#include <QString>

#include <optional>

/// Colours on a terminal.
namespace tarvexctl {

enum class ColourChoice {
    Auto, ///< On a terminal that can show them, unless the user does not want them.
    Always,
    Never
};

/// The value of --color: "auto", "always" or "never".
std::optional<ColourChoice> colourChoiceFrom(const QString& word);

/// What decides about Auto.
struct ColourCircumstances
{
    bool isTerminal = false; ///< Whether stdout is one.
    QString noColor;         ///< The variable NO_COLOR; see no-color.org. Empty when it is not set.
    QString term;            ///< The variable TERM.
};

/// Those of this process.
ColourCircumstances colourCircumstances();

bool wantsColours(ColourChoice choice, const ColourCircumstances& circumstances);

enum class Colour {
    Faint,
    Red,
    Yellow,
    Green,
    Cyan,
    Magenta
};

/// Puts colours around texts, or leaves them as they are. A plain value.
class Palette
{
public:
    explicit Palette(bool isOn = false) : m_isOn(isOn) { }

    bool isOn() const { return m_isOn; }

    /// The text in this colour. The text must be visible() already. An empty text stays empty.
    QString paint(Colour colour, const QString& text) const;

private:
    bool m_isOn;
};

} // namespace tarvexctl

#endif // COLOURS_H
