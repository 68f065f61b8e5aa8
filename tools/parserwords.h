#ifndef PARSERWORDS_H
#define PARSERWORDS_H

#include <CLI/CLI.hpp>
#include <QString>

#include <string>

/// Refuses what the parser of the command line would accept, and says what is wrong with a line.
namespace tarvexctl {

/// Makes every flag refuse a value, and lets repeatedOption() find options that are given twice. Call it after all
/// verbs are added.
void makeStrict(CLI::App& program);

/// Whether \a name, such as "--json", is an option without a value, of \a app or of a verb in it.
bool isFlagOf(const CLI::App& app, const std::string& name);

/// The name of an option that may be given once and is given more often. Empty when there is none.
QString repeatedOption(const CLI::App& program);

/// What to say about an error of the parser. Call it after parsing.
QString wordsFor(const CLI::ParseError& error, const CLI::App& program);

/// Says that \a app, the program or a group of verbs, needs a verb, and lists the verbs.
QString missingVerbWords(const CLI::App& app);

} // namespace tarvexctl

#endif // PARSERWORDS_H
