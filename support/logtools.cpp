#include "logtools.h"

#include "shownlength_p.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QTextCodec>

using wexcor::MAX_SHOWN_LENGTH;

namespace {

/// Writes \a text and \a tail, and a space after them where the stream inserts spaces: the saver does that.
QDebug writeBounded(QDebug debug, const QString& text, const QString& tail = QString())
{
    const QDebugStateSaver saver(debug);
    debug.nospace().noquote() << text.left(MAX_SHOWN_LENGTH);
    if (text.size() > MAX_SHOWN_LENGTH) {
        debug << "... (" << text.size() - MAX_SHOWN_LENGTH << " more)";
    }
    debug << tail;
    return debug;
}

QString escapedByte(uint value)
{
    return QStringLiteral("\\x%1").arg(value, 2, 16, QLatin1Char('0'));
}

/// The text with line ends and other control characters made visible, so that a dump stays on its line.
QString withVisibleControls(const QString& text)
{
    QString shown;
    shown.reserve(text.size());
    for (const QChar character : text) {
        if (character.category() == QChar::Other_Control) {
            shown += escapedByte(character.unicode());
        } else {
            shown += character;
        }
    }
    return shown;
}

QString bytesAsHex(const QByteArray& data)
{
    QString shown;
    shown.reserve(4 * data.size());
    for (const char byte : data) {
        shown += escapedByte(static_cast<uchar>(byte));
    }
    return shown;
}

QString dump(const QByteArray& data, const char* codecName)
{
    // Cut before decoding, because most of a dump of 32 MiB would be thrown away. The cut may split a character.
    const int shown = qMin(data.size(), MAX_SHOWN_LENGTH);
    const QTextCodec* codec = QTextCodec::codecForName(codecName);
    if (codec == nullptr) {
        // With its length, because from a QByteArray alone Qt 5 takes only what stands before the first zero byte.
        return withVisibleControls(QString::fromLatin1(data.constData(), shown));
    }
    QTextCodec::ConverterState state;
    const QString text = codec->toUnicode(data.constData(), shown, &state);
    const bool isText = state.invalidChars == 0 && (state.remainingChars == 0 || shown < data.size());
    // A replacement character would hide which bytes came. So bytes that are no text are shown as bytes.
    return isText ? withVisibleControls(text) : bytesAsHex(data.left(shown));
}

QString variantText(const QVariant& value)
{
    if (!value.isValid()) {
        return QStringLiteral("<invalid>");
    }
    const QJsonValue json = QJsonValue::fromVariant(value);
    if (json.isObject()) {
        return QString::fromUtf8(QJsonDocument(json.toObject()).toJson(QJsonDocument::Compact));
    }
    if (json.isArray()) {
        return QString::fromUtf8(QJsonDocument(json.toArray()).toJson(QJsonDocument::Compact));
    }
    if (value.canConvert<QString>()) {
        return value.toString();
    }
    return QStringLiteral("<%1>").arg(QLatin1String(value.typeName()));
}

} // namespace

QTextStream& logtab(QTextStream& stream)
{
    return stream << '\t';
}

logbinary::logbinary(const QByteArray& data, const char* codec) : m_data(data), m_codec(codec) { }

QDebug operator<<(QDebug debug, const logbinary& binary)
{
    const int size = binary.m_data.size();
    const QString tail = size > MAX_SHOWN_LENGTH ? QStringLiteral(" of %1 bytes").arg(size) : QString();
    return writeBounded(debug, dump(binary.m_data, binary.m_codec), tail);
}

loglist::loglist(const QStringList& list) : m_list(list) { }

QDebug operator<<(QDebug debug, const loglist& list)
{
    return writeBounded(debug, list.m_list.join(QLatin1Char('\n')));
}

logvariant::logvariant(const QVariant& value) : m_value(value) { }

QDebug operator<<(QDebug debug, const logvariant& variant)
{
    return writeBounded(debug, variantText(variant.m_value));
}
