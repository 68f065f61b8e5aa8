#ifndef WORDS_H
#define WORDS_H

#include <QCoreApplication>

namespace tarvex::programs {

/// The texts that a user of the programs reads. They have one home, so that there is one list to translate; see
/// docs/translations.md for what is a text for a reader and what is not.
///
/// \code
/// throw Failure(WrongUse, Words::tr("%1 must not be empty").arg(name));
/// Argument m_owner{"OWNER", Words::mark("The client's name")}; // translated where the help is made
/// \endcode
class Words
{
    Q_DECLARE_TR_FUNCTIONS(Words)

public:
    /// Marks a text that is translated later, by Words::tr(text).
    static constexpr const char* mark(const char* text) { return text; }

    /// The same for a text with a count, "%n".
    static constexpr const char* markCount(const char* text) { return text; }

    /// Installs the translations of the programs' texts for the user's locale. To be called once, when the application
    /// object is there. What the library sends to others stays English, because its translations are not installed.
    static void translate();

    /// Makes all texts English again, for output that a program reads.
    static void leaveInEnglish();

    /// \a one when the count is 1, or else \a many, which holds "%n". A language may have more forms than two: they are
    /// those of \a many. So a count needs no catalogue in English.
    static QString counted(qint64 count, const QString& one, const char* many);
};

} // namespace tarvex::programs

#endif // WORDS_H
