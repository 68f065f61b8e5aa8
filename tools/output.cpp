#include "output.h"

#include "cellwidth.h"
#include "failure.h"
#include "programwords.h"
#include "standardstreams.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <unistd.h>

namespace tarvexctl {

namespace {

const QLatin1String COLUMN_GAP("  ");
const QLatin1String NOTHING("-");

/// Set once, while there is only one thread.
bool areWordsSilent = false;

// Writes without a buffer. So the data is out before the program waits for the next answer, and the end of the process
// has nothing to flush, which would block when the reader takes nothing.
void writeData(const QString& text)
{
    const QString error = tarvex::programs::writeAll(STDOUT_FILENO, text.toUtf8());
    if (!error.isEmpty()) {
        throw Failure(Refused, Words::tr("cannot write to stdout: %1").arg(error));
    }
}

/// Characters that control a terminal, are not seen, or change the order of those around them.
bool isHidden(QChar character)
{
    switch (character.category()) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
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
        break;
    }
    const ushort code = character.unicode();
    return code <= 0xff ? QStringLiteral("\\x%1").arg(code, 2, 16, QLatin1Char('0'))
                        : QStringLiteral("\\u%1").arg(code, 4, 16, QLatin1Char('0'));
}

void widen(QVector<int>& widths, const QStringList& row)
{
    widths.resize(qMax(widths.size(), row.size()));
    for (int column = 0; column < row.size(); ++column) {
        widths[column] = qMax(widths.at(column), cellWidth(row.at(column)));
    }
}

QString rowLine(const QVector<int>& widths, const QStringList& row)
{
    QString line;
    for (int column = 0; column < row.size() - 1; ++column) {
        const QString& cell = row.at(column);
        line += cell + QString(widths.at(column) - cellWidth(cell), QLatin1Char(' ')) + COLUMN_GAP;
    }
    return line + row.last() + QLatin1Char('\n');
}

} // namespace

void Output::writeObject(const QVariantMap& object)
{
    writeData(jsonText(object) + QLatin1Char('\n'));
}

void Output::writeRecord(const QString& text)
{
    writeData(m_isFirst ? text : QLatin1Char('\n') + text);
    m_isFirst = false;
}

void Output::writeText(const QString& lines)
{
    writeData(lines);
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
    if (!m_json) {
        complain(words);
        return;
    }
    try {
        writeObject(object);
    } catch (const Failure& failure) {
        // The status says that something went wrong. The words say that the change was made.
        throw Failure(failure.status(), Words::tr("%1, but %2").arg(words, failure.words()));
    }
}

void silenceWords()
{
    areWordsSilent = true;
}

void complain(const QString& words)
{
    if (!areWordsSilent) {
        tellFailure(words);
    }
}

void tellFailure(const QString& words)
{
    const QByteArray line = (QLatin1String("tarvexctl: ") + visible(words) + QLatin1Char('\n')).toUtf8();
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stderr);
}

QString visible(const QString& text)
{
    QString shown;
    shown.reserve(text.size());
    for (const QChar character : text) {
        if (isHidden(character)) {
            shown += escaped(character);
        } else {
            shown += character;
        }
    }
    return shown;
}

QString cellText(const QString& text)
{
    if (text.isEmpty()) {
        return NOTHING;
    }
    return text == NOTHING ? QStringLiteral("\"-\"") : visible(text);
}

QString jsonText(const QVariant& value)
{
    // A document must be an object or an array, so the value is put into an array and the brackets are removed.
    const QJsonArray wrapped{QJsonValue::fromVariant(value)};
    const QByteArray text = QJsonDocument(wrapped).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(text.mid(1, text.size() - 2));
}

QString timeText(const QDateTime& time)
{
    return time.isValid() ? time.toString(Qt::ISODateWithMs) : QString();
}

QString fieldLines(const QList<QPair<QString, QString>>& fields)
{
    QList<QStringList> rows;
    for (const auto& field : fields) {
        rows.append({field.first, cellText(field.second)});
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
