#include "output.h"

#include "failure.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <unistd.h>

namespace tarvexctl {

namespace {

const QLatin1String COLUMN_GAP("  ");

// Without a stream's buffer: what has been read is on its way before the program waits for the next answer, and nothing
// is left for the end of the process to flush, which would get stuck behind a reader that takes nothing.
void writeData(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    for (int written = 0; written < bytes.size();) {
        const ssize_t count =
            ::write(STDOUT_FILENO, bytes.constData() + written, static_cast<size_t>(bytes.size() - written));
        if (count >= 0) {
            written += static_cast<int>(count);
        } else if (errno != EINTR) {
            throw Failure(Refused,
                          QStringLiteral("cannot write to stdout: %1").arg(QString::fromUtf8(strerror(errno))));
        }
    }
}

QString escaped(QChar character)
{
    switch (character.unicode()) {
    case '\n':
        return QStringLiteral("\\n");
    case '\r':
        return QStringLiteral("\\r");
    case '\t':
        return QStringLiteral("\\t");
    default:
        return QStringLiteral("\\x%1").arg(character.unicode(), 2, 16, QLatin1Char('0'));
    }
}

void widen(QVector<int>& widths, const QStringList& row)
{
    widths.resize(qMax(widths.size(), row.size()));
    for (int column = 0; column < row.size(); ++column) {
        widths[column] = qMax(widths.at(column), row.at(column).size());
    }
}

QString rowLine(const QVector<int>& widths, const QStringList& row)
{
    QString line;
    for (int column = 0; column < row.size() - 1; ++column) {
        line += row.at(column).leftJustified(widths.at(column)) + COLUMN_GAP;
    }
    return line + row.last() + QLatin1Char('\n');
}

QString cellText(const QString& text)
{
    return text.isEmpty() ? QStringLiteral("-") : visible(text);
}

} // namespace

void holdStandardStreams()
{
    // For reading only, so that writing fails as it does on a stream that is closed. The lowest free number is taken.
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = ::open("/dev/null", O_RDONLY);
    }
    if (descriptor >= 0) {
        ::close(descriptor);
    }
}

void Output::writeObject(const QVariantMap& object)
{
    writeData(jsonText(object) + QLatin1Char('\n'));
}

void Output::writeRecord(const QString& text)
{
    writeData(m_isFirst ? text : QLatin1Char('\n') + text);
    m_isFirst = false;
}

void Output::writeRow(const QStringList& header, const QStringList& row)
{
    QStringList cells;
    std::transform(row.begin(), row.end(), std::back_inserter(cells), cellText);
    QString lines;
    widen(m_widths, cells);
    if (m_isFirst) {
        widen(m_widths, header);
        lines = rowLine(m_widths, header);
        m_isFirst = false;
    }
    writeData(lines + rowLine(m_widths, cells));
}

void Output::writeTable(const QStringList& header, const QList<QVariantMap>& items,
                        const std::function<QStringList(const QVariantMap&)>& rowOf)
{
    QList<QStringList> rows;
    for (const QVariantMap& item : items) {
        rows.append(rowOf(item));
        QStringList cells;
        std::transform(rows.last().begin(), rows.last().end(), std::back_inserter(cells), cellText);
        widen(m_widths, cells);
    }
    for (int row = 0; row < rows.size(); ++row) {
        if (m_json) {
            writeObject(items.at(row));
        } else {
            writeRow(header, rows.at(row));
        }
    }
}

void Output::report(const QVariantMap& object, const QString& words)
{
    if (m_json) {
        writeObject(object);
    } else {
        complain(words);
    }
}

void complain(const QString& words)
{
    const QByteArray line = (QLatin1String("tarvexctl: ") + visible(words) + QLatin1Char('\n')).toUtf8();
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stderr);
}

QString visible(const QString& text)
{
    QString shown;
    shown.reserve(text.size());
    for (const QChar character : text) {
        if (character.category() == QChar::Other_Control) {
            shown += escaped(character);
        } else {
            shown += character;
        }
    }
    return shown;
}

QString jsonText(const QVariant& value)
{
    // A document is an object or an array; the array's brackets are taken off again.
    const QJsonArray wrapped{QJsonValue::fromVariant(value)};
    const QByteArray text = QJsonDocument(wrapped).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(text.mid(1, text.size() - 2));
}

QString timeText(const QDateTime& time)
{
    return time.isValid() ? time.toString(Qt::ISODateWithMs) : QStringLiteral("-");
}

QString fieldLines(const QList<QPair<QString, QString>>& fields)
{
    QList<QStringList> rows;
    for (const auto& field : fields) {
        rows.append({field.first, field.second.isEmpty() ? QStringLiteral("-") : field.second});
    }
    return tableLines(rows);
}

QString tableLines(const QList<QStringList>& rows)
{
    QVector<int> widths;
    for (const QStringList& row : rows) {
        widen(widths, row);
    }
    QString lines;
    for (const QStringList& row : rows) {
        lines += rowLine(widths, row);
    }
    return lines;
}

} // namespace tarvexctl
