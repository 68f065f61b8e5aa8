#include "wirepage.h"

#include "fakebus.h"
#include "literals.h"

#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>

WirePage::WirePage()
{
    QFile page(QStringLiteral(TARVEX_WIRE_PAGE));
    if (!page.open(QIODevice::ReadOnly)) {
        m_errorString = page.fileName() + u": "_s + page.errorString();
        return;
    }
    const QStringList lines = QString::fromUtf8(page.readAll()).split(u'\n');
    for (const QString& line : lines) {
        readLine(line);
    }
}

QVariantMap WirePage::data(const QString& name) const
{
    return QJsonDocument::fromJson(json(name)).toVariant().toMap().value(u"data"_s).toMap();
}

QByteArray WirePage::frame(const QString& name) const
{
    QByteArray frame = m_blocks.value(name + u", frame"_s);
    return frame.replace("\n", "\r\n");
}

QByteArray WirePage::framed(const QString& name) const
{
    const bool isReply = QJsonDocument::fromJson(json(name)).toVariant().toMap().contains(u"result"_s);
    return FakeBus::frame(isReply ? "[-REPLY-]" : "[-REQUEST-]", FakeBus::payload(json(name)));
}

void WirePage::readLine(const QString& line)
{
    static const QRegularExpression name(u"^<!-- wire: (.+) -->$"_s);
    static const QRegularExpression code(u"^\\| (\\d+) \\| \"(.*)\" \\|"_s);
    if (line.startsWith(u"```"_s)) {
        m_isInBlock = !m_isInBlock;
        m_name = m_isInBlock ? m_name : QString();
    } else if (m_isInBlock && !m_name.isEmpty()) {
        QByteArray& block = m_blocks[m_name];
        block += (block.isEmpty() ? "" : "\n") + line.toUtf8();
    } else if (const auto match = name.match(line); match.hasMatch()) {
        m_name = match.captured(1);
    } else if (const auto row = code.match(line); row.hasMatch()) {
        m_codes.insert(row.captured(1).toInt(), row.captured(2));
    }
}
