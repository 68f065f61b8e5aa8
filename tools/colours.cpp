#include "colours.h"

#include <QtGlobal>

#include <unistd.h>

namespace tarvexctl {

namespace {

/// The codes that every terminal with colours knows (ECMA-48). The user's theme decides how they look.
int codeOf(Colour colour)
{
    switch (colour) {
    case Colour::Faint:
        return 2;
    case Colour::Red:
        return 31;
    case Colour::Green:
        return 32;
    case Colour::Yellow:
        return 33;
    case Colour::Magenta:
        return 35;
    case Colour::Cyan:
        return 36;
    }
    return 0;
}

} // namespace

std::optional<ColourChoice> colourChoiceFrom(const QString& word)
{
    if (word == QLatin1String("auto")) {
        return ColourChoice::Auto;
    }
    if (word == QLatin1String("always")) {
        return ColourChoice::Always;
    }
    if (word == QLatin1String("never")) {
        return ColourChoice::Never;
    }
    return std::nullopt;
}

ColourCircumstances colourCircumstances()
{
    return {::isatty(STDOUT_FILENO) != 0, qEnvironmentVariable("NO_COLOR"), qEnvironmentVariable("TERM")};
}

bool wantsColours(ColourChoice choice, const ColourCircumstances& circumstances)
{
    if (choice != ColourChoice::Auto) {
        return choice == ColourChoice::Always;
    }
    const bool canShow = !circumstances.term.isEmpty() && circumstances.term != QLatin1String("dumb");
    return circumstances.isTerminal && canShow && circumstances.noColor.isEmpty();
}

QString Palette::paint(Colour colour, const QString& text) const
{
    return m_isOn && !text.isEmpty() ? QStringLiteral("\x1b[%1m%2\x1b[0m").arg(QString::number(codeOf(colour)), text)
                                     : text;
}

} // namespace tarvexctl
