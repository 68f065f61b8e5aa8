#ifndef CODECBYHAND_H
#define CODECBYHAND_H

#include "wire/busframe_p.h"
#include "wire/jsonreader_p.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtEndian>

#include <algorithm>
#include <cstring>

#ifdef __has_feature
#    define CODECBYHAND_HAS_FEATURE(feature) __has_feature(feature)
#else
#    define CODECBYHAND_HAS_FEATURE(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || CODECBYHAND_HAS_FEATURE(address_sanitizer)
#    include <sanitizer/lsan_interface.h>
#    define CODECBYHAND_FINDS_LEAKS
#endif

/// The frame codec step by step, with Qt's functions alone. The codec must give the same bytes, values and errors.
namespace byhand {

namespace busframe = tarvex::busframe;

inline QByteArray payload(const QVariantMap& envelope)
{
    return qCompress(QJsonDocument::fromVariant(envelope).toJson(QJsonDocument::Compact)).toBase64();
}

inline QByteArray frame(const QByteArray& header, const QVariantMap& envelope)
{
    const QByteArray bytes = payload(envelope);
    return header + "\r\n" + QByteArray::number(bytes.size()) + "\r\n" + bytes;
}

inline QByteArray request(const QString& operation, const QVariantMap& data)
{
    return frame("[-REQUEST-]", {{QStringLiteral("operation"), operation}, {QStringLiteral("data"), data}});
}

inline QByteArray reply(const QString& operation, quint16 code, const QString& description, const QVariantMap& data)
{
    const QVariantMap result{{QStringLiteral("code"), int(code)}, {QStringLiteral("description"), description}};
    return frame(
        "[-REPLY-]",
        {{QStringLiteral("operation"), operation}, {QStringLiteral("data"), data}, {QStringLiteral("result"), result}});
}

/// qUncompress allocates what the length prefix claims, and refuses 2 GiB. A smaller claim changes nothing else,
/// because qUncompress enlarges its buffer. So a large claim is made smaller, and lying prefixes cost nothing.
inline QByteArray inflated(QByteArray block)
{
    constexpr quint32 LARGE_CLAIM = 64 * 1024;
    constexpr int PREFIX_SIZE = 4;
    if (block.size() > PREFIX_SIZE && qFromBigEndian<quint32>(block.constData()) > LARGE_CLAIM) {
        qToBigEndian(LARGE_CLAIM, block.data());
    }
    const QByteArray text = qUncompress(block);
    return text.size() <= busframe::MAX_ENVELOPE_SIZE ? text : QByteArray();
}

/// The number of values in \a text, if it is valid JSON.
inline int countValues(const QByteArray& text)
{
    int count = 1;
    bool isInString = false;
    char former = 0;
    for (int i = 0; i < text.size(); ++i) {
        const char c = text.at(i);
        if (isInString) {
            i += c == '\\' ? 1 : 0;
            isInString = c != '"';
        } else if (c != ' ' && c != '\t' && c != '\n' && c != '\r') {
            const bool isEmptyContainer = c == '}' || c == ']';
            count += c == ',' || ((former == '{' || former == '[') && !isEmptyContainer) ? 1 : 0;
            isInString = c == '"';
            former = c;
        }
    }
    return count;
}

/// Qt's parser would take gigabytes for such a text.
inline bool hasTooManyValues(const QByteArray& text)
{
    return text.size() > tarvex::jsonreader::MAX_UNCOUNTED_SIZE && countValues(text) > tarvex::jsonreader::MAX_VALUES;
}

inline busframe::Decoded decodedJson(const QByteArray& text)
{
#ifdef CODECBYHAND_FINDS_LEAKS
    const __lsan::ScopedDisabler leaksAllowed; // Qt's parser leaks the former value if a key comes twice.
#endif
    busframe::Decoded decoded;
    decoded.json = text;
    QJsonParseError error{0, QJsonParseError::DocumentTooLarge};
    if (!hasTooManyValues(text)) {
        decoded.envelope = QJsonDocument::fromJson(text, &error).object().toVariantMap();
    }
    decoded.isValid = error.error == QJsonParseError::NoError;
    decoded.errorText = decoded.isValid ? QString() : error.errorString();
    return decoded;
}

inline busframe::Decoded decoded(const QByteArray& payload)
{
    return decodedJson(inflated(QByteArray::fromBase64(payload)));
}

QString difference(const QVariant& one, const QVariant& other);

inline QString difference(const QVariantMap& one, const QVariantMap& other)
{
    if (one.size() != other.size()) {
        return QStringLiteral(": %1 members and %2").arg(one.size()).arg(other.size());
    }
    for (auto a = one.cbegin(), b = other.cbegin(); a != one.cend(); ++a, ++b) {
        if (a.key() != b.key() || a.key().isNull() != b.key().isNull()) {
            return QStringLiteral(": keys \"%1\" and \"%2\"").arg(a.key(), b.key());
        }
        const QString found = difference(a.value(), b.value());
        if (!found.isEmpty()) {
            return QLatin1Char('/') + a.key() + found;
        }
    }
    return {};
}

inline QString difference(const QVariantList& one, const QVariantList& other)
{
    if (one.size() != other.size()) {
        return QStringLiteral(": %1 items and %2").arg(one.size()).arg(other.size());
    }
    for (int i = 0; i < one.size(); ++i) {
        const QString found = difference(one.at(i), other.at(i));
        if (!found.isEmpty()) {
            return QStringLiteral("/%1").arg(i) + found;
        }
    }
    return {};
}

/// The same bits, so that -0.0 is not 0.0.
inline bool isSameDouble(const QVariant& one, const QVariant& other)
{
    return std::memcmp(one.constData(), other.constData(), sizeof(double)) == 0;
}

/// Where two decoded values differ, the types of the variants included; empty if nowhere.
inline QString difference(const QVariant& one, const QVariant& other)
{
    bool isSame = one.userType() == other.userType() && one.isNull() == other.isNull();
    if (isSame && one.userType() == QMetaType::QVariantMap) {
        return difference(one.toMap(), other.toMap());
    }
    if (isSame && one.userType() == QMetaType::QVariantList) {
        return difference(one.toList(), other.toList());
    }
    if (isSame) {
        isSame = one.userType() == QMetaType::Double ? isSameDouble(one, other) : one == other;
    }
    return isSame
        ? QString()
        : QStringLiteral(": %1 \"%2\" and %3 \"%4\"")
              .arg(QLatin1String(one.typeName()), one.toString(), QLatin1String(other.typeName()), other.toString());
}

/// How the codec's result differs from that by hand; empty if not at all.
inline QString difference(const busframe::Decoded& codec, const busframe::Decoded& expected)
{
    if (codec.isValid != expected.isValid || codec.errorText != expected.errorText) {
        return QStringLiteral("\"%1\" instead of \"%2\"").arg(codec.errorText, expected.errorText);
    }
    if (!codec.isValid && codec.json != expected.json) {
        return QStringLiteral("the inflated texts differ");
    }
    return difference(codec.envelope, expected.envelope);
}

} // namespace byhand

#endif // CODECBYHAND_H
