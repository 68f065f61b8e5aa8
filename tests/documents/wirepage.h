#ifndef WIREPAGE_H
#define WIREPAGE_H

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QVariantMap>

/// The literal blocks of docs/wire.md, by the names above them.
///
/// A block stands below a line "<!-- wire: NAME -->". A block that is named "NAME, frame" is a whole frame. Its lines
/// end in CR LF, except the last one. The other blocks are JSON texts.
class WirePage
{
public:
    WirePage();

    /// Why the page could not be read; empty on success.
    QString errorString() const { return m_errorString; }

    /// All rows of the table of codes: code and description.
    QMap<int, QString> codes() const { return m_codes; }

    QByteArray json(const QString& name) const { return m_blocks.value(name); }

    /// The data of the envelope \a name.
    QVariantMap data(const QString& name) const;

    /// The frame as it stands on the page.
    QByteArray frame(const QString& name) const;

    /// A frame that holds the JSON text \a name, made without the library's codec.
    QByteArray framed(const QString& name) const;

private:
    void readLine(const QString& line);

    QString m_errorString;
    QString m_name; ///< The name of the block that is being read or comes next.
    bool m_isInBlock = false;
    QMap<QString, QByteArray> m_blocks;
    QMap<int, QString> m_codes;
};

#endif // WIREPAGE_H
