#include "failure.h"
#include "newservice/commandlist.h"
#include "newservice/maintainer.h"
#include "newservice/servicefiles.h"
#include "newservice/servicename.h"
#include "output.h"
#include "owners.h"
#include "programwords.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <QDateTime>
#include <QDir>
#include <QStandardPaths>

#include <pwd.h>

namespace tarvexctl {

namespace {

/// Says what the user should know about a name that is in use elsewhere.
void tellOfOthers(const ServiceName& name)
{
    if (supportedClients().contains(name.client())) {
        complain(Words::tr("%1 is one of the names that the library knows: tarvex::BUSNAME_%2")
                     .arg(name.client(), name.client().toUpper()));
    }
    const QString program = QStandardPaths::findExecutable(
        name.package(), {QStringLiteral("/usr/bin"), QStringLiteral("/bin"), QStringLiteral("/usr/sbin")});
    if (!program.isEmpty()) {
        complain(
            Words::tr("%1 is a program of this machine; the package of the service replaces no program").arg(program));
    }
    if (::getpwnam(name.package().toLocal8Bit().constData()) != nullptr) {
        complain(
            Words::tr("%1 is a user of this machine; systemd would run the service as this user").arg(name.package()));
    }
}

/// Writes the first version of a service, with all that belongs to it.
class NewService : public Verb
{
public:
    NewService() : Verb("new-service", Words::mark("Writes a new service, with its test and its package")) { }

    void addOptions(CLI::App& parser) override
    {
        m_name.addTo(parser);
        m_commands.addTo(parser);
        m_folder.addTo(parser);
        addFooter(
            parser,
            Words::mark(
                "The service is written to a folder of its own, which is called NAME. It builds with CMake and runs "
                "as it is; its README.md has the first commands. No bus is needed."));
        addExample(parser, "tarvexctl new-service ticket_gate --commands open,close");
    }

    void run(const Context& context) const override;

private:
    Argument m_name{"NAME", Words::mark("The name of the service on the bus; files and classes are named after it")};
    OptionalText m_commands{"--commands",
                            Words::mark("The commands that it carries out, with commas between their names. Without "
                                        "the option they are blink,beep"),
                            "NAMES"};
    OptionalText m_folder{
        "--in",
        Words::mark("The folder in which the service's folder is made. Without the option it is the current one"),
        "FOLDER"};
};

void NewService::run(const Context& context) const
{
    const ServiceName name(m_name.nonEmptyText());
    const QStringList commands = commandsFrom(m_commands.text().value_or(QStringLiteral("blink,beep")));
    const QString parent = m_folder.text().value_or(QStringLiteral("."));
    requireName(parent, QStringLiteral("--in"));
    const QString folder = QDir::cleanPath(QDir(parent).absoluteFilePath(name.client()));
    const std::optional<QString> author = maintainer();
    const Files files = serviceFiles(name, commands, author.value_or(QStringLiteral("Your Name <you@example.com>")),
                                     QDateTime::currentDateTime());
    writeFolder(folder, files);
    context.output.report(
        {{QStringLiteral("done"), QStringLiteral("new-service")},
         {QStringLiteral("name"), name.client()},
         {QStringLiteral("package"), name.package()},
         {QStringLiteral("commands"), commands},
         {QStringLiteral("folder"), folder},
         {QStringLiteral("files"), QStringList(files.keys())}},
        Words::tr("wrote the service %1 to %2; its README.md has the first commands").arg(name.client(), folder));
    if (!author) {
        complain(Words::tr("your name and mail address are not known; write them for \"Your Name\" in %1/debian")
                     .arg(folder));
    }
    tellOfOthers(name);
}

} // namespace

std::unique_ptr<Verb> makeNewService()
{
    return std::make_unique<NewService>();
}

} // namespace tarvexctl
