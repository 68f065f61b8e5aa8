#ifndef OUTPUT_H
#define OUTPUT_H

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <QVector>

#include <functional>

class QDateTime;

/// What the program writes, all of it UTF-8. Data goes to stdout, words to stderr.
namespace tarvexctl {

/// Writes data in one of two forms: a line of JSON for programs, aligned text for people.
class Output
{
public:
    explicit Output(bool json) : m_json(json) { }

    bool isJson() const { return m_json; }

    /// Writes \a object as one line. Throws Failure when stdout does not take it.
    void writeObject(const QVariantMap& object);

    /// Writes a record for people, set apart from the one before by an empty line. Throws Failure as well.
    void writeRecord(const QString& text);

    /// Writes a row of a table that grows, with the header before the first row, for people. Cells are shown as
    /// cellText() does. A column is as wide as its widest cell so far. Throws Failure as well.
    void writeRow(const QStringList& header, const QStringList& row);

    /// Writes a whole table: each item as a line with --json, otherwise as a row, which \a rowOf makes of it, see
    /// writeRow(). Columns are as wide as their widest cell. Without items nothing is written. Throws Failure as well.
    void writeTable(const QStringList& header, const QList<QVariantMap>& items,
                    const std::function<QStringList(const QVariantMap&)>& rowOf);

    /// Tells of something done: the object with --json, otherwise the words, on stderr. Throws Failure when stdout does
    /// not take the object; its words say that the thing was done.
    void report(const QVariantMap& object, const QString& words);

private:
    bool m_json;
    bool m_isFirst = true;
    QVector<int> m_widths;
};

/// Writes the words to stderr on one line, see visible(), with the program's name before them.
void complain(const QString& words);

/// The text on one line: control characters, which could also steer the terminal, are shown as escapes.
QString visible(const QString& text);

/// A text in a table, on one line, see visible(). An empty one is shown as "-", and the text "-" in quotes.
QString cellText(const QString& text);

/// A value as compact JSON.
QString jsonText(const QVariant& value);

/// In ISO form, to the millisecond; empty when invalid. The records carry local times without a zone: what is shown is
/// what the client has written.
QString timeText(const QDateTime& time);

/// "Name  value" lines with the values aligned and shown as cellText() does.
QString fieldLines(const QList<QPair<QString, QString>>& fields);

/// Lines with aligned columns.
QString tableLines(const QList<QStringList>& rows);

} // namespace tarvexctl

#endif // OUTPUT_H
