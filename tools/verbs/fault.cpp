#include "arguments.h"
#include "busclient.h"
#include "controlclient.h"
#include "output.h"
#include "programwords.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <CLI/CLI.hpp>

#include <limits>

namespace tarvexctl {

namespace {

const QLatin1String KEY_REQUEST("request");
const QLatin1String KEY_RULE("rule");
const QLatin1String KEY_NUMBER("number");
const QLatin1String KEY_NUMBERS("numbers");
const QLatin1String KEY_HITS("hits");
const QLatin1String KEY_DONE("done");

/// Throws Failure when this bus brings about no faults.
QList<QVariantMap> askForFaults(const QString& clientName, const QVariantMap& request)
{
    const auto items = askControlSocket(request);
    if (!items) {
        const BusClient bus(clientName); // there may be no bus at all
        throw Failure(Refused,
                      Words::tr("this bus brings about no faults: only a development bus of the same user can"));
    }
    return *items;
}

class FaultAdd : public Verb
{
public:
    FaultAdd() : Verb("fault add", Words::mark("Makes the development bus bring about a fault on purpose")) { }

    void addOptions(CLI::App& parser) override
    {
        parser
            .add_option(
                "WORD", m_words,
                Words::tr("What the rule for it says: client=NAME, port=query|receiver, frame=reply|push, "
                          "operation=NAME, command=NAME; nth=N, from=N, once or every; probability=P, seed=N; and "
                          "do=EFFECT. The effects are error:CODE[:TEXT], silence, delay:MS, operation:NAME, "
                          "sizeline:TEXT, size:+N|-N, pieces:BYTES:MS, cut:BYTES, damage[:BYTES[:base64|block]], "
                          "again, drop and limit:BYTES")
                    .toStdString())
            ->type_name("")
            ->required();
        addExample(parser, "tarvexctl fault add client=printer operation=loadState nth=3 do=delay:500");
    }

    void run(const Context& context) const override
    {
        const QString rule = texts(m_words).join(QLatin1Char(' '));
        const QVariantMap request{{KEY_REQUEST, QStringLiteral("addFault")}, {KEY_RULE, rule}};
        QVariantMap done = askForFaults(context.clientName, request).value(0);
        const QString words =
            Words::tr("added fault %1: %2").arg(done.value(KEY_NUMBER).toString(), done.value(KEY_RULE).toString());
        done.insert(KEY_DONE, QStringLiteral("fault add"));
        context.output.report(done, words);
    }

private:
    std::vector<std::string> m_words;
};

class FaultList : public Verb
{
public:
    FaultList() : Verb("fault list", Words::mark("Shows the faults on purpose, and how often they happened")) { }

    void addOptions(CLI::App& parser) override { addExample(parser, "tarvexctl fault list"); }

    void run(const Context& context) const override
    {
        const QList<QVariantMap> faults = askForFaults(context.clientName, {{KEY_REQUEST, QStringLiteral("faults")}});
        context.output.writeTable(
            {Words::tr("NUMBER"), Words::tr("HITS"), Words::tr("RULE")}, faults, [](const QVariantMap& fault) {
                return QStringList{fault.value(KEY_NUMBER).toString(), fault.value(KEY_HITS).toString(),
                                   fault.value(KEY_RULE).toString()};
            });
        if (faults.isEmpty()) {
            complain(Words::tr("there are no faults"));
        }
    }
};

class FaultClear : public Verb
{
public:
    FaultClear() : Verb("fault clear", Words::mark("Ends faults on purpose")) { }

    void addOptions(CLI::App& parser) override
    {
        parser
            .add_option("NUMBER", m_numbers,
                        Words::tr("Which ones, as fault list shows them; all when there is none").toStdString())
            ->type_name("");
        addExample(parser, "tarvexctl fault clear 2 3");
    }

    void run(const Context& context) const override
    {
        QVariantMap request{{KEY_REQUEST, QStringLiteral("clearFaults")}};
        if (!m_numbers.empty()) {
            request.insert(KEY_NUMBERS, numbers());
        }
        const QList<QVariantMap> ended = askForFaults(context.clientName, request);
        QVariantList endedNumbers;
        QStringList words;
        for (const QVariantMap& fault : ended) {
            endedNumbers.append(fault.value(KEY_NUMBER));
            words.append(fault.value(KEY_NUMBER).toString());
        }
        context.output.report({{KEY_DONE, QStringLiteral("fault clear")}, {KEY_NUMBERS, endedNumbers}},
                              words.isEmpty() ? Words::tr("there are no faults")
                                              : Words::tr("ended the faults %1").arg(words.join(QLatin1String(", "))));
    }

private:
    QVariantList numbers() const
    {
        QVariantList numbers;
        const QStringList given = texts(m_numbers);
        for (const QString& text : given) {
            bool isNumber = false;
            const int number = text.toInt(&isNumber);
            if (!isNumber || number < 1) {
                throw Failure(WrongUse,
                              Words::tr("NUMBER must be a whole number from 1 to %1, not \"%2\"")
                                  .arg(QString::number(std::numeric_limits<int>::max()), text));
            }
            numbers.append(number);
        }
        return numbers;
    }

    std::vector<std::string> m_numbers;
};

} // namespace

std::unique_ptr<Verb> makeFaultAdd()
{
    return std::make_unique<FaultAdd>();
}

std::unique_ptr<Verb> makeFaultList()
{
    return std::make_unique<FaultList>();
}

std::unique_ptr<Verb> makeFaultClear()
{
    return std::make_unique<FaultClear>();
}

} // namespace tarvexctl
