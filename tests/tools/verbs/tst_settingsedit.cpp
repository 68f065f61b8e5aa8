#include "busprocess.h"
#include "fakebuses.h"
#include "settingsruns.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

const QString STORED_DATE = u"2026-03-01T10:11:12.345"_s;

QVariantMap record(const QVariantList& entries)
{
    return {{u"owner"_s, u"printer"_s},
            {u"date"_s, STORED_DATE},
            {u"description"_s, u"Door"_s},
            {u"mailOwner"_s, 0},
            {u"settings"_s, entries}};
}

QVariantMap width(const QVariant& value)
{
    return record({QVariantMap{{u"group"_s, u"paper"_s}, {u"key"_s, u"width"_s}, {u"value"_s, value}}});
}

/// What the editor is shown of width(80).
const QByteArray WIDTH_TEXT("{\n  \"owner\": \"printer\",\n  \"description\": \"Door\",\n  \"mailOwner\": 0,\n"
                            "  \"settings\": [\n    {\"group\":\"paper\",\"key\":\"width\",\"value\":80}\n  ]\n}\n");

/// A bus that gives out these records, one for each time it is asked. An empty one is not stored. It accepts the rest.
class StoringBus : public FakeBus
{
public:
    explicit StoringBus(const QList<QVariantMap>& records = {width(80), width(80)})
    {
        for (const QVariantMap& loaded : records) {
            if (loaded.isEmpty()) {
                willReply(u"loadSettings"_s, 5, u"There are no settings for client"_s);
            } else {
                willReply(u"loadSettings"_s, 0, QString(), loaded);
            }
        }
    }
};

/// The test's side of a terminal.
class Terminal
{
public:
    Terminal() : m_descriptor(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        ::grantpt(m_descriptor);
        ::unlockpt(m_descriptor);
        m_name = ::ptsname(m_descriptor);
        ::fcntl(m_descriptor, F_SETFL, O_NONBLOCK);
    }

    ~Terminal() { ::close(m_descriptor); }

    Q_DISABLE_COPY_MOVE(Terminal)

    /// For a child process: takes the terminal as its own, for stdin and stderr.
    void take() const
    {
        ::setsid();
        const int descriptor = ::open(m_name.constData(), O_RDWR);
        ::ioctl(descriptor, TIOCSCTTY, 0);
        ::dup2(descriptor, STDIN_FILENO);
        ::dup2(descriptor, STDERR_FILENO);
    }

    void type(const QByteArray& text) const
    {
        QCOMPARE(::write(m_descriptor, text.constData(), size_t(text.size())), text.size());
    }

    /// All that was written to the terminal so far.
    QByteArray shown()
    {
        char bytes[4096];
        for (ssize_t count = 0; (count = ::read(m_descriptor, bytes, sizeof bytes)) > 0;) {
            m_shown += QByteArray(bytes, static_cast<int>(count));
        }
        return m_shown;
    }

private:
    const int m_descriptor;
    QByteArray m_name;
    QByteArray m_shown;
};

} // namespace

/// The verb "settings edit". The editor is a script of the test.
class TstSettingsEdit : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();

    void edit_change_isSavedAndShown();
    void edit_change_asJson();
    void edit_file_isPrivateAndRemoved();
    void edit_nothingChanged_savesNothing_data();
    void edit_nothingChanged_savesNothing();
    void edit_settingTwice_oneTakenOut_isSaved();
    void edit_noRecord_startsOne();
    void edit_noRecordLeftEmpty_savesNothing();
    void edit_wrongText_isShownAndStays_data();
    void edit_wrongText_isShownAndStays();
    void edit_textRemoved_isTold();
    void edit_editorFails_textStays_data();
    void edit_editorFails_textStays();
    void edit_editorFailsUntouched_leavesNoFile();
    void edit_noEditor_is2();
    void edit_visual_comesFirst();
    void edit_changedMeanwhile_isLeftAsItIs_data();
    void edit_changedMeanwhile_isLeftAsItIs();
    void edit_busRefuses_textStays();
    void edit_busGone_textStays();
    void edit_interruptedWhileSaving_tellsOfText();
    void edit_noBus_is3AndOpensNoEditor();
    void edit_interrupt_belongsToEditor();
    void edit_onTerminal_interruptBelongsToEditor();
    void edit_onTerminal_mayEditAgain();
    void edit_onTerminal_quiet_tellsReason();
    void edit_onTerminal_mayGiveUp_data();
    void edit_onTerminal_mayGiveUp();
    void edit_realBus_changesWhatIsStored();

private:
    QString editor(const QString& script) const;
    QByteArray keptText() const;
    static QByteArray withoutBeginning(QByteArray err);
    Ending run(const QString& script, const QString& options = {});

    std::unique_ptr<QTemporaryDir> m_folder;
};

void TstSettingsEdit::init()
{
    qunsetenv("TMPDIR"); // otherwise the new folder would be inside the one that is deleted
    m_folder = std::make_unique<QTemporaryDir>();
    qputenv("TMPDIR", m_folder->path().toUtf8());
    qunsetenv("VISUAL");
    qunsetenv("EDITOR");
}

/// Writes an editor that runs \a script, in which $1 is the file. \return its name
QString TstSettingsEdit::editor(const QString& script) const
{
    QFile file(m_folder->filePath(u"editor"_s));
    file.open(QIODevice::WriteOnly);
    file.write("#!/bin/sh\n" + script.toUtf8() + '\n');
    file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    return file.fileName();
}

/// Runs the verb with such an editor. Of stderr only what follows the name of the file is returned.
Ending TstSettingsEdit::run(const QString& script, const QString& options)
{
    qputenv("EDITOR", editor(script).toUtf8());
    ProgramRun run(u"settings edit printer "_s + options);
    Ending ending = run.ending();
    ending.err = withoutBeginning(ending.err);
    return ending;
}

/// Stderr without its first line, which names the file, and with FILE for the file's name in the rest.
QByteArray TstSettingsEdit::withoutBeginning(QByteArray err)
{
    const QByteArray beginning("tarvexctl: the text is in ");
    const QByteArray end(" until it is saved\n");
    const int length = err.indexOf(end) - beginning.size();
    if (!err.startsWith(beginning) || length < 1) {
        return err;
    }
    const QByteArray name = err.mid(beginning.size(), length);
    return err.mid(beginning.size() + length + end.size()).replace(name, "FILE");
}

/// What the program has left in its own folder. Empty when there is no such folder.
QByteArray TstSettingsEdit::keptText() const
{
    const QStringList folders = QDir(m_folder->path()).entryList({u"tarvexctl-*"_s}, QDir::Dirs);
    return folders.size() == 1 ? contents(m_folder->filePath(folders.first() + u"/settings.json"_s)) : QByteArray();
}

void TstSettingsEdit::edit_change_isSavedAndShown()
{
    StoringBus bus;
    bus.willReply(u"saveSettings"_s);
    const Ending ending = run(u"sed -i 's/80}/58}, {\"key\":\"id\",\"value\":\"a\\\\nb\"}/; s/: 0/: 1/' \"$1\""_s);
    QCOMPARE(ending,
             ended(0, {"saved the settings of printer: 3 changes"},
                   "printer\n- mailOwner = 0\n+ mailOwner = 1\n- paper/width = 80\n+ paper/width = 58\n"
                   "+ /id = \"a\\nb\"\n"));
    QCOMPARE(operations(bus), (QStringList{u"loadSettings"_s, u"loadSettings"_s, u"saveSettings"_s}));
    QVariantMap saved = requested(bus, 2);
    QVERIFY(saved.take(u"date"_s).toString() > STORED_DATE);
    QVariantMap expected = width(58);
    expected.remove(u"date"_s);
    expected.insert(u"mailOwner"_s, 1);
    expected.insert(u"settings"_s,
                    QVariantList{width(58).value(u"settings"_s).toList().first(),
                                 QVariantMap{{u"key"_s, u"id"_s}, {u"value"_s, u"a\nb"_s}}});
    QCOMPARE(saved, expected);
}

void TstSettingsEdit::edit_change_asJson()
{
    StoringBus bus;
    bus.willReply(u"saveSettings"_s);
    QCOMPARE(run(u"sed -i 's/80}/58}/' \"$1\""_s, u"--json"_s),
             ended(0, {},
                   "{\"changes\":[{\"after\":58,\"before\":80,\"group\":\"paper\",\"key\":\"width\"}],"
                   "\"done\":\"settings edit\",\"owner\":\"printer\",\"record\":\"changed\"}\n"));
}

void TstSettingsEdit::edit_file_isPrivateAndRemoved()
{
    StoringBus bus;
    bus.willReply(u"saveSettings"_s);
    const QString seen = m_folder->filePath(u"seen"_s);
    const QString rights = m_folder->filePath(u"rights"_s);
    const Ending ending =
        run(u"cp \"$1\" %1; stat -c %a \"$1\" \"$(dirname \"$1\")\" >%2; sed -i s/80/58/ \"$1\""_s.arg(seen, rights));
    QCOMPARE(ending.status, 0);
    QCOMPARE(contents(seen), WIDTH_TEXT);
    QCOMPARE(contents(rights), QByteArray("600\n700\n"));
    QCOMPARE(QDir(m_folder->path()).entryList({u"tarvexctl-*"_s}), QStringList());
}

void TstSettingsEdit::edit_nothingChanged_savesNothing_data()
{
    QTest::addColumn<QString>("script");
    QTest::newRow("left as it is") << u"true"_s;
    QTest::newRow("written anew") << u"cat \"$1\" >\"$1.new\"; mv \"$1.new\" \"$1\""_s;
    QTest::newRow("other blanks") << u"sed -i 's/\"value\":80/\"value\" :  80.0/' \"$1\""_s;
}

void TstSettingsEdit::edit_nothingChanged_savesNothing()
{
    QFETCH(QString, script);
    const StoringBus bus;
    QCOMPARE(run(script), ended(0, {"nothing was changed, so nothing is saved in the settings of printer"}));
    QCOMPARE(operations(bus), QStringList{u"loadSettings"_s});
    QCOMPARE(keptText(), QByteArray());
}

// The values are the same before and after that, because the last one counts.
void TstSettingsEdit::edit_settingTwice_oneTakenOut_isSaved()
{
    const QVariantMap last = width(80).value(u"settings"_s).toList().first().toMap();
    QVariantMap first = last;
    first.insert(u"value"_s, 58);
    const QVariantMap stored = record({first, last});
    StoringBus bus({stored, stored});
    bus.willReply(u"saveSettings"_s);
    const QByteArray kept("{\"group\":\"paper\",\"key\":\"width\",\"value\":80}");
    QCOMPARE(run(u"sed -i /58/d \"$1\""_s),
             ended(0, {"saved the settings of printer: 1 change"},
                   "printer\n- settings = [" + QByteArray(kept).replace("80", "58") + ',' + kept + "]\n+ settings = ["
                       + kept + "]\n"));
    QCOMPARE(requested(bus, 2).value(u"settings"_s), QVariant(QVariantList{last}));
}

void TstSettingsEdit::edit_noRecord_startsOne()
{
    StoringBus bus({{}, {}});
    bus.willReply(u"saveSettings"_s);
    const Ending ending = run(u"sed -i 's/\\[\\]/[{\"group\":\"a\",\"key\":\"b\",\"value\":null}]/' \"$1\""_s);
    QCOMPARE(ending,
             ended(0, {"saved the settings of printer: 1 change"}, "printer\n+ a first record\n+ a/b = null\n"));
    QCOMPARE(requested(bus, 2).value(u"owner"_s), QVariant(u"printer"_s));
    QCOMPARE(requested(bus, 2).value(u"mailOwner"_s), QVariant(1));
}

void TstSettingsEdit::edit_noRecordLeftEmpty_savesNothing()
{
    const StoringBus bus({QVariantMap()});
    QCOMPARE(run(u"true"_s, u"--json"_s),
             ended(0, {}, "{\"changes\":[],\"done\":\"settings edit\",\"owner\":\"printer\",\"record\":\"same\"}\n"));
    QCOMPARE(operations(bus), QStringList{u"loadSettings"_s});
}

namespace {

/// Adds a row: what the editor leaves, and what the program says of it.
void refuses(const char* name, const QByteArray& text, const QByteArrayList& words)
{
    QTest::newRow(name) << text << words;
}

} // namespace

void TstSettingsEdit::edit_wrongText_isShownAndStays_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArrayList>("words");
    const QByteArray entry("{\"group\":\"a\",\"key\":\"b\",\"value\":1}");
    refuses("comma missing", "{\"owner\":\"printer\",\n\"settings\":[" + entry + "\n " + entry + "]}\n",
            {"   2 | \"settings\":[" + entry, "   3 |  " + entry + "]}",
             "line 3: no JSON: missing value separator at column 2"});
    refuses("first line", "owner printer\n", {"   1 | owner printer", "line 1: no JSON: illegal value at column 1"});
    refuses("there twice", "{\"owner\":\"printer\",\"settings\":[\n" + entry + ",\n" + entry + "\n]}\n",
            {"   2 | " + entry + ',', "   3 | " + entry, "line 3: the setting a/b is there twice"});
    refuses("too large", "{\"owner\":\"printer\",\n\"settings\":[{\"key\":\"a\",\"value\":9007199254740993}]}\n",
            {"   1 | {\"owner\":\"printer\",", "   2 | \"settings\":[{\"key\":\"a\",\"value\":9007199254740993}]}",
             "line 2: 9007199254740993 is too large to be stored exactly as a number"});
    refuses("control character", "{\"owner\":\"\x1b[1m\",}",
            {"   1 | {\"owner\":\"\\x1b[1m\",}", "line 1: no JSON: object is missing after a comma at column 17"});
    refuses("not UTF-8", "{\"owner\":\"\xff\"}", {"   1 | {\"owner\":\"\xef\xbf\xbd\"}", "line 1: no JSON: not UTF-8"});
    refuses("another owner", "{\"owner\":\"cashbox\",\"settings\":[]}\n",
            {"the \"owner\" must stay \"printer\"; settings load saves for other owners"});
    refuses("two records", "{\"owner\":\"printer\",\"settings\":[]}\n{\"owner\":\"b\",\"settings\":[]}\n",
            {"the text holds 2 records, not one"});
    refuses("empty", "", {"the text is empty"});
    refuses("blanks", " \n\n", {"the text is empty"});
}

void TstSettingsEdit::edit_wrongText_isShownAndStays()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArrayList, words);
    const StoringBus bus;
    const QString left = written(m_folder->filePath(u"left"_s), text);
    words.last() += "; the text stays in FILE";
    QCOMPARE(run(u"cat %1 >\"$1\""_s.arg(left)), ended(2, words));
    QCOMPARE(operations(bus), QStringList{u"loadSettings"_s});
    QCOMPARE(keptText(), text);
}

void TstSettingsEdit::edit_textRemoved_isTold()
{
    const StoringBus bus;
    QCOMPARE(run(u"rm \"$1\""_s), ended(2, {"cannot read FILE: No such file or directory; the text stays in FILE"}));
}

void TstSettingsEdit::edit_editorFails_textStays_data()
{
    QTest::addColumn<QString>("end");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("status") << u"exit 3"_s << QByteArray("ended with status 3");
    QTest::newRow("signal") << u"kill -9 $$"_s << QByteArray("was ended by a signal");
}

void TstSettingsEdit::edit_editorFails_textStays()
{
    QFETCH(QString, end);
    QFETCH(QByteArray, words);
    const StoringBus bus;
    const Ending ending = run(u"echo >>\"$1\"; "_s + end);
    QCOMPARE(ending.status, 1);
    const QByteArray whole = "the editor \"" + m_folder->filePath(u"editor"_s).toUtf8() + "\" " + words;
    QVERIFY2(ending.err.endsWith(told(whole + "; the text stays in FILE")), ending.err.constData());
    QCOMPARE(keptText(), WIDTH_TEXT + '\n');
}

void TstSettingsEdit::edit_editorFailsUntouched_leavesNoFile()
{
    const StoringBus bus;
    qputenv("EDITOR", "/no/such/editor --wait");
    ProgramRun run(u"settings edit printer"_s);
    QCOMPARE(run.status(), 1);
    QVERIFY2(run.err().endsWith(told("the editor \"/no/such/editor --wait\" ended with status 127")),
             run.err().constData());
    QCOMPARE(QDir(m_folder->path()).entryList({u"tarvexctl-*"_s}), QStringList());
}

void TstSettingsEdit::edit_noEditor_is2()
{
    const StoringBus bus;
    ChildProcess run(ProgramRun::program(), words(u"settings edit printer"_s));
    run.setVariable(u"PATH"_s, m_folder->path());
    run.setVariable(u"EDITOR"_s, u" "_s);
    QVERIFY(run.start());
    QCOMPARE(run.status(), 2);
    QCOMPARE(run.err(), told("there is no editor: set VISUAL or EDITOR to one, as in EDITOR=nano"));
    QCOMPARE(bus.connectionCount(), 0);
}

void TstSettingsEdit::edit_visual_comesFirst()
{
    StoringBus bus;
    bus.willReply(u"saveSettings"_s);
    qputenv("VISUAL", "sed -i s/80/58/"); // a command with options
    const Ending ending = run(u"exit 1"_s);
    QCOMPARE(ending.status, 0);
    QCOMPARE(requested(bus, 2).value(u"settings"_s), width(58).value(u"settings"_s));
}

void TstSettingsEdit::edit_changedMeanwhile_isLeftAsItIs_data()
{
    QTest::addColumn<QVariantMap>("now");
    QTest::addColumn<QByteArray>("words");
    QVariantMap later = width(80);
    later.insert(u"date"_s, u"2026-03-02T00:00:00.000"_s);
    QVariantMap mailed = width(80);
    mailed.insert(u"mailOwner"_s, 1);
    const QByteArray saved("the settings of printer were saved meanwhile");
    QTest::newRow("value") << width(81) << saved;
    QTest::newRow("text in place of number") << width(u"80"_s) << saved;
    QTest::newRow("date") << later << saved;
    QTest::newRow("flag") << mailed << saved;
    QTest::newRow("removed") << QVariantMap() << QByteArray("the settings of printer were removed meanwhile");
}

void TstSettingsEdit::edit_changedMeanwhile_isLeftAsItIs()
{
    QFETCH(QVariantMap, now);
    QFETCH(QByteArray, words);
    const StoringBus bus({width(80), now});
    const Ending ending = run(u"sed -i s/80/58/ \"$1\""_s);
    QCOMPARE(ending, ended(1, {words + "; what is stored is left as it is; the text stays in FILE"}));
    QCOMPARE(operations(bus), (QStringList{u"loadSettings"_s, u"loadSettings"_s}));
    QCOMPARE(keptText(), QByteArray(WIDTH_TEXT).replace("80", "58"));
}

void TstSettingsEdit::edit_busRefuses_textStays()
{
    StoringBus bus;
    bus.willReply(u"saveSettings"_s, 512, u"Storage access error"_s);
    QCOMPARE(run(u"sed -i s/80/58/ \"$1\""_s),
             ended(1, {"refused by the bus: 512 Storage access error; the text stays in FILE"}));
    QCOMPARE(keptText(), QByteArray(WIDTH_TEXT).replace("80", "58"));
}

void TstSettingsEdit::edit_busGone_textStays()
{
    StoringBus bus;
    bus.willClose();
    QCOMPARE(run(u"sed -i s/80/58/ \"$1\""_s), ended(3, {"the bus closed the connection; the text stays in FILE"}));
    QCOMPARE(keptText(), QByteArray(WIDTH_TEXT).replace("80", "58"));
}

// The bus hangs, and the user does not wait for it.
void TstSettingsEdit::edit_interruptedWhileSaving_tellsOfText()
{
    StoringBus bus;
    bus.willSayNothing();
    qputenv("EDITOR", editor(u"sed -i s/80/58/ \"$1\""_s).toUtf8());
    ProgramRun run(u"--quiet settings edit printer"_s);
    QVERIFY(bus.waitForRequests(3));
    const Ending ending = run.interrupted();
    QCOMPARE(ending.status, 130);
    QVERIFY2(ending.err.startsWith("tarvexctl: the text stays in " + m_folder->path().toUtf8()),
             ending.err.constData());
    QVERIFY2(ending.err.endsWith("/settings.json\n" + told("interrupted")), ending.err.constData());
    QCOMPARE(keptText(), QByteArray(WIDTH_TEXT).replace("80", "58"));
}

void TstSettingsEdit::edit_noBus_is3AndOpensNoEditor()
{
    const QString seen = m_folder->filePath(u"seen"_s);
    QCOMPARE(run(u"touch "_s + seen), ended(3, {"no bus to be reached on 127.0.0.1: Connection refused"}));
    QVERIFY(!QFile::exists(seen));
}

void TstSettingsEdit::edit_interrupt_belongsToEditor()
{
    StoringBus bus;
    bus.willReply(u"saveSettings"_s);
    const QString seen = m_folder->filePath(u"seen"_s);
    const QString goOn = m_folder->filePath(u"go on"_s);
    qputenv("EDITOR",
            editor(u"touch '%1'; while [ ! -e '%2' ]; do sleep 0.05; done; sed -i s/80/58/ \"$1\""_s.arg(seen, goOn))
                .toUtf8());
    ProgramRun run(u"settings edit printer"_s);
    QVERIFY(run.waitFor([&] { return QFile::exists(seen); }));
    run.sendSignal(SIGINT);
    QCOMPARE(written(goOn, QByteArray()), goOn);
    QCOMPARE(run.status(), 0);
    QCOMPARE(operations(bus).size(), 3);
}

// The terminal sends the signal to every program that runs on it.
void TstSettingsEdit::edit_onTerminal_interruptBelongsToEditor()
{
    StoringBus bus;
    bus.willReply(u"saveSettings"_s);
    const QString script = u"trap 'sed -i s/80/58/ \"$2\"; exit 0' INT\necho ready >&2\nwhile :; do sleep 0.05; done"_s;
    qputenv("EDITOR", editor(script).toUtf8() + " --wait");
    Terminal terminal;
    ChildProcess run(ProgramRun::program(), words(u"settings edit printer"_s));
    run.setStepBeforeProgram([&] { terminal.take(); });
    QVERIFY(run.start());
    QVERIFY(run.waitFor([&] { return terminal.shown().contains("ready"); }));
    terminal.type("\x03");
    QCOMPARE(run.status(), 0);
    QVERIFY2(terminal.shown().contains("saved the settings of printer: 1 change"), terminal.shown().constData());
}

void TstSettingsEdit::edit_onTerminal_mayEditAgain()
{
    StoringBus bus;
    bus.willReply(u"saveSettings"_s, 2, u"Wrong record"_s);
    bus.willReply(u"loadSettings"_s, 0, QString(), width(80));
    bus.willReply(u"saveSettings"_s);
    // The first time it breaks the text, the second time it mends it, the third time it makes another change.
    qputenv("EDITOR", editor(u"sed -i 's/58/59/; s/80x/58/; s/80/80x/' \"$1\""_s).toUtf8());
    Terminal terminal;
    ChildProcess run(ProgramRun::program(), words(u"settings edit printer"_s));
    run.setStepBeforeProgram([&] { terminal.take(); });
    QVERIFY(run.start());
    QVERIFY(run.waitFor([&] { return terminal.shown().count("Edit again? [Y/n] ") == 1; }));
    QVERIFY(terminal.shown().contains("line 6: no JSON: unterminated object at column 46\r\n"));
    QVERIFY(terminal.shown().contains("   6 |     {\"group\":\"paper\",\"key\":\"width\",\"value\":80x}\r\n"));
    terminal.type("\n");
    QVERIFY(run.waitFor([&] { return terminal.shown().count("Edit again? [Y/n] ") == 2; }));
    QVERIFY(terminal.shown().contains("refused by the bus: 2 Wrong record\r\n"));
    terminal.type("y\n");
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(), QByteArray("printer\n- paper/width = 80\n+ paper/width = 59\n"));
    QCOMPARE(requested(bus, 4).value(u"settings"_s), width(59).value(u"settings"_s));
    QCOMPARE(keptText(), QByteArray());
}

void TstSettingsEdit::edit_onTerminal_quiet_tellsReason()
{
    const StoringBus bus;
    qputenv("EDITOR", editor(u"echo owner printer >\"$1\""_s).toUtf8());
    Terminal terminal;
    ChildProcess run(ProgramRun::program(), words(u"--quiet settings edit printer"_s));
    run.setStepBeforeProgram([&] { terminal.take(); });
    QVERIFY(run.start());
    QVERIFY(run.waitFor([&] { return terminal.shown().contains("Edit again? [Y/n] "); }));
    const QByteArray shown = terminal.shown();
    QVERIFY2(shown.startsWith("tarvexctl: line 1: no JSON: illegal value at column 1\r\n"), shown.constData());
    QVERIFY2(shown.contains("\ntarvexctl:    1 | owner printer\r\n"), shown.constData());
    terminal.type("n\n");
    QCOMPARE(run.status(), 2);
}

void TstSettingsEdit::edit_onTerminal_mayGiveUp_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("no") << QByteArray("n\n");
    QTest::newRow("end of input") << QByteArray("\x04");
    QTest::newRow("something else") << QByteArray("save\n");
}

void TstSettingsEdit::edit_onTerminal_mayGiveUp()
{
    QFETCH(QByteArray, answer);
    const StoringBus bus;
    qputenv("EDITOR", editor(u"echo '{' >\"$1\""_s).toUtf8());
    Terminal terminal;
    ChildProcess run(ProgramRun::program(), words(u"settings edit printer"_s));
    run.setStepBeforeProgram([&] { terminal.take(); });
    QVERIFY(run.start());
    QVERIFY(run.waitFor([&] { return terminal.shown().contains("Edit again? [Y/n] "); }));
    terminal.type(answer);
    QCOMPARE(run.status(), 2);
    QVERIFY2(terminal.shown().contains("tarvexctl: given up; the text stays in "), terminal.shown().constData());
    QCOMPARE(keptText(), QByteArray("{\n"));
    QCOMPARE(operations(bus), QStringList{u"loadSettings"_s});
}

void TstSettingsEdit::edit_realBus_changesWhatIsStored()
{
    const BusProcess bus;
    QVERIFY(does(u"settings set printer paper width 80"_s));
    QCOMPARE(run(u"sed -i s/80/58/ \"$1\""_s).status, 0);
    ProgramRun get(u"--json settings get printer"_s);
    QCOMPARE(get.status(), 0);
    QCOMPARE(get.objects().value(0).value(u"settings"_s), width(58).value(u"settings"_s));
}

QTEST_GUILESS_MAIN(TstSettingsEdit)
#include "tst_settingsedit.moc"
