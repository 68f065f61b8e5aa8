#include "newservice/filledin.h"

namespace tarvexctl {

namespace {

QString withWords(QString text, const QMap<QString, QString>& words)
{
    for (auto word = words.cbegin(); word != words.cend(); ++word) {
        text.replace(QLatin1Char('@') + word.key() + QLatin1Char('@'), word.value());
    }
    return text;
}

} // namespace

QString filledIn(const QString& text, QMap<QString, QString> words, const QStringList& commands)
{
    const QString begin = QStringLiteral("@EACH_COMMAND@\n");
    const QString end = QStringLiteral("@END@\n");
    QString filled;
    int done = 0;
    for (int block = text.indexOf(begin); block >= 0; block = text.indexOf(begin, done)) {
        filled += withWords(text.mid(done, block - done), words);
        const int blockEnd = text.indexOf(end, block);
        for (const QString& command : commands) {
            words[QStringLiteral("COMMAND")] = command;
            filled += withWords(text.mid(block + begin.size(), blockEnd - block - begin.size()), words);
        }
        done = blockEnd + end.size();
    }
    return filled + withWords(text.mid(done), words);
}

} // namespace tarvexctl
