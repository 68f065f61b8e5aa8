#ifndef VISIBLE_H
#define VISIBLE_H

#include <QString>
#include <QTextStream>

/// The text as it may be printed: control characters are shown as escapes such as "\n" and "\x1b". The name and the
/// texts of another client can hold line ends and sequences that steer the terminal.
inline QString visible(const QString& text)
{
    QString shown;
    for (const QChar character : text) {
        if (character.category() != QChar::Other_Control) {
            shown += character;
        } else if (character == QLatin1Char('\n')) {
            shown += QLatin1String("\\n");
        } else if (character == QLatin1Char('\t')) {
            shown += QLatin1String("\\t");
        } else {
            shown += QStringLiteral("\\x%1").arg(character.unicode(), 2, 16, QLatin1Char('0'));
        }
    }
    return shown;
}

/// From now on the log lines go to stderr as visible() shows them, because the library's lines hold names and texts of
/// other clients. Call it before the controller is made: the controller passes each line on to the handler that it
/// finds.
inline void logVisibly()
{
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext& context, const QString& text) {
        QTextStream(stderr) << visible(qFormatLogMessage(type, context, text)) << Qt::endl;
    });
}

#endif // VISIBLE_H
