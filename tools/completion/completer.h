#ifndef COMPLETER_H
#define COMPLETER_H

#include "completion/offer.h"
#include "completion/valuekind.h"

#include <CLI/CLI.hpp>
#include <QStringList>

#include <set>

namespace tarvexctl {

/// Understands a command line that is not finished, and says what may stand in place of its last word. It does not
/// judge: what is wrong in the words before is passed over.
class Completer
{
public:
    /// \a words follow the program's name; the last one is being typed and may be empty. \a program must live as long.
    Completer(const CLI::App& program, const QStringList& words);

    /// Asks the bus where the answer needs it.
    Offer offer() const;

private:
    void take(const QString& word);
    void takeOption(const QString& word);
    const CLI::Option* findOption(const std::string& name) const;
    const CLI::Option* argument() const;
    void addValues(ValueKind kind, const std::string& name, const QString& before, Offer& offer) const;
    void addOptionValues(const CLI::Option& option, const QString& before, Offer& offer) const;
    void addOptions(Offer& offer) const;
    void addArguments(Offer& offer) const;
    QList<Candidate> busCandidates(ValueKind kind) const;
    QList<Candidate> faultWords() const;

    QString given(int index) const { return m_arguments.value(index); }

    const CLI::App& m_program;
    const CLI::App* m_app;
    QString m_word; ///< That is being typed.
    QStringList m_arguments;
    std::set<const CLI::Option*> m_given;
    const CLI::Option* m_pending = nullptr; ///< The option whose value comes next.
    bool m_areOptionsOver = false;          ///< After "--".
};

} // namespace tarvexctl

#endif // COMPLETER_H
