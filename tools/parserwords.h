#ifndef PARSERWORDS_H
#define PARSERWORDS_H

#include <CLI/CLI.hpp>
#include <QString>

#include <string>

/// What the parser of the command line leaves open: refusing what it would take, and saying what is wrong.
namespace tarvexctl {

/// To be called when all verbs are there: a flag takes no value, and repeatedOption() finds what is given twice.
void makeStrict(CLI::App& program);

/// Whether \a name, such as "--json", is an option without a value, of \a app or of a verb within.
bool isFlagOf(const CLI::App& app, const std::string& name);

/// An option of the program or of the verb that has one value or none, and is given more than once. Empty when there is
/// none.
QString repeatedOption(const CLI::App& program);

/// What to say about an error of the parser, after parsing.
QString wordsFor(const CLI::ParseError& error, const CLI::App& program);

/// That \a app, the program or a group of verbs, needs a verb, and which there are.
QString missingVerbWords(const CLI::App& app);

} // namespace tarvexctl

#endif // PARSERWORDS_H
