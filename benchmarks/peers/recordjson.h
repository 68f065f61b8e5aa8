#ifndef RECORDJSON_H
#define RECORDJSON_H

#include <QDateTime>
#include <QString>
#include <QVariant>

#include <string>
#include <string_view>

/// Compact JSON, written and read piece by piece. Good for the records of this benchmark alone: it fails on a
/// text that is not JSON, and on one with white space.
namespace recordjson {

/// Appends a string with its quotes.
void append(std::string& json, const QString& text);
/// Appends a date as the records have it, in quotes.
void append(std::string& json, const QDateTime& date);

/// Goes through a JSON text. Each call takes the next value in.
class Reader
{
public:
    explicit Reader(std::string_view json) : m_next(json.data()), m_end(json.data() + json.size()) { }

    QString string();
    /// With the day and the time that the text shows, in UTC, because Qt would ask the system for a local one.
    QDateTime date();
    double number();
    QVariant scalar();
    void skip();

    /// Calls \a member with each key. It has to take the value in.
    template <typename Member>
    void object(const Member& member)
    {
        for (take('{'); *m_next != '}'; takeIf(',')) {
            const std::string_view key = rawString();
            take(':');
            member(key);
        }
        take('}');
    }

    /// Calls \a element for each element. It has to take the element in.
    template <typename Element>
    void list(const Element& element)
    {
        for (take('['); *m_next != ']'; takeIf(',')) {
            element();
        }
        take(']');
    }

private:
    void take(char expected);
    void takeIf(char wanted);
    /// The bytes between the quotes, as they are.
    std::string_view rawString();
    QString unescaped(std::string_view raw);

    const char* m_next;
    const char* m_end;
    bool m_isPlain = true; ///< The last raw string has ASCII characters only, and none of them is escaped.
    bool m_isEscaped = false;
    std::string m_buffer;
};

} // namespace recordjson

#endif // RECORDJSON_H
