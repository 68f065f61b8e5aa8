#include "helpformatter.h"

#include "cellwidth.h"
#include "failure.h"
#include "programwords.h"

#include <sstream>

namespace tarvexctl {

namespace {

constexpr std::size_t LINE_WIDTH = 80;
/// The column where the explanations begin.
constexpr std::size_t TEXT_COLUMN = 26;
constexpr std::size_t STATUS_COLUMN = 7;
constexpr std::size_t USAGE_INDENT = 4;
const char* const NAME_INDENT = "  ";

struct StatusText
{
    ExitStatus status;
    const char* text;
};

constexpr StatusText STATUS_TEXTS[] = {
    {Done, Words::mark("done")},
    {Refused, Words::mark("refused by the bus or the other party, or stdout cannot be written")},
    {WrongUse, Words::mark("wrong use; nothing was changed")},
    {NoBus, Words::mark("no bus to be reached, a refused handshake or a lost connection")},
    {TimedOut, Words::mark("nothing, or not enough, came within the time-out")},
    {Interrupted, Words::mark("interrupted")},
};

/// In columns of a terminal: the text is UTF-8.
std::size_t widthOf(const std::string& text)
{
    return static_cast<std::size_t>(cellWidth(QString::fromStdString(text)));
}

std::string heading(const QString& words)
{
    return '\n' + words.toStdString() + '\n';
}

/// Appends the words of \a text to \a lines, whose last line is \a column wide so far. Further lines begin at
/// \a indent.
void appendWords(std::string& lines, std::size_t column, std::size_t indent, const std::string& text)
{
    std::istringstream words(text);
    bool isFirst = true;
    for (std::string word; words >> word; isFirst = false) {
        const std::size_t gap = isFirst ? 0 : 1;
        if (!isFirst && column + gap + widthOf(word) > LINE_WIDTH) {
            lines += '\n' + std::string(indent, ' ');
            column = indent;
        } else {
            lines.append(gap, ' ');
            column += gap;
        }
        lines += word;
        column += widthOf(word);
    }
    lines += '\n';
}

std::string paragraph(const std::string& text, std::size_t indent = 0)
{
    std::string lines;
    appendWords(lines, 0, indent, text);
    return lines;
}

/// A name and its explanation. A name that is too long for its column has a line of its own.
std::string entry(const std::string& name, const std::string& text, std::size_t column)
{
    std::string lines = NAME_INDENT + name;
    if (text.empty()) {
        return lines + '\n';
    }
    const std::size_t width = widthOf(lines);
    if (width + 1 > column) {
        lines += '\n' + std::string(column, ' ');
    } else {
        lines.append(column - width, ' ');
    }
    appendWords(lines, column, column, text);
    return lines;
}

} // namespace

HelpFormatter::HelpFormatter()
{
    label("Usage", Words::tr("Usage").toStdString());
    label("OPTIONS", Words::tr("OPTION...").toStdString());
    label("SUBCOMMAND", Words::tr("VERB").toStdString());
    label("Positionals", Words::tr("Arguments").toStdString());
    label("REQUIRED", Words::tr("REQUIRED").toStdString());
}

std::string HelpFormatter::make_description(const CLI::App* app) const
{
    return paragraph(app->get_description());
}

std::string HelpFormatter::make_usage(const CLI::App* app, std::string name) const
{
    return paragraph(Formatter::make_usage(app, std::move(name)), USAGE_INDENT);
}

std::string HelpFormatter::make_option(const CLI::Option* option, bool isPositional) const
{
    return entry(make_option_name(option, isPositional) + make_option_opts(option), make_option_desc(option),
                 TEXT_COLUMN);
}

std::string HelpFormatter::make_group(std::string group, bool isPositional,
                                      std::vector<const CLI::Option*> options) const
{
    return Formatter::make_group(group == "Options" ? Words::tr("Options").toStdString() : std::move(group),
                                 isPositional, std::move(options));
}

std::string HelpFormatter::make_subcommands(const CLI::App* app, CLI::AppFormatMode) const
{
    std::string lines;
    for (const CLI::App* const verb : app->get_subcommands(nullptr)) {
        lines += (lines.empty() ? heading(Words::tr("Verbs:")) : "")
            + entry(verb->get_name(), verb->get_description(), TEXT_COLUMN);
    }
    return lines;
}

std::string HelpFormatter::make_footer(const CLI::App* app) const
{
    std::string footer = paragraph(app->get_footer()) + heading(Words::tr("Exit status:"));
    for (const StatusText& status : STATUS_TEXTS) {
        footer += entry(std::to_string(status.status), Words::tr(status.text).toStdString(), STATUS_COLUMN);
    }
    return footer;
}

} // namespace tarvexctl
