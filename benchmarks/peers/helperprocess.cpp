#include "helperprocess.h"

#include "require.h"

#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

HelperProcess::HelperProcess(const QList<QByteArray>& command)
{
    int input[2];
    int output[2];
    require(::pipe2(input, O_CLOEXEC) == 0 && ::pipe2(output, O_CLOEXEC) == 0, "no pipe can be made");
    // Made before the fork, because the child may call system functions only.
    std::vector<char*> arguments;
    for (const QByteArray& argument : command) {
        arguments.push_back(const_cast<char*>(argument.constData()));
    }
    arguments.push_back(nullptr);
    m_pid = ::fork();
    if (m_pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(input[0], STDIN_FILENO);
        ::dup2(output[1], STDOUT_FILENO);
        ::execv(arguments.front(), arguments.data());
        ::_exit(127);
    }
    require(m_pid > 0, "no process can be made");
    ::close(input[0]);
    ::close(output[1]);
    m_input = input[1];
    m_output = output[0];
}

HelperProcess::~HelperProcess()
{
    ::kill(m_pid, SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
    ::close(m_input);
    ::close(m_output);
}

QList<QByteArray> HelperProcess::server(const QByteArray& kind, const QList<QByteArray>& arguments)
{
    return QList<QByteArray>{"/proc/self/exe", "--serve", kind} + arguments;
}

void HelperProcess::send(const QByteArray& bytes)
{
    for (int sent = 0; sent < bytes.size();) {
        const ssize_t count = ::write(m_input, bytes.constData() + sent, static_cast<size_t>(bytes.size() - sent));
        require(count > 0, "the other side's process has ended");
        sent += static_cast<int>(count);
    }
}

QByteArray HelperProcess::readLine()
{
    QByteArray line;
    char next = 0;
    while (::read(m_output, &next, 1) == 1) {
        if (next == '\n') {
            return line;
        }
        line += next;
    }
    require(false, "the other side's process has ended");
    return {};
}

void HelperProcess::command(const QByteArray& name, const QByteArray& bytes)
{
    send(name + ' ' + QByteArray::number(bytes.size()) + '\n' + bytes);
    require(readLine() == "ok", "the other side does not take a command");
}
