#include "parserwords.h"

#include "arguments.h"
#include "nearest.h"
#include "programwords.h"

#include <QRegularExpression>
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

/// \a pattern is "%1 or %2" or the like, for all names but the last one, and the last one.
QString joined(const QStringList& names, const QString& pattern)
{
    return names.size() < 2 ? names.join(QString())
                            : pattern.arg(names.mid(0, names.size() - 1).join(QLatin1String(", ")), names.constLast());
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

/// The long names of the options of \a app, without the hyphens.
QStringList optionsOf(const CLI::App& app)
{
    QStringList names;
    for (const CLI::Option* const option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.append(QString::fromStdString(name));
        }
    }
    return names;
}

/// The option that may be meant by \a unknown, which may have a value after "=". The options of the program may stand
/// after every verb.
QString likelyOption(const QString& unknown, const CLI::App& app, const CLI::App& program)
{
    static const QRegularExpression hyphens(QStringLiteral("^-+"));
    QString name = unknown.section(QLatin1Char('='), 0, 0);
    const QString guess = tarvex::programs::nearest(name.remove(hyphens), optionsOf(app) + optionsOf(program));
    return guess.isEmpty() ? guess : QLatin1String("--") + guess;
}

/// The verb that may be meant by \a unknown where \a app needs one. At the beginning of the line it may be a verb of
/// one or more groups without its group.
QString likelyVerb(const QString& unknown, const CLI::App& app)
{
    QString guess = tarvex::programs::nearest(unknown, verbsOf(app));
    if (!guess.isEmpty()) {
        return guess;
    }
    QStringList inGroups;
    for (const CLI::App* const group : app.get_subcommands(nullptr)) {
        if (verbsOf(*group).contains(unknown)) {
            inGroups.append(QString::fromStdString(group->get_name()) + QLatin1Char(' ') + unknown);
        }
    }
    return inGroups.join(Words::tr("\" or \""));
}

QString unknownOptionWords(const QString& unknown, const QString& guess)
{
    return guess.isEmpty()
        ? Words::tr("unknown option \"%1\"; an argument that begins with a minus stands after --").arg(unknown)
        : Words::tr("unknown option \"%1\"; did you mean \"%2\"? An argument that begins with a minus stands after --")
              .arg(unknown, guess);
}

QString unknownVerbWords(const QString& unknown, const QString& guess, const QString& verbs)
{
    return guess.isEmpty()
        ? Words::tr("unknown verb \"%1\"; there are %2").arg(unknown, verbs)
        : Words::tr("unknown verb \"%1\"; did you mean \"%2\"? There are %3").arg(unknown, guess, verbs);
}

QString unknownWords(const QString& unknown, const CLI::App& app, const CLI::App& program)
{
    if (unknown.size() > 1 && unknown.startsWith(QLatin1Char('-'))) {
        return unknownOptionWords(unknown, likelyOption(unknown, app, program));
    }
    const QStringList verbs = verbsOf(app);
    if (verbs.isEmpty()) {
        return Words::tr("unexpected argument \"%1\"").arg(unknown);
    }
    if (verbs.contains(unknown)) {
        return Words::tr("\"%1\" stands after --, where it is no verb").arg(unknown);
    }
    return unknownVerbWords(unknown, likelyVerb(unknown, app), joined(verbs, Words::tr("%1 and %2")));
}

/// The parser's own words, in the user's language.
QString ownWords(const QString& words)
{
    static const QRegularExpression required(QStringLiteral("^(\\S+) is required$"));
    static const QRegularExpression missing(QStringLiteral("^(\\S+): 1 required (\\S+) missing$"));
    QRegularExpressionMatch match = required.match(words);
    if (match.hasMatch()) {
        return Words::tr("%1 is required").arg(match.captured(1));
    }
    match = missing.match(words);
    return match.hasMatch() ? Words::tr("%1: 1 required %2 missing").arg(match.captured(1), match.captured(2)) : words;
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
        return unknownWords(unknown.constFirst(), app, program);
    }
    const bool isRequired = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    if (isRequired && !verbsOf(app).isEmpty()) {
        return missingVerbWords(app);
    }
    const QString words = QString::fromUtf8(error.what());
    if (words.contains(FLAG_OVERRIDE)) {
        const QString name = words.section(QLatin1Char(' '), 0, 0); // without its hyphens
        return (name.size() == 1 ? Words::tr("-%1 takes no value") : Words::tr("--%1 takes no value")).arg(name);
    }
    return ownWords(words);
}

QString missingVerbWords(const CLI::App& app)
{
    return Words::tr("%1 needs a verb: %2")
        .arg(QString::fromStdString(app.get_name()), joined(verbsOf(app), Words::tr("%1 or %2")));
}

} // namespace tarvexctl
