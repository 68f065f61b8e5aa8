#ifndef DESCRIPTION_H
#define DESCRIPTION_H

#include <CLI/CLI.hpp>
#include <QJsonObject>

/// What the parser knows about the program, for those who write about it: the manual pages are made of it.
namespace tarvexctl {

/// The words that select \a app on the command line, such as "settings get". Empty for the program itself.
std::string wordsOf(const CLI::App& app);

/// The program, a group of verbs or a verb, with everything in it:
///
/// - "name", "help", "footer" (sentences that only this one has), "example" (a command line, may be empty)
/// - "needsVerb": whether one of its verbs must follow
/// - "arguments": "name", "help", "isRequired", "isRepeated", "values"
/// - "options": "names", "value" (empty for a flag), "default", "help", "isRepeated", "values"
/// - "verbs": the same again
///
/// "values" names the ValueKind of an argument or of an option's value.
QJsonObject description(const CLI::App& app);

} // namespace tarvexctl

#endif // DESCRIPTION_H
