#include "cmdlayer/abstracttarvexcommandexecutor.h"

AbstractTarvexCommandExecutor::AbstractTarvexCommandExecutor(const QString& name, QObject* parent)
    : QObject(parent), m_name(name)
{
}

AbstractTarvexCommandExecutor::~AbstractTarvexCommandExecutor() = default;

QString AbstractTarvexCommandExecutor::name() const
{
    return m_name;
}
