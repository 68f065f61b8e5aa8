#include "failure.h"
#include "faultrule.h"
#include "faultwords.h"
#include "traffic/operations.h"
#include "words.h"

#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <limits>

namespace tarvex::devbus {

namespace {

using programs::Reason;
using programs::Words;
using Effect = FaultRule::Effect;
using Frames = FaultRule::Frames;
using Often = FaultRule::Often;

constexpr int DEFAULT_DAMAGED_BYTES = 3;

constexpr const char* EITHER = Words::mark("%1 must be %2 or %3, not %4");

const QLatin1String KEY_CLIENT("client");
const QLatin1String KEY_PORT("port");
const QLatin1String KEY_FRAME("frame");
const QLatin1String KEY_OPERATION("operation");
const QLatin1String KEY_COMMAND("command");
const QLatin1String KEY_NTH("nth");
const QLatin1String KEY_FROM("from");
const QLatin1String WORD_ONCE("once");
const QLatin1String WORD_EVERY("every");
const QLatin1String KEY_PROBABILITY("probability");
const QLatin1String KEY_SEED("seed");
const QLatin1String KEY_DO("do");

const QLatin1String PORT_QUERY("query");
const QLatin1String PORT_RECEIVER("receiver");
const QLatin1String FRAME_REPLY("reply");
const QLatin1String FRAME_PUSH("push");
const QLatin1String LEVEL_BASE64("base64");
const QLatin1String LEVEL_BLOCK("block");

/// What is possible, at the end of a message.
QString possible(const QStringList& forms)
{
    return forms.join(QLatin1String(", "));
}

/// Those that have a value.
QStringList keys()
{
    return {KEY_CLIENT, KEY_PORT, KEY_FRAME,       KEY_OPERATION, KEY_COMMAND,
            KEY_NTH,    KEY_FROM, KEY_PROBABILITY, KEY_SEED,      KEY_DO};
}

/// A wrong word, as it stands in a message.
QString shown(const QString& word)
{
    constexpr int MAX_LENGTH = 100;
    return word.size() > MAX_LENGTH ? word.left(MAX_LENGTH) + QStringLiteral("…") : word;
}

QChar unescaped(QChar character)
{
    switch (character.toLatin1()) {
    case 'n':
        return QLatin1Char('\n');
    case 'r':
        return QLatin1Char('\r');
    case 't':
        return QLatin1Char('\t');
    default:
        return character;
    }
}

bool isSeparator(QChar character)
{
    return character.isSpace() || character == QLatin1Char(',');
}

/// Reads the text form of one rule. Each function returns false when something is wrong; problem() says what.
class Reader
{
public:
    bool read(const QString& text);

    const FaultRule& rule() const { return m_rule; }

    const Reason& problem() const { return m_problem; }

private:
    bool splitWords(const QString& text, QStringList& words);
    bool readWord(const QString& word);
    bool noteName(const QString& name);
    bool readValue(const QString& name, const QString& value);
    bool readOperation(const QString& name);
    bool readProbability(const QString& text);
    bool readOften(FaultRule::Often often, const QString& name, const QString& value);
    bool readEffect(const QString& value);
    bool readParameters(const QString& value, const QStringList& parameters);
    bool readDamage(const QStringList& parameters);

    /// A whole number that fits into \a result.
    template <typename Number>
    bool readNumber(const QString& name, const QString& text, Number& result);
    /// One of two words. Otherwise \a problem with the arguments name, first, second and value.
    bool readChoice(const char* problem, const QString& name, const QString& value, QLatin1String first,
                    QLatin1String second, bool& isFirst);

    /// \a text comes from Words::mark().
    bool fail(const char* text, const QStringList& arguments = {})
    {
        m_problem = Reason(text, arguments);
        return false;
    }

    FaultRule m_rule;
    QStringList m_names; ///< The words that were there, without their values.
    Reason m_problem;
};

bool Reader::read(const QString& text)
{
    QStringList words;
    if (!splitWords(text, words)
        || !std::all_of(words.cbegin(), words.cend(), [this](const QString& word) { return readWord(word); })) {
        return false;
    }
    return m_names.contains(KEY_DO)
        || fail(Words::mark("\"do=\" is missing; possible are %1"), {possible(faultwords::effectForms())});
}

bool Reader::splitWords(const QString& text, QStringList& words)
{
    QString word;
    bool isInWord = false;
    bool isQuoted = false;
    for (int at = 0; at <= text.size(); ++at) {
        const QChar character = at < text.size() ? text.at(at) : QLatin1Char(' ');
        if (at == text.size() && isQuoted) {
            return fail(Words::mark("a double quote is missing at the end of \"%1\""), {shown(word)});
        }
        if (!isQuoted && isSeparator(character)) {
            if (isInWord) {
                words.append(word);
            }
            word.clear();
            isInWord = false;
            continue;
        }
        isInWord = true;
        if (character == QLatin1Char('"')) {
            isQuoted = !isQuoted;
        } else if (isQuoted && character == QLatin1Char('\\') && at + 1 < text.size()) {
            word.append(unescaped(text.at(++at)));
        } else {
            word.append(character);
        }
    }
    return true;
}

bool Reader::readWord(const QString& word)
{
    if (word == WORD_ONCE || word == WORD_EVERY) {
        m_rule.often = word == WORD_ONCE ? Often::Once : Often::Every;
        return noteName(word);
    }
    const QString name = word.section(QLatin1Char('='), 0, 0);
    if (!word.contains(QLatin1Char('=')) || !keys().contains(name)) {
        return fail(Words::mark("unknown word \"%1\"; possible are %2"),
                    {shown(word), possible(faultwords::wordForms())});
    }
    const QString value = word.section(QLatin1Char('='), 1);
    if (value.isEmpty()) {
        return fail(Words::mark("\"%1=\" needs a value"), {name});
    }
    return noteName(name) && readValue(name, value);
}

/// Each word may come once, and only one of those that say how often.
bool Reader::noteName(const QString& name)
{
    if (m_names.contains(name)) {
        return fail(Words::mark("\"%1\" is given twice"), {name});
    }
    const QStringList often{KEY_NTH, KEY_FROM, WORD_ONCE, WORD_EVERY};
    for (const QString& former : qAsConst(m_names)) {
        if (often.contains(name) && often.contains(former)) {
            return fail(
                Words::mark("\"%1\" and \"%2\" exclude each other: only one of nth, from, once and every is possible"),
                {former, name});
        }
    }
    m_names.append(name);
    return true;
}

bool Reader::readValue(const QString& name, const QString& value)
{
    bool isFirst = false;
    if (name == KEY_CLIENT) {
        m_rule.client = value;
    } else if (name == KEY_COMMAND) {
        m_rule.command = value;
    } else if (name == KEY_OPERATION) {
        return readOperation(value);
    } else if (name == KEY_NTH) {
        return readOften(Often::Nth, name, value);
    } else if (name == KEY_FROM) {
        return readOften(Often::From, name, value);
    } else if (name == KEY_PROBABILITY) {
        return readProbability(value);
    } else if (name == KEY_SEED) {
        m_rule.seed = 0;
        return readNumber(name, value, *m_rule.seed);
    } else if (name == KEY_DO) {
        return readEffect(value);
    } else if (name == KEY_PORT) {
        const bool isPort = readChoice(EITHER, name, value, PORT_QUERY, PORT_RECEIVER, isFirst);
        m_rule.port = isFirst ? traffic::Port::Query : traffic::Port::Receiver;
        return isPort;
    } else if (name == KEY_FRAME) {
        const bool isFrame = readChoice(EITHER, name, value, FRAME_REPLY, FRAME_PUSH, isFirst);
        m_rule.frames = isFirst ? Frames::Replies : Frames::Pushes;
        return isFrame;
    }
    return true;
}

bool Reader::readOperation(const QString& name)
{
    m_rule.operation = name;
    return traffic::operations().contains(name)
        || fail(Words::mark("operation=%1 is not possible; possible are %2"),
                {shown(name), possible(traffic::operations())});
}

bool Reader::readProbability(const QString& text)
{
    bool isNumber = false;
    m_rule.probability = text.toDouble(&isNumber);
    return isNumber || fail(Words::mark("probability must be a number from 0 to 1, not %1"), {shown(text)});
}

bool Reader::readOften(Often often, const QString& name, const QString& value)
{
    m_rule.often = often;
    return readNumber(name, value, m_rule.count);
}

bool Reader::readEffect(const QString& value)
{
    QStringList parameters = value.split(QLatin1Char(':'));
    const faultwords::EffectWord* const word = faultwords::findEffect(parameters.takeFirst());
    if (!word) {
        return fail(Words::mark("do=%1 is not possible; possible are %2"),
                    {shown(value), possible(faultwords::effectForms())});
    }
    if (parameters.size() < word->minParameters || parameters.size() > word->maxParameters) {
        return fail(Words::mark("do=%1 is not possible; it must be do=%2%3"), {shown(value), word->name, word->form});
    }
    m_rule.effect = word->effect;
    return readParameters(value, parameters);
}

bool Reader::readParameters(const QString& value, const QStringList& parameters)
{
    const QString name = QStringLiteral("do=") + value.section(QLatin1Char(':'), 0, 0);
    switch (m_rule.effect) {
    case Effect::Silence:
    case Effect::PushAgain:
    case Effect::Drop:
        return true;
    case Effect::OtherOperation:
    case Effect::SizeLine:
        m_rule.text = value.section(QLatin1Char(':'), 1); // it may hold colons itself
        return true;
    case Effect::Error:
        if (!readNumber(name, parameters.at(0), m_rule.amount)) {
            return false;
        }
        m_rule.text = parameters.size() > 1 ? value.section(QLatin1Char(':'), 2)
                                            : TarvexError(static_cast<TarvexError::Error>(m_rule.amount)).description();
        return true;
    case Effect::Pieces:
        return readNumber(name, parameters.at(0), m_rule.amount) && readNumber(name, parameters.at(1), m_rule.gapMs);
    case Effect::Damage:
        return readDamage(parameters);
    case Effect::Delay:
    case Effect::SizeOffset:
    case Effect::Cut:
    case Effect::Limit:
        return readNumber(name, parameters.at(0), m_rule.amount);
    }
    return true;
}

bool Reader::readDamage(const QStringList& parameters)
{
    bool isBlock = false;
    m_rule.amount = DEFAULT_DAMAGED_BYTES;
    const bool isRead =
        (parameters.isEmpty() || readNumber(QStringLiteral("do=damage"), parameters.at(0), m_rule.amount))
        && (parameters.size() < 2
            || readChoice(Words::mark("the level of %1 must be %2 or %3, not %4"), QStringLiteral("do=damage"),
                          parameters.at(1), LEVEL_BLOCK, LEVEL_BASE64, isBlock));
    m_rule.damageLevel = isBlock ? FaultRule::DamageLevel::Block : FaultRule::DamageLevel::Base64;
    return isRead;
}

template <typename Number>
bool Reader::readNumber(const QString& name, const QString& text, Number& result)
{
    bool isNumber = false;
    const qint64 value = text.toLongLong(&isNumber);
    if (!isNumber || value < static_cast<qint64>(std::numeric_limits<Number>::min())
        || value > static_cast<qint64>(std::numeric_limits<Number>::max())) {
        return fail(Words::mark("%1 needs a whole number, not %2"), {name, shown(text)});
    }
    result = static_cast<Number>(value);
    return true;
}

bool Reader::readChoice(const char* problem, const QString& name, const QString& value, QLatin1String first,
                        QLatin1String second, bool& isFirst)
{
    isFirst = value == first;
    return isFirst || value == second || fail(problem, {name, first, second, shown(value)});
}

// The other way round.

QString quoted(const QString& value)
{
    const bool isPlain = std::none_of(value.cbegin(), value.cend(), [](QChar character) {
        return isSeparator(character) || character == QLatin1Char('"') || character == QLatin1Char('\\');
    });
    if (isPlain) {
        return value;
    }
    QString text = value;
    text.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    text.replace(QLatin1Char('"'), QLatin1String("\\\""));
    text.replace(QLatin1Char('\n'), QLatin1String("\\n"));
    text.replace(QLatin1Char('\r'), QLatin1String("\\r"));
    text.replace(QLatin1Char('\t'), QLatin1String("\\t"));
    return QLatin1Char('"') + text + QLatin1Char('"');
}

void addWord(QStringList& words, QLatin1String key, const QString& value)
{
    if (!value.isEmpty()) {
        words.append(key + QLatin1Char('=') + quoted(value));
    }
}

void addOften(QStringList& words, const FaultRule& rule)
{
    switch (rule.often) {
    case Often::Every:
        break;
    case Often::Nth:
        addWord(words, KEY_NTH, QString::number(rule.count));
        break;
    case Often::From:
        addWord(words, KEY_FROM, QString::number(rule.count));
        break;
    case Often::Once:
        words.append(WORD_ONCE);
        break;
    }
    if (rule.probability && (*rule.probability < 1 || rule.seed)) {
        addWord(words, KEY_PROBABILITY, QString::number(*rule.probability, 'g', QLocale::FloatingPointShortest));
    }
    if (rule.seed) {
        addWord(words, KEY_SEED, QString::number(*rule.seed));
    }
}

QString effectText(const FaultRule& rule)
{
    QString name = faultwords::effectWord(rule.effect).name;
    const QString amount = QString::number(rule.amount);
    switch (rule.effect) {
    case Effect::Silence:
    case Effect::PushAgain:
    case Effect::Drop:
        return name;
    case Effect::Error:
        return QStringLiteral("%1:%2:%3").arg(name, amount, rule.text);
    case Effect::OtherOperation:
    case Effect::SizeLine:
        return QStringLiteral("%1:%2").arg(name, rule.text);
    case Effect::SizeOffset:
        return QStringLiteral("%1:%2%3").arg(name, rule.amount > 0 ? QStringLiteral("+") : QString(), amount);
    case Effect::Pieces:
        return QStringLiteral("%1:%2:%3").arg(name, amount, QString::number(rule.gapMs));
    case Effect::Damage:
        return QStringLiteral("%1:%2:%3").arg(name, amount, faultwords::damageLevelName(rule.damageLevel));
    case Effect::Delay:
    case Effect::Cut:
    case Effect::Limit:
        return QStringLiteral("%1:%2").arg(name, amount);
    }
    return QString();
}

} // namespace

Reason problemOfFaultRule(const QString& text, FaultRule& rule)
{
    Reader reader;
    if (!reader.read(text)) {
        return reader.problem();
    }
    Reason problem = reader.rule().problem();
    if (problem.isEmpty()) {
        rule = reader.rule();
    }
    return problem;
}

TarvexError readFaultRule(const QString& text, FaultRule& rule)
{
    const Reason problem = problemOfFaultRule(text, rule);
    return problem.isEmpty() ? TarvexError() : TarvexError(LocalFailure, problem.inEnglish());
}

QString FaultRule::toText() const
{
    QStringList words;
    addWord(words, KEY_CLIENT, client);
    addWord(words, KEY_PORT, port ? traffic::portName(*port) : QString());
    if (frames != Frames::Any) {
        addWord(words, KEY_FRAME, frames == Frames::Replies ? FRAME_REPLY : FRAME_PUSH);
    }
    addWord(words, KEY_OPERATION, operation);
    addWord(words, KEY_COMMAND, command);
    addOften(words, *this);
    addWord(words, KEY_DO, effectText(*this));
    return words.join(QLatin1Char(' '));
}

} // namespace tarvex::devbus
