#include "busclient.h"
#include "interrupts.h"
#include "output.h"
#include "privatefile.h"
#include "programwords.h"
#include "settingsdifference.h"
#include "settingsfile.h"
#include "storedsettings.h"
#include "texteditor.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <QDateTime>

using tarvex::ClientSettings;

namespace tarvexctl {

namespace {

/// The record that the user edits: what is stored, or an empty one.
ClientSettings editable(const OptionalSettings& stored, const QString& owner)
{
    ClientSettings settings = stored.value_or(ClientSettings());
    settings.setOwner(owner);
    return settings;
}

/// The edited record, as it will be saved. Throws Failure when the text is not one record of \a owner.
ClientSettings editedRecord(const QByteArray& text, const QString& owner)
{
    const QList<ClientSettings> records = settingsFrom(text);
    if (records.isEmpty()) {
        throw Failure(WrongUse, Words::tr("the text is empty"));
    }
    if (records.size() > 1) {
        throw Failure(WrongUse, Words::tr("the text holds %1 records, not one").arg(records.size()));
    }
    if (records.first().owner() != owner) {
        throw Failure(WrongUse,
                      Words::tr("the \"owner\" must stay \"%1\"; settings load saves for other owners").arg(owner));
    }
    ClientSettings settings = records.first();
    settings.setDt(QDateTime::currentDateTime());
    return settings;
}

/// Shows a line of the text on stderr, and the one before it.
void showLine(const QByteArray& text, int line)
{
    const QList<QByteArray> lines = text.split('\n');
    for (int shown = qMax(1, line - 1); shown <= qMin(line, lines.size()); ++shown) {
        tellFailure(QStringLiteral("%1 | %2").arg(shown, 4).arg(QString::fromUtf8(lines.at(shown - 1))));
    }
}

/// One editing of the settings of one owner.
class Editing
{
public:
    Editing(const Context& context, const QString& owner)
        : m_context(context)
        , m_owner(owner)
        , m_command(editorCommand())
        , m_stored(BusClient(context.clientName).loadSettings(owner))
        , m_text(recordText(editable(m_stored, owner)))
        , m_file(QStringLiteral("settings.json"), m_text)
    {
    }

    /// Throws Failure when nothing is saved. The file stays then, unless the user has left it as it was.
    void run();

private:
    OptionalSettings editAndSave();
    void save(const ClientSettings& settings) const;
    void askWhetherToGoOn(const Failure& failure, const QByteArray& text) const;
    Failure withPlaceOfText(const Failure& failure);

    QString placeOfText() const { return Words::tr("the text stays in %1").arg(m_file.path()); }

    void report(const OptionalSettings& saved) const;

    const Context& m_context;
    const QString m_owner;
    const QString m_command;
    const OptionalSettings m_stored; ///< When the editing began.
    const QByteArray m_text;         ///< The same.
    PrivateFile m_file;
};

void Editing::run()
{
    // Told at once, because the file stays when the program is ended by a signal.
    complain(Words::tr("the text is in %1 until it is saved").arg(m_file.path()));
    OptionalSettings saved;
    try {
        // Told with --quiet as well, and once more, because the first words are far above those of the editor.
        const WordsOnInterrupt onInterrupt(placeOfText());
        saved = editAndSave();
    } catch (const Failure& failure) {
        throw withPlaceOfText(failure);
    }
    report(saved);
}

/// \return what was saved; nothing when there was nothing to save
OptionalSettings Editing::editAndSave()
{
    for (;;) {
        editFile(m_command, m_file.path());
        const QByteArray text = m_file.contents();
        try {
            if (text == m_text) {
                return std::nullopt;
            }
            const ClientSettings edited = editedRecord(text, m_owner);
            if (SettingsDifference(m_stored, edited).isEmpty()) {
                return std::nullopt;
            }
            save(edited);
            return edited;
        } catch (const Failure& failure) {
            askWhetherToGoOn(failure, text);
        }
    }
}

/// Compares what is stored now with what was stored at the beginning. The connection is a new one, because nobody knows
/// how long the user has taken.
void Editing::save(const ClientSettings& settings) const
{
    BusClient bus(m_context.clientName);
    const StoredChange change = changeSince(m_stored, m_owner, bus);
    if (change != StoredChange::None) {
        throw Failure(Refused,
                      (change == StoredChange::Saved
                           ? Words::tr("the settings of %1 were saved meanwhile; what is stored is left as it is")
                           : Words::tr("the settings of %1 were removed meanwhile; what is stored is left as it is"))
                          .arg(m_owner));
    }
    bus.saveSettings(settings);
}

/// Returns when the user wants to edit the text again. Otherwise throws \a failure, or another one once its words are
/// told.
void Editing::askWhetherToGoOn(const Failure& failure, const QByteArray& text) const
{
    const auto* const wrong = dynamic_cast<const WrongSettingsText*>(&failure);
    const bool isTextRefused = failure.status() == WrongUse || failure.code() != 0;
    if (!isTextRefused || !canAskUser()) {
        if (wrong != nullptr) {
            showLine(text, wrong->line());
        }
        throw Failure(failure);
    }
    tellFailure(failure.words());
    if (wrong != nullptr) {
        showLine(text, wrong->line());
    }
    if (!askUser(Words::tr("Edit again?"))) {
        throw Failure(failure.status(), Words::tr("given up"), failure.code());
    }
}

Failure Editing::withPlaceOfText(const Failure& failure)
{
    bool isUntouched = false;
    try {
        isUntouched = m_file.contents() == m_text;
    } catch (const Failure&) {
        // What cannot be read is not known to be the same.
    }
    if (isUntouched) {
        return failure;
    }
    m_file.keep();
    return Failure(failure.status(), failure.words() + QStringLiteral("; ") + placeOfText(), failure.code());
}

void Editing::report(const OptionalSettings& saved) const
{
    const SettingsDifference difference(m_stored, saved ? saved : m_stored);
    const QString words = saved
        ? Words::tr("saved the settings of %1: %2").arg(m_owner, difference.count())
        : Words::tr("nothing was changed, so nothing is saved in the settings of %1").arg(m_owner);
    difference.report(m_context.output, words, {m_owner},
                      {{QStringLiteral("done"), QStringLiteral("settings edit")}, {QStringLiteral("owner"), m_owner}});
}

/// Opens the stored settings in the user's editor, and saves them when they were changed and are right.
class SettingsEdit : public Verb
{
public:
    SettingsEdit() : Verb("settings edit", Words::mark("Opens the settings of a client in $VISUAL or $EDITOR")) { }

    void addOptions(CLI::App& parser) override
    {
        m_owner.addTo(parser);
        addExample(parser, "EDITOR=nano tarvexctl settings edit ticket_printer");
    }

    void run(const Context& context) const override { Editing(context, m_owner.nonEmptyText()).run(); }

private:
    Argument m_owner{"OWNER", Words::mark("The client's name")};
};

} // namespace

std::unique_ptr<Verb> makeSettingsEdit()
{
    return std::make_unique<SettingsEdit>();
}

} // namespace tarvexctl
