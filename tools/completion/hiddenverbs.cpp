#include "completion/hiddenverbs.h"

#include "commandline.h"
#include "completion/completer.h"
#include "completion/description.h"
#include "completion/shellwords.h"
#include "failure.h"
#include "output.h"
#include "programwords.h"

#include <QJsonDocument>

namespace tarvexctl {

namespace {

/// "complete SHELL -- WORD..." with the words behind the program's name, up to the one that is being typed.
constexpr int FIRST_WORD = 4;

void describe(const CLI::App& program)
{
    Output(false).writeText(QString::fromUtf8(QJsonDocument(description(program)).toJson()));
}

void complete(const CLI::App& program, int argc, char** argv)
{
    const std::optional<Shell> shell = argc > FIRST_WORD ? shellFrom(QString::fromLocal8Bit(argv[2])) : std::nullopt;
    if (!shell || qstrcmp(argv[3], "--") != 0) {
        throw Failure(WrongUse, Words::tr("complete is for the shells: complete bash|zsh|fish -- WORD..."));
    }
    ShellWords words(*shell, {argv + FIRST_WORD, argv + argc});
    Output(false).writeText(words.answer(Completer(program, words.words()).offer()));
}

} // namespace

bool runHiddenVerb(int argc, char** argv, CommandLine& line)
{
    const bool isDescribe = argc == 2 && qstrcmp(argv[1], "describe") == 0;
    const bool isComplete = argc > 1 && qstrcmp(argv[1], "complete") == 0;
    if (!isDescribe && !isComplete) {
        return false;
    }
    if (isDescribe) {
        Words::leaveInEnglish(); // the manual pages are in English, whoever builds them
    }
    CLI::App program;
    line.addTo(program);
    if (isDescribe) {
        describe(program);
    } else {
        complete(program, argc, argv);
    }
    return true;
}

} // namespace tarvexctl
