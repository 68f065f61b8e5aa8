#ifndef SHELLWORDS_H
#define SHELLWORDS_H

#include "completion/offer.h"

#include <QStringList>

#include <optional>
#include <vector>

namespace tarvexctl {

enum class Shell {
    Bash,
    Zsh,
    Fish,
};

/// \return nothing when there is no such shell
std::optional<Shell> shellFrom(const QString& name);

/// The words of a command line that is being typed, as a shell hands them over, and the answer as it takes it.
///
/// Nothing in them is ever run or replaced: "$(date)" and "$HOME" are texts like any other.
///
/// zsh and fish hand over each word without its quotes. Bash hands over the whole line up to the cursor and the
/// characters at which it breaks words, because it breaks them at "=" and ":" as well.
class ShellWords
{
public:
    /// \a arguments are of bash the word breaks and the line, of the others the words behind the program's name.
    ShellWords(Shell shell, const std::vector<const char*>& arguments);

    /// Behind the program's name; the last one is being typed.
    QStringList words() const { return m_words; }

    /// Lines of fields with a tab between them:
    ///
    /// - "word", a word, its help: offered, and a space follows it
    /// - "open", a word, its help: offered, and no space follows it
    /// - "files", a text, what is typed after it: file names are offered after this text
    ///
    /// For bash there are only the words that fit. Each is quoted, and without what stands before the last word break.
    QString answer(const Offer& offer) const;

private:
    void readLine(const QString& line, const QString& breaks);
    QString bashWord(const QString& text) const;

    const Shell m_shell;
    QStringList m_words;
    QString m_kept;          ///< Of the last word: what the answer does not replace, without quotes.
    QChar m_quote = QChar(); ///< The quote that is open at the end of the line.
};

} // namespace tarvexctl

#endif // SHELLWORDS_H
