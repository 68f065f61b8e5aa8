#include "texteditor.h"

#include "failure.h"
#include "interrupts.h"
#include "programwords.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>

#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace tarvexctl {

namespace {

/// The editor as a child process, with the terminal of this program.
class Editor : public QProcess
{
public:
    Editor()
    {
        setProcessChannelMode(QProcess::ForwardedChannels);
        setInputChannelMode(QProcess::ForwardedInputChannel);
    }

protected:
    /// Runs in the child before the editor.
    void setupChildProcess() override
    {
        m_ignored.restore();
        if (::isatty(STDOUT_FILENO) == 0) {
            ::dup2(STDERR_FILENO, STDOUT_FILENO);
        }
    }

private:
    /// A terminal sends its signals to both programs. They are meant for the editor.
    const SignalsIgnored m_ignored{SIGINT, SIGQUIT};
};

/// What the shell runs. The variables may hold options as well, so the shell takes the command apart, as other programs
/// do it. A single command takes the place of the shell, because the shell would end on the SIGINT that is meant for
/// the editor.
QString shellText(const QString& command)
{
    static const QRegularExpression single(QStringLiteral("^\\s*[^\\s=;|&(){}]+(\\s[^;|&\\n]*)?$"));
    const QLatin1String beginning(single.match(command).hasMatch() ? "exec " : "");
    return beginning + command + QLatin1String(" \"$@\"");
}

} // namespace

QString editorCommand()
{
    for (const char* const variable : {"VISUAL", "EDITOR"}) {
        QString command = qEnvironmentVariable(variable);
        if (!command.trimmed().isEmpty()) {
            return command;
        }
    }
    for (const char* const name : {"sensible-editor", "vi", "nano"}) {
        if (!QStandardPaths::findExecutable(QLatin1String(name)).isEmpty()) {
            return QLatin1String(name);
        }
    }
    throw Failure(WrongUse, Words::tr("there is no editor: set VISUAL or EDITOR to one, as in EDITOR=nano"));
}

void editFile(const QString& command, const QString& path)
{
    Editor editor;
    editor.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), shellText(command), command, path});
    if (!editor.waitForFinished(-1)) {
        throw Failure(WrongUse, Words::tr("cannot start the editor \"%1\": %2").arg(command, editor.errorString()));
    }
    if (editor.exitStatus() != QProcess::NormalExit) {
        throw Failure(Refused, Words::tr("the editor \"%1\" was ended by a signal").arg(command));
    }
    if (editor.exitCode() != 0) {
        throw Failure(
            Refused,
            Words::tr("the editor \"%1\" ended with status %2").arg(command, QString::number(editor.exitCode())));
    }
}

bool canAskUser()
{
    return ::isatty(STDIN_FILENO) != 0 && ::isatty(STDERR_FILENO) != 0;
}

bool askUser(const QString& question)
{
    const QByteArray words = (question + QStringLiteral(" [Y/n] ")).toUtf8();
    std::fwrite(words.constData(), 1, static_cast<size_t>(words.size()), stderr);
    QFile input;
    input.open(STDIN_FILENO, QIODevice::ReadOnly | QIODevice::Unbuffered); // what comes later is for others
    const QByteArray line = input.readLine();
    const QByteArray answer = line.trimmed().toLower();
    return line.endsWith('\n') && (answer.isEmpty() || answer == "y" || answer == "yes");
}

} // namespace tarvexctl
