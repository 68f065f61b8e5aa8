#include "completion/description.h"

#include "completion/valuekind.h"

#include <QJsonArray>

#include <cstring>

namespace tarvexctl {

namespace {

const char* const EXAMPLE = " Example: ";

QString toText(const std::string& text)
{
    return QString::fromStdString(text).simplified();
}

bool isRepeated(const CLI::Option& option)
{
    return option.get_items_expected_max() > 1;
}

QJsonObject argument(const CLI::Option& option, const std::string& verb)
{
    return {{QStringLiteral("name"), toText(option.get_name(true))},
            {QStringLiteral("help"), toText(option.get_description())},
            {QStringLiteral("isRequired"), option.get_required()},
            {QStringLiteral("isRepeated"), isRepeated(option)},
            {QStringLiteral("values"), kindName(valueKind(verb, option.get_name(true)))}};
}

QJsonArray namesOf(const CLI::Option& option)
{
    QJsonArray names;
    for (const std::string& name : option.get_snames()) {
        names.append(toText('-' + name));
    }
    for (const std::string& name : option.get_lnames()) {
        names.append(toText("--" + name));
    }
    return names;
}

QJsonObject optionObject(const CLI::Option& option, const std::string& verb)
{
    const bool isFlag = option.get_items_expected_max() == 0;
    const ValueKind kind = isFlag ? ValueKind::Nothing : valueKind(verb, option.get_name());
    return {{QStringLiteral("names"), namesOf(option)},
            {QStringLiteral("value"), isFlag ? QString() : toText(option.get_type_name())},
            {QStringLiteral("default"), isFlag ? QString() : toText(option.get_default_str())},
            {QStringLiteral("help"), toText(option.get_description())},
            {QStringLiteral("isRepeated"), isRepeated(option)},
            {QStringLiteral("values"), kindName(kind)}};
}

/// The sentences below the help of \a app, without those that it has from the one above.
std::string ownFooter(const CLI::App& app)
{
    std::string footer = ' ' + app.get_footer();
    const CLI::App* const parent = app.get_parent();
    const std::string inherited = parent == nullptr ? "" : parent->get_footer();
    const std::size_t place = inherited.empty() ? std::string::npos : footer.find(inherited);
    return place == std::string::npos ? footer : footer.erase(place, inherited.size());
}

} // namespace

std::string wordsOf(const CLI::App& app)
{
    const CLI::App* const parent = app.get_parent();
    if (parent == nullptr) {
        return "";
    }
    const std::string before = wordsOf(*parent);
    return before.empty() ? app.get_name() : before + ' ' + app.get_name();
}

QJsonObject description(const CLI::App& app)
{
    const std::string footer = ownFooter(app);
    const std::size_t example = footer.rfind(EXAMPLE);
    QJsonArray arguments;
    QJsonArray options;
    for (const CLI::Option* const option : app.get_options()) {
        if (option->get_positional()) {
            arguments.append(argument(*option, wordsOf(app)));
        } else {
            options.append(optionObject(*option, wordsOf(app)));
        }
    }
    QJsonArray verbs;
    for (const CLI::App* const verb : app.get_subcommands(nullptr)) {
        verbs.append(description(*verb));
    }
    return {{QStringLiteral("name"), toText(app.get_name())},
            {QStringLiteral("help"), toText(app.get_description())},
            {QStringLiteral("footer"), toText(footer.substr(0, example))},
            {QStringLiteral("example"),
             example == std::string::npos ? QString() : toText(footer.substr(example + std::strlen(EXAMPLE)))},
            {QStringLiteral("needsVerb"), app.get_require_subcommand_min() > 0},
            {QStringLiteral("arguments"), arguments},
            {QStringLiteral("options"), options},
            {QStringLiteral("verbs"), verbs}};
}

} // namespace tarvexctl
