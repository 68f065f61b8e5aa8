#include "records/repeatkey_p.h"

#include <QCryptographicHash>
#include <QStringBuilder>

namespace tarvex::repeatkey {

namespace {

constexpr qint64 MAX_FILLED_LENGTH = 256;
constexpr int MAX_REMEMBERED_LENGTH = 1024;

} // namespace

QString joined(const QString& first, const QString& second, const QString& third)
{
    const qint64 length = static_cast<qint64>(first.size()) + second.size() + third.size();
    // Without a '%' in them there is nothing that the later texts could fill in.
    const bool isPlain = !first.contains(QLatin1Char('%')) && !second.contains(QLatin1Char('%'));
    if (isPlain || length > MAX_FILLED_LENGTH) {
        return first % QLatin1Char('.') % second % QLatin1Char('.') % third;
    }
    return QStringLiteral("%1.%2.%3").arg(first).arg(second).arg(third); // clazy:exclude=qstring-arg
}

QString remembered(const QString& key)
{
    if (key.size() <= MAX_REMEMBERED_LENGTH) {
        return key;
    }
    return QString::fromLatin1(QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha256).toHex());
}

} // namespace tarvex::repeatkey
