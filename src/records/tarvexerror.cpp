#include "records/tarvexerror.h"

#include <QObject>

#include <mutex>
#include <type_traits>

namespace tarvex {

static_assert(std::is_nothrow_move_constructible_v<TarvexError> && std::is_nothrow_move_assignable_v<TarvexError>,
              "errors are returned by value");

QMap<TarvexError::Error, QString> TarvexError::_errors;

namespace {

// Services construct errors in several threads, and the lookup of an unknown code writes to the table.
std::mutex& tableMutex()
{
    static std::mutex mutex;
    return mutex;
}

// "Incorret" and "Unregisterd" are the bus's own spellings. They stay, because the server compares and logs these
// texts.
void fillTable(QMap<TarvexError::Error, QString>& table)
{
    table.insert(TarvexError::NoError, QString());
    table.insert(TarvexError::IncorrectRequestSize, QObject::tr("Incorret request size"));
    table.insert(TarvexError::IncorrectRequestData, QObject::tr("Incorrect request data"));
    table.insert(TarvexError::InvalidDataStorage, QObject::tr("Invalid data storage"));
    table.insert(TarvexError::StorageAccessError, QObject::tr("Storage access error"));
    table.insert(TarvexError::UnregisteredClient, QObject::tr("Unregisterd client"));
    table.insert(TarvexError::UnsupportedRequest, QObject::tr("Unsupported request"));
    table.insert(TarvexError::NoSettingsForClient, QObject::tr("There are no settings for client"));
}

} // namespace

TarvexError::TarvexError() : TarvexError(NoError) { }

TarvexError::TarvexError(Error code) : m_error(code)
{
    prepareErrors();
    const std::lock_guard<std::mutex> lock(tableMutex());
    m_description = _errors[code];
}

TarvexError::TarvexError(Error code, const QString& description) : m_error(code), m_description(description) { }

TarvexError::Error TarvexError::error() const
{
    return m_error;
}

void TarvexError::setError(const Error& error)
{
    m_error = error;
}

QString TarvexError::description() const
{
    return m_description;
}

void TarvexError::setDescription(const QString& description)
{
    m_description = description;
}

bool TarvexError::operator==(const TarvexError& other)
{
    return m_error == other.m_error;
}

bool TarvexError::operator!=(const TarvexError& other)
{
    return !(*this == other);
}

void TarvexError::prepareErrors()
{
    const std::lock_guard<std::mutex> lock(tableMutex());
    if (_errors.isEmpty()) {
        fillTable(_errors);
    }
}

} // namespace tarvex
