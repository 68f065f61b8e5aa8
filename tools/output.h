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

/// What the program writes. All of it is UTF-8. Data goes to stdout, words go to stderr.
namespace tarvexctl {

/// Writes data in one of two forms: lines of JSON for programs, or aligned text for people.
class Output
{
public:
    explicit Output(bool json) : m_json(json) { }

    bool isJson() const { return m_json; }

    /// Writes \a object as one line. Throws Failure when stdout does not take it.
    void writeObject(const QVariantMap& object);

    /// Writes a record for people, with an empty line before it when it is not the first. Throws Failure as well.
    void writeRecord(const QString& text);

    /// Writes lines for people, as they are. Throws Failure as well.
    void writeText(const QString& lines);

    /// Writes a row of a table that grows, with the header before the first row, for people. Cells are shown as
    /// cellText() does. A column is as wide as its widest cell so far. Throws Failure as well.
    void writeRow(const QStringList& header, const QStringList& row);

    /// Writes a whole table. With --json each item is one line. Otherwise \a rowOf makes a row of each item, see
    /// writeRow(), and columns are as wide as their widest cell. Without items nothing is written. Throws Failure as
    /// well.
    void writeTable(const QStringList& header, const QList<QVariantMap>& items,
                    const std::function<QStringList(const QVariantMap&)>& rowOf);

    /// Says what was done: with --json by the object on stdout, otherwise by the words on stderr. Throws Failure when
    /// stdout does not take the object; its words say that the thing was done.
    void report(const QVariantMap& object, const QString& words);

private:
    bool m_json;
    bool m_isFirst = true;
    QVector<int> m_widths;
};

/// Makes complain() silent from now on: --quiet.
void silenceWords();

/// Writes the words to stderr on one line, see visible(), with the program's name before them. This is for what is
/// worth knowing beside the result. With --quiet nothing is written.
void complain(const QString& words);

/// The same for what has failed, which is told with --quiet as well.
void tellFailure(const QString& words);

/// The text on one line. Control characters are shown as escapes, because they could control the terminal,
/// and so are invisible ones, and those that change the order of the text.
QString visible(const QString& text);

/// A text in a table, on one line, see visible(). An empty text is shown as "-", and the text "-" is shown in quotes.
QString cellText(const QString& text);

/// A value as compact JSON.
QString jsonText(const QVariant& value);

/// The time in ISO form, to the millisecond; empty when it is invalid. Records hold local times without a zone, so the
/// time is shown as the client has written it.
QString timeText(const QDateTime& time);

/// "Name  value" lines with the values aligned and shown as cellText() does.
QString fieldLines(const QList<QPair<QString, QString>>& fields);

/// Lines with aligned columns.
QString tableLines(const QList<QStringList>& rows);

} // namespace tarvexctl

#endif // OUTPUT_H
