#include "parserwords.h"

#include "arguments.h"

#include <QStringList>

#include <algorithm>

namespace tarvexctl {

namespace {

/// A part of the parser's words for a flag that is given a value.
const QLatin1String FLAG_OVERRIDE("flag override");

bool isFlag(const CLI::Option& option)
{
    return option.get_items_expected_max() == 0;
}

QStringList verbsOf(const CLI::App& app)
{
    QStringList names;
    for (const CLI::App* const verb : app.get_subcommands(nullptr)) {
        names.append(QString::fromStdString(verb->get_name()));
    }
    return names;
}

/// "a, b or c"
QString joined(const QStringList& names, QLatin1String lastWord)
{
    return names.size() < 2 ? names.join(QString())
                            : names.mid(0, names.size() - 1).join(QLatin1String(", ")) + lastWord + names.constLast();
}

/// The last verb, or group of verbs, that the command line names.
const CLI::App& innermost(const CLI::App& program)
{
    const CLI::App* app = &program;
    while (!app->get_subcommands().empty()) {
        app = app->get_subcommands().back();
    }
    return *app;
}

/// The arguments for which the parser has found no place. The "--" is not one of them.
QStringList unknownArguments(const CLI::App& program)
{
    QStringList arguments;
    for (const std::string& argument : program.remaining(true)) {
        if (argument != "--") {
            arguments.append(unmarked(argument));
        }
    }
    return arguments;
}

QString unknownWords(const QString& unknown, const CLI::App& app)
{
    if (unknown.size() > 1 && unknown.startsWith(QLatin1Char('-'))) {
        return QStringLiteral("unknown option \"%1\"; an argument that begins with a minus stands after --")
            .arg(unknown);
    }
    const QStringList verbs = verbsOf(app);
    if (verbs.isEmpty()) {
        return QStringLiteral("unexpected argument \"%1\"").arg(unknown);
    }
    if (verbs.contains(unknown)) {
        return QStringLiteral("\"%1\" stands after --, where it is no verb").arg(unknown);
    }
    return QStringLiteral("unknown verb \"%1\"; there are %2").arg(unknown, joined(verbs, QLatin1String(" and ")));
}

} // namespace

void makeStrict(CLI::App& program)
{
    for (CLI::Option* const option : program.get_options()) {
        if (isFlag(*option)) {
            option->disable_flag_override();
        } else if (option->get_items_expected_max() == 1) {
            option->take_last();
        }
    }
    for (CLI::App* const verb : program.get_subcommands(nullptr)) {
        makeStrict(*verb);
    }
}

bool isFlagOf(const CLI::App& app, const std::string& name)
{
    const CLI::Option* const option = app.get_option_no_throw(name);
    if (option != nullptr) {
        return isFlag(*option);
    }
    const std::vector<const CLI::App*> verbs = app.get_subcommands(nullptr);
    return std::any_of(verbs.begin(), verbs.end(), [&](const CLI::App* verb) { return isFlagOf(*verb, name); });
}

QString repeatedOption(const CLI::App& program)
{
    for (const CLI::Option* const option : program.get_options()) {
        if (option->nonpositional() && option->get_items_expected_max() <= 1 && option->count() > 1) {
            return QString::fromStdString(option->get_name());
        }
    }
    const std::vector<CLI::App*> verbs = program.get_subcommands();
    return verbs.empty() ? QString() : repeatedOption(*verbs.front());
}

QString wordsFor(const CLI::ParseError& error, const CLI::App& program)
{
    // If something is missing but an unknown argument is present, as in "settings show", the unknown one is reported.
    const QStringList unknown = unknownArguments(program);
    const CLI::App& app = innermost(program);
    if (!unknown.isEmpty()) {
        return unknownWords(unknown.constFirst(), app);
    }
    const bool isRequired = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    if (isRequired && !verbsOf(app).isEmpty()) {
        return missingVerbWords(app);
    }
    QString words = QString::fromUtf8(error.what());
    if (words.contains(FLAG_OVERRIDE)) {
        const QString name = words.section(QLatin1Char(' '), 0, 0); // without its hyphens
        return (name.size() == 1 ? QStringLiteral("-%1 takes no value") : QStringLiteral("--%1 takes no value"))
            .arg(name);
    }
    return words;
}

QString missingVerbWords(const CLI::App& app)
{
    return QStringLiteral("%1 needs a verb: %2")
        .arg(QString::fromStdString(app.get_name()), joined(verbsOf(app), QLatin1String(" or ")));
}

} // namespace tarvexctl
