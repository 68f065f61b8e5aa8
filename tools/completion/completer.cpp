#include "completion/completer.h"

#include "completion/busvalues.h"
#include "completion/description.h"
#include "output.h"
#include "programwords.h"
#include "traffic/operations.h"

#include <QNetworkInterface>

#include <algorithm>

namespace tarvexctl {

namespace {

/// The name of the bus itself in the filters of frames.
const QLatin1String BUS("bus");

bool isFlag(const CLI::Option& option)
{
    return option.get_items_expected_max() == 0;
}

bool mayLackValue(const CLI::Option& option)
{
    return option.get_items_expected_min() == 0;
}

/// Whether \a word can be typed. A control character could not, and would do something to the terminal.
bool isTypable(const QString& word)
{
    return !word.isEmpty() && visible(word) == word && QString::fromUtf8(word.toUtf8()) == word;
}

QString helpOf(const std::string& help)
{
    return QString::fromStdString(help);
}

QList<Candidate> wordCandidates(const QStringList& words)
{
    QList<Candidate> candidates;
    for (const QString& word : words) {
        candidates.append({word, QString()});
    }
    return candidates;
}

QList<Candidate> interfaces()
{
    QStringList names;
    const QList<QNetworkInterface> all = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface& interface : all) {
        names.append(interface.name());
    }
    return wordCandidates(names);
}

QList<Candidate> withPrefix(const QString& prefix, QList<Candidate> candidates)
{
    for (Candidate& candidate : candidates) {
        candidate.text.prepend(prefix);
    }
    return candidates;
}

/// What begins the words of a rule for a fault; see tarvex-devbus --help.
QList<Candidate> faultWordBeginnings()
{
    return {{QStringLiteral("client="), Words::tr("frames from and to this client"), true},
            {QStringLiteral("port="), Words::tr("frames on this connection"), true},
            {QStringLiteral("frame="), Words::tr("replies or pushes"), true},
            {QStringLiteral("operation="), Words::tr("frames of this operation"), true},
            {QStringLiteral("command="), Words::tr("messages with this command"), true},
            {QStringLiteral("nth="), Words::tr("only the frame of this number among those that fit"), true},
            {QStringLiteral("from="), Words::tr("from the frame of this number on"), true},
            {QStringLiteral("once"), Words::tr("only once")},
            {QStringLiteral("every"), Words::tr("every time")},
            {QStringLiteral("probability="), Words::tr("by chance"), true},
            {QStringLiteral("seed="), Words::tr("the chance's seed"), true},
            {QStringLiteral("do="), Words::tr("the effect"), true}};
}

QList<Candidate> faultEffects()
{
    QList<Candidate> effects = wordCandidates(
        {QStringLiteral("silence"), QStringLiteral("damage"), QStringLiteral("again"), QStringLiteral("drop")});
    for (const char* const effect :
         {"error:", "delay:", "operation:", "sizeline:", "size:", "pieces:", "cut:", "limit:"}) {
        effects.append({QLatin1String(effect), QString(), true});
    }
    return effects;
}

} // namespace

Completer::Completer(const CLI::App& program, const QStringList& words)
    : m_program(program), m_app(&program), m_word(words.value(words.size() - 1))
{
    for (int index = 0; index + 1 < words.size(); ++index) {
        take(words.at(index));
    }
}

Offer Completer::offer() const
{
    Offer offer;
    const bool looksLikeOption = !m_areOptionsOver && m_word.startsWith(QLatin1Char('-'));
    const int equals = m_word.indexOf(QLatin1Char('='));
    if (m_pending != nullptr && !(looksLikeOption && mayLackValue(*m_pending))) {
        addOptionValues(*m_pending, QString(), offer);
        if (mayLackValue(*m_pending)) {
            addArguments(offer);
        }
    } else if (looksLikeOption && equals > 0) {
        const CLI::Option* const option = findOption(m_word.left(equals).toStdString());
        if (option != nullptr && !isFlag(*option)) {
            addOptionValues(*option, m_word.left(equals + 1), offer);
        }
    } else if (looksLikeOption) {
        addOptions(offer);
    } else {
        addArguments(offer);
    }
    QList<Candidate> typable;
    std::copy_if(offer.candidates.cbegin(), offer.candidates.cend(), std::back_inserter(typable),
                 [](const Candidate& candidate) { return isTypable(candidate.text); });
    offer.candidates = typable;
    return offer;
}

void Completer::take(const QString& word)
{
    const bool looksLikeOption = !m_areOptionsOver && word.size() > 1 && word.startsWith(QLatin1Char('-'));
    const CLI::Option* const pending = m_pending;
    m_pending = nullptr;
    if (pending != nullptr && !(looksLikeOption && mayLackValue(*pending))) {
        return;
    }
    if (looksLikeOption) {
        takeOption(word);
        return;
    }
    if (!m_areOptionsOver && m_arguments.isEmpty()) {
        const std::string name = word.toStdString();
        const auto verbs = m_app->get_subcommands([&name](const CLI::App* verb) { return verb->get_name() == name; });
        if (!verbs.empty()) {
            m_app = verbs.front();
            return;
        }
    }
    m_arguments.append(word);
}

void Completer::takeOption(const QString& word)
{
    if (word == QLatin1String("--")) {
        m_areOptionsOver = true;
        return;
    }
    const int equals = word.indexOf(QLatin1Char('='));
    const CLI::Option* const option = findOption(word.left(equals).toStdString());
    if (option != nullptr) {
        m_given.insert(option);
        m_pending = equals < 0 && !isFlag(*option) ? option : nullptr;
    }
}

/// The options of the program may stand after every verb.
const CLI::Option* Completer::findOption(const std::string& name) const
{
    const CLI::Option* const option = m_app->get_option_no_throw(name);
    return option != nullptr ? option : m_program.get_option_no_throw(name);
}

/// The argument that comes next; nullptr when there is none.
const CLI::Option* Completer::argument() const
{
    int before = m_arguments.size();
    for (const CLI::Option* const option : m_app->get_options()) {
        if (option->get_positional() && (before-- == 0 || option->get_items_expected_max() > 1)) {
            return option;
        }
    }
    return nullptr;
}

void Completer::addValues(ValueKind kind, const std::string& name, const QString& before, Offer& offer) const
{
    switch (kind) {
    case ValueKind::Unknown:
    case ValueKind::Nothing:
        return;
    case ValueKind::Words:
        offer.candidates += withPrefix(before, wordCandidates(valueWords(name)));
        return;
    case ValueKind::Files:
        offer.filesAfter = before;
        return;
    case ValueKind::DataOrFile:
        if (m_word.startsWith(before + QLatin1Char('@'))) {
            offer.filesAfter = before + QLatin1Char('@');
        }
        return;
    case ValueKind::SettingsOwnersOrFiles:
        offer.filesAfter = before;
        break;
    default:
        break;
    }
    QList<Candidate> candidates = busCandidates(kind);
    const bool mayBeginWithHyphen = m_areOptionsOver || !before.isEmpty();
    const auto isOption = [&](const Candidate& candidate) {
        return !mayBeginWithHyphen && candidate.text.startsWith(QLatin1Char('-'));
    };
    candidates.erase(std::remove_if(candidates.begin(), candidates.end(), isOption), candidates.end());
    offer.candidates += withPrefix(before, candidates);
}

void Completer::addOptionValues(const CLI::Option& option, const QString& before, Offer& offer) const
{
    addValues(valueKind(wordsOf(*m_app), option.get_name()), option.get_name(), before, offer);
}

void Completer::addOptions(Offer& offer) const
{
    std::vector<const CLI::Option*> options = m_app->get_options();
    if (m_app != &m_program) {
        const std::vector<const CLI::Option*> common = m_program.get_options();
        options.insert(options.end(), common.begin(), common.end());
    }
    QStringList names;
    for (const CLI::Option* const option : options) {
        const bool isSpent = m_given.count(option) > 0 && option->get_items_expected_max() <= 1;
        if (option->get_positional() || option->get_lnames().empty() || isSpent) {
            continue;
        }
        const QString name = QLatin1String("--") + QString::fromStdString(option->get_lnames().front());
        if (!names.contains(name)) { // every verb has its own --help
            names.append(name);
            offer.candidates.append({name, helpOf(option->get_description())});
        }
    }
}

void Completer::addArguments(Offer& offer) const
{
    const std::vector<const CLI::App*> verbs = m_app->get_subcommands(nullptr);
    const bool isVerb = !m_areOptionsOver && m_arguments.isEmpty() && !verbs.empty();
    if (isVerb) {
        for (const CLI::App* const verb : verbs) {
            offer.candidates.append({QString::fromStdString(verb->get_name()), helpOf(verb->get_description())});
        }
    }
    const CLI::Option* const next = argument();
    if (next != nullptr) {
        const std::string name = next->get_name(true);
        addValues(valueKind(wordsOf(*m_app), name), name, QString(), offer);
    } else if (!isVerb && !m_areOptionsOver && m_word.isEmpty()) {
        addOptions(offer);
    }
}

QList<Candidate> Completer::busCandidates(ValueKind kind) const
{
    switch (kind) {
    case ValueKind::Clients:
        return busvalues::clients();
    case ValueKind::ClientsOrBus:
        return QList<Candidate>{{BUS, Words::tr("the bus itself")}} + busvalues::clients();
    case ValueKind::SettingsOwners:
    case ValueKind::SettingsOwnersOrFiles:
        return busvalues::settingsOwners();
    case ValueKind::StateOwners:
        return busvalues::stateOwners();
    case ValueKind::SettingsGroups:
        return busvalues::settingsGroups(given(0));
    case ValueKind::SettingsKeys:
        return busvalues::settingsKeys(given(0), given(1));
    case ValueKind::SettingsValue:
        return busvalues::settingsValue(given(0), given(1), given(2));
    case ValueKind::Commands:
        return busvalues::commands(given(0));
    case ValueKind::Operations:
        return wordCandidates(tarvex::traffic::operations());
    case ValueKind::FaultRule:
        return faultWords();
    case ValueKind::FaultNumbers:
        return busvalues::faults();
    case ValueKind::Interfaces:
        return interfaces();
    default:
        return {};
    }
}

QList<Candidate> Completer::faultWords() const
{
    const QString beginning = m_word.left(m_word.indexOf(QLatin1Char('=')) + 1);
    if (beginning.isEmpty()) {
        return faultWordBeginnings();
    }
    if (beginning == QLatin1String("client=")) {
        return withPrefix(beginning, busvalues::clients());
    }
    if (beginning == QLatin1String("command=")) {
        return withPrefix(beginning, busvalues::commands(QString()));
    }
    if (beginning == QLatin1String("operation=")) {
        return withPrefix(beginning, wordCandidates(tarvex::traffic::operations()));
    }
    if (beginning == QLatin1String("port=")) {
        return withPrefix(beginning, wordCandidates({QStringLiteral("query"), QStringLiteral("receiver")}));
    }
    if (beginning == QLatin1String("frame=")) {
        return withPrefix(beginning, wordCandidates({QStringLiteral("reply"), QStringLiteral("push")}));
    }
    return beginning == QLatin1String("do=") ? withPrefix(beginning, faultEffects()) : QList<Candidate>();
}

} // namespace tarvexctl
