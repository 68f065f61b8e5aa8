#include "completion/shellwords.h"

#include "output.h"

namespace tarvexctl {

namespace {

constexpr QLatin1Char SINGLE_QUOTE('\'');
constexpr QLatin1Char DOUBLE_QUOTE('"');
constexpr QLatin1Char BACKSLASH('\\');
/// bash splits words before it, not behind it, because it could begin the name of a machine.
constexpr QLatin1Char AT('@');

/// What has a meaning of its own between double quotes.
const QLatin1String SPECIAL_IN_DOUBLE_QUOTES("\\\"$`");
/// What has none outside quotes, beside letters and digits.
const QLatin1String PLAIN("_-./:=@%+,");

bool isSpace(QChar character)
{
    return character == QLatin1Char(' ') || character == QLatin1Char('\t') || character == QLatin1Char('\n');
}

bool isPlain(QChar character)
{
    return character.unicode() > 127 || character.isLetterOrNumber() || QString(PLAIN).contains(character);
}

/// "NAME=value", as it may stand before a command.
bool isAssignment(const QString& word)
{
    const int equals = word.indexOf(QLatin1Char('='));
    return equals > 0 && !word.startsWith(QLatin1Char('-')) && !word.leftRef(equals).contains(QLatin1Char('/'));
}

QString escaped(const QString& text, bool (*needsIt)(QChar))
{
    QString quoted;
    for (const QChar character : text) {
        if (needsIt(character)) {
            quoted += BACKSLASH;
        }
        quoted += character;
    }
    return quoted;
}

QString line(const QStringList& fields)
{
    return fields.join(QLatin1Char('\t')) + QLatin1Char('\n');
}

} // namespace

std::optional<Shell> shellFrom(const QString& name)
{
    if (name == QLatin1String("bash")) {
        return Shell::Bash;
    }
    if (name == QLatin1String("zsh")) {
        return Shell::Zsh;
    }
    return name == QLatin1String("fish") ? std::optional<Shell>(Shell::Fish) : std::nullopt;
}

ShellWords::ShellWords(Shell shell, const std::vector<const char*>& arguments) : m_shell(shell)
{
    QStringList texts;
    for (const char* const argument : arguments) {
        texts.append(QString::fromUtf8(argument));
    }
    if (shell == Shell::Bash) {
        readLine(texts.value(1), texts.value(0));
    } else {
        m_words = texts;
    }
}

QString ShellWords::answer(const Offer& offer) const
{
    const QString typed = m_words.isEmpty() ? QString() : m_words.constLast();
    QString lines;
    for (const Candidate& candidate : offer.candidates) {
        const QString kind = candidate.isOpen ? QStringLiteral("open") : QStringLiteral("word");
        if (m_shell != Shell::Bash) {
            lines += line({kind, candidate.text, visible(candidate.help)});
        } else if (candidate.text.startsWith(typed)) {
            // History expansion takes a "!" between double quotes, and no escape keeps it from that.
            const bool isPossible = m_quote != DOUBLE_QUOTE || !candidate.text.contains(QLatin1Char('!'));
            lines += isPossible ? line({kind, bashWord(candidate.text.mid(m_kept.size()))}) : QString();
        }
    }
    if (offer.filesAfter) {
        lines += line({QStringLiteral("files"), *offer.filesAfter, visible(typed.mid(offer.filesAfter->size()))});
    }
    return lines;
}

/// Splits as bash does, without replacing anything. The program's name and assignments before it are left out.
void ShellWords::readLine(const QString& line, const QString& breaks)
{
    QString word;
    QString keptBeforeQuote;
    bool isInWord = false;
    for (int index = 0; index < line.size(); ++index) {
        const QChar character = line.at(index);
        const bool isLast = index + 1 == line.size();
        const bool isEscape = character == BACKSLASH && m_quote != SINGLE_QUOTE && !isLast
            && (m_quote.isNull() || QString(SPECIAL_IN_DOUBLE_QUOTES).contains(line.at(index + 1)));
        if (isEscape) {
            word += line.at(++index);
        } else if (!m_quote.isNull()) {
            if (character == m_quote) {
                m_quote = QChar();
                m_kept = keptBeforeQuote;
            } else {
                word += character;
            }
        } else if (isSpace(character)) {
            if (isInWord) {
                m_words.append(word);
            }
            word.clear();
            m_kept.clear();
            isInWord = false;
            continue;
        } else if (character == SINGLE_QUOTE || character == DOUBLE_QUOTE) {
            m_quote = character;
            keptBeforeQuote = m_kept;
            m_kept = word; // what is replaced begins after the quote, if the quote stays open
        } else {
            const QString before = word;
            word += character;
            if (breaks.contains(character)) {
                m_kept = character == AT ? before : word;
            }
        }
        isInWord = true;
    }
    m_words.append(word);
    while (m_words.size() > 1 && isAssignment(m_words.constFirst())) {
        m_words.removeFirst();
    }
    m_words.removeFirst();
}

/// As it is typed where the replaced text begins.
QString ShellWords::bashWord(const QString& text) const
{
    if (m_quote == SINGLE_QUOTE) {
        return QString(text).replace(SINGLE_QUOTE, QLatin1String("'\\''"));
    }
    if (m_quote == DOUBLE_QUOTE) {
        return escaped(text, [](QChar character) { return QString(SPECIAL_IN_DOUBLE_QUOTES).contains(character); });
    }
    return escaped(text, [](QChar character) { return !isPlain(character); });
}

} // namespace tarvexctl
