#ifndef FRAMEPIECES_H
#define FRAMEPIECES_H

#include <QByteArray>
#include <QList>
#include <QString>

#include <random>

namespace framepieces {

/// A text that compression hardly makes shorter.
inline QString irregularText(int length, unsigned seed)
{
    std::mt19937 random(seed);
    QString text;
    for (int i = 0; i < length; ++i) {
        text.append(QLatin1Char(static_cast<char>('0' + random() % 75)));
    }
    return text;
}

/// A frame in three pieces: header line, size line and payload.
inline QList<QByteArray> inThree(const QByteArray& frame)
{
    const int sizeAt = frame.indexOf('\n') + 1;
    const int payloadAt = frame.indexOf('\n', sizeAt) + 1;
    return {frame.left(sizeAt), frame.mid(sizeAt, payloadAt - sizeAt), frame.mid(payloadAt)};
}

} // namespace framepieces

#endif // FRAMEPIECES_H
